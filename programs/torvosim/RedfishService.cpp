/** @file RedfishService.cpp  The Redfish service. */
#include "RedfishService.h"

#include <algorithm>

#include "AccountResources.h"
#include "LiveResources.h"
#include "LogResources.h"
#include "SessionService.h"
#include "SystemReset.h"
#include "TaskResources.h"
#include "UpdateService.h"

namespace torvosim {

namespace {

Response notThere(const std::string& path)
{
    return errorResponse(404, "There is no resource " + path);
}

Response answerRead(Bmc& bmc, const Request& request)
{
    const auto read     = [&](const std::string& path) { return readResource(bmc, path); };
    auto       resource = read(request.path);
    if (!resource) return notThere(request.path);
    if (request.header("If-None-Match") == etagOf(*resource)) {
        Response same;
        same.status = 304;
        return same;
    }
    const std::string tag = etagOf(*resource);
    if (auto refusal = applyQuery(bmc.queries, request.target, read, *resource)) return std::move(*refusal);
    Response response = resourceResponse(200, *resource);
    for (auto& [name, value] : response.headers)
        if (name == "ETag") value = tag;  // of the resource, however much of it was asked for
    return response;
}

/** A tag as a change may carry it: with "strong", a weak one stands for nothing, as HTTP has it for If-Match. */
bool matches(Conditions conditions, std::string_view expected, const std::string& tag)
{
    if (expected == "*") return true;
    if (conditions != Conditions::strong) return expected == tag;
    return expected == std::string_view(tag).substr(2);
}

std::optional<Response> unmetCondition(Bmc& bmc, const Request& request, const Json& resource)
{
    const std::string_view expected = request.header("If-Match");
    if (expected.empty() && request.method == "PATCH" && bmc.conditions != Conditions::optional)
        return errorResponse(428, "A change of this resource needs If-Match with its ETag");
    if (expected.empty() || matches(bmc.conditions, expected, etagOf(resource))) return std::nullopt;
    return errorResponse(412, "The resource has changed meanwhile");
}

/** The end of an action's path, and who does it. */
struct Action {
    const char* name;
    Response (*run)(Bmc&, const std::string& target, const Json& parameters);
};
constexpr Action kActions[] = {
    {"/Actions/ComputerSystem.Reset", resetSystem},
    {"/Actions/LogService.ClearLog", clearLog},
    {"/Actions/UpdateService.SimpleUpdate", simpleUpdate},
};

/** Whether a resource above names @p path as the target of an action. */
bool offersAction(Bmc& bmc, const std::string& path)
{
    const auto actions = path.find("/Actions/");
    const auto owner   = actions == path.npos ? std::nullopt : readResource(bmc, path.substr(0, actions));
    if (!owner || !owner->contains("Actions")) return false;
    const Json& offered = (*owner)["Actions"];
    return std::any_of(offered.begin(), offered.end(),
                       [&](const Json& action) { return textOf(action, "target") == path; });
}

bool endsWith(const std::string& text, std::string_view end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/** What nobody here does is accepted, and nothing happens. */
Response runAction(Bmc& bmc, const std::string& target, const Json& parameters)
{
    for (const Action& action : kActions)
        if (bmc.isBuiltIn() && endsWith(target, action.name)) return action.run(bmc, target, parameters);
    return noContent();
}

std::optional<Response> patch(Bmc& bmc, const std::string& path, const Json& change)
{
    if (bmc.isBuiltIn() && path == kSystem) return changeSystem(bmc, change);
    if (bmc.isBuiltIn() && path == kSystemSettings) return changeSettings(bmc, change);
    if (startsWith(path, std::string(kAccounts) + '/')) return changeAccount(bmc, path, change);
    if (isLive(bmc, path)) return methodNotAllowed("GET, HEAD");
    return bmc.tree.patch(path, change);
}

Response answerPatch(Bmc& bmc, const std::string& path, const Json& change)
{
    if (auto refusal = patch(bmc, path, change)) return std::move(*refusal);
    const auto resource = readResource(bmc, path);
    return resource ? resourceResponse(200, *resource) : notThere(path);
}

Response answerChange(Bmc& bmc, const Request& request, const Json& body)
{
    if (request.method == "PATCH") return answerPatch(bmc, request.path, body);
    if (request.method == "POST" && request.path == kAccounts) return createAccount(bmc, body);
    if (request.method == "DELETE" && startsWith(request.path, std::string(kAccounts) + '/'))
        return removeAccount(bmc, request.path);
    if (isLive(bmc, request.path)) return methodNotAllowed("GET, HEAD");
    if (request.method == "DELETE") return bmc.tree.remove(request.path);
    if (request.method == "POST") return bmc.tree.create(request.path, body);
    return methodNotAllowed("GET, HEAD, POST, PATCH, DELETE");
}

}  // namespace

Response answerRedfish(Bmc& bmc, const Request& request, const std::string& body)
{
    settle(bmc);
    if (request.path == "/redfish") return jsonResponse(200, R"({"v1":"/redfish/v1/"})");
    if (request.method == "GET" || request.method == "HEAD")
        return isAtOrBelow(request.path, kMonitors) ? answerMonitor(bmc, request.path) : answerRead(bmc, request);
    if (isSessionPath(bmc, request.path)) return changeSessions(bmc, request, body);
    const Json json = Json::parse(body, nullptr, false);
    if (request.method == "POST" && offersAction(bmc, request.path)) return runAction(bmc, request.path, json);
    const auto resource = readResource(bmc, request.path);
    if (!resource) return notThere(request.path);
    if (auto refusal = unmetCondition(bmc, request, *resource)) return std::move(*refusal);
    return answerChange(bmc, request, json);
}

}  // namespace torvosim
