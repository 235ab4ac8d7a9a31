/** @file SessionService.cpp  The session collections of both generations. */
#include "SessionService.h"

#include <algorithm>

namespace torvosim {

namespace {

Json sessionJson(const Session& session, const std::string& collection)
{
    return {{"@odata.id", collection + '/' + session.id},
            {"@odata.type", "#Session.v1_3_0.Session"},
            {"Id", session.id},
            {"Name", "User Session"},
            {"UserName", session.user},
            {"CreatedTime", isoTime(session.created)},
            {"ClientOriginIPAddress", session.from},
            {"SessionType", "Redfish"}};
}

/** Finds out who wants to log in. @return empty and the user in @p user, or why not */
std::string identify(Bmc& bmc, const Request& request, const std::string& body, std::string& user)
{
    if (const auto token = bearerToken(request); !token.empty()) return bmc.tokens.logIn(token, user);

    const Json login = Json::parse(body, nullptr, false);
    if (!login.is_object() || !login.contains("UserName") || !login["UserName"].is_string() ||
        !login.contains("Password") || !login["Password"].is_string())
        return "there is neither a bearer token nor UserName and Password";
    user = login["UserName"].get<std::string>();
    if (!bmc.users.mayLogIn(user, login["Password"].get_ref<const std::string&>())) return "wrong user or password";
    return {};
}

Response logIn(Bmc& bmc, const Request& request, const std::string& body)
{
    std::string user;
    if (const std::string problem = identify(bmc, request, body, user); !problem.empty()) {
        ++bmc.stats.loginsRefused;
        return errorResponse(401, "The login failed: " + problem);
    }
    const auto session = bmc.sessions.open(user, request.peer);
    if (!session) {
        ++bmc.stats.loginsRefused;
        return errorResponse(503, "The number of sessions is exhausted");
    }
    ++bmc.stats.logins;
    const std::string collection = bmc.sessions.collection();
    Response          response   = jsonResponse(201, sessionJson(*session, collection).dump());
    response.headers.emplace_back("X-Auth-Token", session->token);
    response.headers.emplace_back("Location", collection + '/' + session->id);
    return response;
}

Response closeSession(Bmc& bmc, const std::string& id)
{
    if (!bmc.sessions.close(id)) return errorResponse(404, "There is no session " + id);
    if (!bmc.sessionDeleteBody) return noContent();
    return jsonResponse(200, R"({"@Message.ExtendedInfo":[{"MessageId":"Base.1.12.Success",)"
                             R"("Message":"The session is closed","Severity":"OK"}]})");
}

/** What stands behind the collection's path, for one of its members. */
std::string idIn(const std::string& path, const std::string& collection)
{
    return path.substr(std::min(path.size(), collection.size() + 1));
}

}  // namespace

std::string_view bearerToken(const Request& request)
{
    constexpr std::string_view scheme      = "Bearer ";
    const std::string_view     credentials = trimmed(request.header("Authorization"));
    const bool                 is =
        credentials.size() > scheme.size() && equalsIgnoreCase(credentials.substr(0, scheme.size()), scheme);
    return is ? trimmed(credentials.substr(scheme.size())) : std::string_view();
}

bool isOtherGeneration(Bmc& bmc, const std::string& path)
{
    return isAtOrBelow(path, bmc.sessions.newGeneration() ? kOldSessionCollection : kNewSessionCollection);
}

bool isSessionPath(Bmc& bmc, const std::string& path)
{
    return isAtOrBelow(path, bmc.sessions.collection());
}

Json sessionsLink(Bmc& bmc)
{
    return {{"Sessions", linkTo(bmc.sessions.collection())}};
}

std::optional<Json> readSession(Bmc& bmc, const std::string& path)
{
    const std::string collection = bmc.sessions.collection();
    if (path != collection) {
        const auto session = bmc.sessions.find(idIn(path, collection));
        return session ? std::optional(sessionJson(*session, collection)) : std::nullopt;
    }
    Json members = Json::array();
    for (const std::string& id : bmc.sessions.ids()) members.push_back(linkTo(collection + '/' + id));
    return collectionOf(collection, "#SessionCollection.SessionCollection", "Session Collection", members, false);
}

Response changeSessions(Bmc& bmc, const Request& request, const std::string& body)
{
    const std::string collection = bmc.sessions.collection();
    if (request.path == collection)
        return request.method == "POST" ? logIn(bmc, request, body) : methodNotAllowed("GET, HEAD, POST");
    return request.method == "DELETE" ? closeSession(bmc, idIn(request.path, collection))
                                      : methodNotAllowed("GET, HEAD, DELETE");
}

}  // namespace torvosim
