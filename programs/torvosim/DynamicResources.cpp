/** @file DynamicResources.cpp  Redfish resources made from the BMC's live state. */
#include "DynamicResources.h"

#include <ctime>
#include <nlohmann/json.hpp>

namespace torvosim {

namespace {

using Json = nlohmann::json;

constexpr const char kAccounts[]  = "/redfish/v1/AccountService/Accounts";
constexpr const char kKsEntries[] = "/redfish/v1/Managers/Torvo.Embedded.1/LogServices/KsLog/Entries";

const char* roleOf(unsigned privilege)
{
    switch (privilege) {
        case 0x1FF: return "Administrator";
        case 0x1F3: return "Operator";
        case 0x001: return "ReadOnly";
        default: return "None";
    }
}

Json accounts(Bmc& bmc)
{
    Json       members = Json::array();
    const auto users   = bmc.users.all();
    for (unsigned slot = 1; slot < users.size(); ++slot)
        members.push_back({{"@odata.id", std::string(kAccounts) + '/' + std::to_string(slot)},
                           {"@odata.type", "#ManagerAccount.v1_8_0.ManagerAccount"},
                           {"Id", std::to_string(slot)},
                           {"Name", "User Account"},
                           {"UserName", users[slot].name},
                           {"RoleId", roleOf(users[slot].privilege)},
                           {"Enabled", users[slot].enabled}});
    return members;
}

Json ksEntries(Bmc& bmc)
{
    Json members = Json::array();
    for (const KsEntry& entry : bmc.ksLog.last(SIZE_MAX))
        members.push_back({{"@odata.id", std::string(kKsEntries) + '/' + std::to_string(entry.number)},
                           {"@odata.type", "#LogEntry.v1_9_0.LogEntry"},
                           {"Id", std::to_string(entry.number)},
                           {"Name", "KS Log Entry"},
                           {"EntryType", "Event"},
                           {"Created", isoTime(entry.time)},
                           {"MessageId", entry.messageId},
                           {"MessageArgs", entry.arguments}});
    return members;
}

struct LiveCollection {
    const char* path;
    const char* type;
    const char* name;
    bool        expanded;  // members as they are, else links to them
    Json (*members)(Bmc&);
};
constexpr LiveCollection kCollections[] = {
    {kAccounts, "#ManagerAccountCollection.ManagerAccountCollection", "Accounts", false, accounts},
    {kKsEntries, "#LogEntryCollection.LogEntryCollection", "KS Log Entries", true, ksEntries},
};

Response collectionResponse(const LiveCollection& row, const Json& members)
{
    Json shown = Json::array();
    for (const Json& member : members)
        shown.push_back(row.expanded ? member : Json{{"@odata.id", member["@odata.id"]}});
    return jsonResponse(200, Json{{"@odata.id", row.path},
                                  {"@odata.type", row.type},
                                  {"Name", row.name},
                                  {"Members@odata.count", shown.size()},
                                  {"Members", shown}}
                                 .dump());
}

Json sessionsLink(Bmc& bmc)
{
    return {{"Sessions", {{"@odata.id", bmc.sessions.collection()}}}};
}

struct LiveMembers {
    const char* path;
    Json (*members)(Bmc&);
};
constexpr LiveMembers kLiveMembers[] = {
    {"/redfish/v1",
     [](Bmc& bmc) {
         return Json{{"Links", sessionsLink(bmc)}};
     }},
    {"/redfish/v1/SessionService", sessionsLink},
    {"/redfish/v1/Managers/Torvo.Embedded.1",
     [](Bmc&) {
         return Json{{"DateTime", isoTime(std::time(nullptr))}};
     }},
};

}  // namespace

void refreshLiveMembers(Bmc& bmc, const Request& request)
{
    if (!bmc.options.mockupDir.empty()) return;
    for (const LiveMembers& row : kLiveMembers)
        if (request.path == row.path) bmc.tree.refresh(row.path, row.members(bmc).dump());
}

std::optional<Response> answerDynamicResource(Bmc& bmc, const Request& request)
{
    for (const LiveCollection& row : kCollections) {
        if (!isAtOrBelow(request.path, row.path)) continue;
        if (request.method != "GET" && request.method != "HEAD") return methodNotAllowed("GET, HEAD");
        const Json members = row.members(bmc);
        if (request.path == row.path) return collectionResponse(row, members);
        for (const Json& member : members)
            if (member["@odata.id"] == request.path) return jsonResponse(200, member.dump());
        return errorResponse(404, "The collection has no such member");
    }
    return std::nullopt;
}

}  // namespace torvosim
