/** @file LiveResources.cpp  Any resource as it is read. */
#include "LiveResources.h"

#include <algorithm>
#include <ctime>

#include "AccountResources.h"
#include "Firmware.h"
#include "LogResources.h"
#include "SensorResources.h"
#include "SessionService.h"
#include "TaskResources.h"
#include "UpdateService.h"

namespace torvosim {

namespace {

/** Resources that are made when they are asked for. */
struct Branch {
    const char* path;
    const char* type;  // of the collection at the path; nullptr: the resources stand for themselves
    const char* name;
    bool        whole;        // the collection hands out its members, else links to them
    bool        withMockups;  // even where the documents are somebody else's
    Json (*resources)(Bmc&);  // each with its "@odata.id"; null: there is nothing at the path
};
// clang-format off
constexpr Branch kBranches[] = {
    {kAccounts, "#ManagerAccountCollection.ManagerAccountCollection", "Accounts", false, true, accounts},
    {kKsEntries, "#LogEntryCollection.LogEntryCollection", "KS Log Entries", true, false, ksEntries},
    {kSelEntries, "#LogEntryCollection.LogEntryCollection", "System Event Log Entries", true, false, selEntries},
    {kLcLogEntries, "#LogEntryCollection.LogEntryCollection", "Lifecycle Log Entries", true, false, lcLogEntries},
    {kSensorsPath, "#SensorCollection.SensorCollection", "Sensors", false, false, sensorMembers},
    {kFansPath, "#FanCollection.FanCollection", "Fans", false, false, fanMembers},
    {kPowerSuppliesPath, "#PowerSupplyCollection.PowerSupplyCollection", "Power Supplies", false, false, powerSupplyMembers},
    {kThermalPath, nullptr, nullptr, false, false, olderReadings},
    {kPowerPath, nullptr, nullptr, false, false, olderReadings},
    {kThermalSubsystem, nullptr, nullptr, false, false, subsystems},
    {kPowerSubsystem, nullptr, nullptr, false, false, subsystems},
    {kInventory, "#SoftwareInventoryCollection.SoftwareInventoryCollection", "Firmware Inventory", false, false, firmwareMembers},
    {kTasks, "#TaskCollection.TaskCollection", "Tasks", false, false, taskMembers},
    {kSystemSettings, nullptr, nullptr, false, false, bootSettings},
};
// clang-format on

/** The branch that @p path is in: the innermost one, since some stand inside others. */
const Branch* branchOf(Bmc& bmc, const std::string& path)
{
    const Branch* inmost = nullptr;
    for (const Branch& branch : kBranches) {
        if (!isAtOrBelow(path, branch.path) || (!bmc.isBuiltIn() && !branch.withMockups)) continue;
        if (inmost == nullptr || isAtOrBelow(branch.path, inmost->path)) inmost = &branch;
    }
    return inmost;
}

/** Without what lies below the members: a collection tells of those that stand directly in it. */
Json directMembers(const Json& resources, const std::string& path)
{
    Json members = Json::array();
    for (const Json& resource : resources)
        if (ownPath(resource).find('/', path.size() + 1) == std::string::npos) members.push_back(resource);
    return members;
}

std::optional<Json> readBranch(Bmc& bmc, const Branch& branch, const std::string& path)
{
    const Json resources = branch.resources(bmc);
    if (resources.is_null()) return std::nullopt;
    if (branch.type != nullptr && path == branch.path)
        return collectionOf(path, branch.type, branch.name, directMembers(resources, path), branch.whole);
    for (const Json& resource : resources)
        if (ownPath(resource) == path) return resource;
    return std::nullopt;
}

Json rootMembers(Bmc& bmc)
{
    return {{"Links", sessionsLink(bmc)}, {"ProtocolFeaturesSupported", protocolFeatures(bmc.queries)}};
}

Json managerMembers(Bmc& bmc)
{
    return {{"DateTime", isoTime(std::time(nullptr))}, {"FirmwareVersion", firmwareVersion(bmc, "BMC")}};
}

Json systemMembers(Bmc& bmc)
{
    Json members             = bootMembers(bmc);
    members["BiosVersion"]   = firmwareVersion(bmc, "BIOS");
    members["PowerState"]    = bmc.power.state();
    members["LastResetTime"] = isoTime(bmc.power.lastReset());
    return members;
}

/** Members of a document that the BMC's state decides. */
struct LiveMembers {
    const char* path;
    Json (*members)(Bmc&);
};
constexpr LiveMembers kLiveMembers[] = {
    {"/redfish/v1", rootMembers},
    {"/redfish/v1/SessionService", sessionsLink},
    {"/redfish/v1/Managers/Torvo.Embedded.1", managerMembers},
    {kSystem, systemMembers},
    {kChassis, chassisMembers},
    {kUpdateService, updateMembers},
};

std::optional<Json> readDocument(Bmc& bmc, const std::string& path)
{
    auto document = bmc.tree.read(path);
    if (!document || !bmc.isBuiltIn()) return document;
    for (const LiveMembers& row : kLiveMembers)
        if (path == row.path) document->merge_patch(row.members(bmc));
    return document;
}

std::optional<Json> readPlain(Bmc& bmc, const std::string& path)
{
    if (isSessionPath(bmc, path)) return readSession(bmc, path);
    if (const Branch* branch = branchOf(bmc, path)) return readBranch(bmc, *branch, path);
    return readDocument(bmc, path);
}

}  // namespace

void settle(Bmc& bmc)
{
    bmc.tasks.settle();
    if (!bmc.power.cameUp()) return;
    startFromOverride(bmc);
    useWaitingFirmware(bmc, false);
}

std::optional<Json> readResource(Bmc& bmc, const std::string& path)
{
    auto resource = readPlain(bmc, path);
    if (!resource || !resource->is_object()) return resource;
    bmc.overlays.with([&](auto& overlays) {
        if (const auto found = overlays.find(path); found != overlays.end()) resource->merge_patch(found->second);
    });
    if (!resource->contains("Members")) (*resource)["@odata.etag"] = etagOf(*resource);
    return resource;
}

bool isLive(Bmc& bmc, const std::string& path)
{
    return branchOf(bmc, path) != nullptr;
}

}  // namespace torvosim
