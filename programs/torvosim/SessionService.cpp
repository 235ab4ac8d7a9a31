/** @file SessionService.cpp  The session collections of both generations. */
#include "SessionService.h"

#include <nlohmann/json.hpp>

namespace torvosim {

namespace {

using Json = nlohmann::json;

Json sessionJson(const Session& session, const std::string& collection)
{
    return {{"@odata.id", collection + '/' + session.id},
            {"@odata.type", "#Session.v1_3_0.Session"},
            {"Id", session.id},
            {"Name", "User Session"},
            {"UserName", session.user},
            {"CreatedTime", isoTime(session.created)}};
}

/** Finds out who wants to log in. @return empty and the user in @p user, or why not */
std::string identify(Bmc& bmc, const Request& request, const std::string& body, std::string& user)
{
    const std::string_view     credentials = trimmed(request.header("Authorization"));
    constexpr std::string_view scheme      = "Bearer ";
    if (credentials.size() > scheme.size() && equalsIgnoreCase(credentials.substr(0, scheme.size()), scheme))
        return bmc.tokens.logIn(trimmed(credentials.substr(scheme.size())), user);

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
    const auto session = bmc.sessions.open(user);
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

Response list(Bmc& bmc, const std::string& collection)
{
    Json members = Json::array();
    for (const std::string& id : bmc.sessions.ids()) members.push_back({{"@odata.id", collection + '/' + id}});
    return jsonResponse(200, Json{{"@odata.id", collection},
                                  {"@odata.type", "#SessionCollection.SessionCollection"},
                                  {"Name", "Session Collection"},
                                  {"Members@odata.count", members.size()},
                                  {"Members", members}}
                                 .dump());
}

Response member(Bmc& bmc, const Request& request, const std::string& collection, const std::string& id)
{
    const auto session = bmc.sessions.find(id);
    if (!session) return errorResponse(404, "There is no session " + id);
    if (request.method == "GET" || request.method == "HEAD")
        return jsonResponse(200, sessionJson(*session, collection).dump());
    if (request.method != "DELETE") return methodNotAllowed("GET, HEAD, DELETE");
    bmc.sessions.close(id);
    if (!bmc.sessionDeleteBody) {
        Response empty;
        empty.status = 204;
        return empty;
    }
    return jsonResponse(200, R"({"@Message.ExtendedInfo":[{"MessageId":"Base.1.12.Success",)"
                             R"("Message":"The session is closed","Severity":"OK"}]})");
}

}  // namespace

bool isOtherGeneration(Bmc& bmc, const std::string& path)
{
    return isAtOrBelow(path, bmc.sessions.newGeneration() ? kOldSessionCollection : kNewSessionCollection);
}

std::optional<Response> answerSessionRequest(Bmc& bmc, const Request& request, const std::string& body)
{
    const std::string collection = bmc.sessions.collection();
    if (!isAtOrBelow(request.path, collection)) return std::nullopt;
    if (request.path != collection) return member(bmc, request, collection, request.path.substr(collection.size() + 1));
    if (request.method == "POST") return logIn(bmc, request, body);
    if (request.method == "GET" || request.method == "HEAD") return list(bmc, collection);
    return methodNotAllowed("GET, HEAD, POST");
}

}  // namespace torvosim
