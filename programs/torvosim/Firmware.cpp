/** @file Firmware.cpp  The firmware inventory. */
#include "Firmware.h"

#include <algorithm>
#include <stdexcept>

#include "Bmc.h"

namespace torvosim {

namespace {

constexpr const char kManager[] = "/redfish/v1/Managers/Torvo.Embedded.1";
constexpr const char kServer[]  = "/redfish/v1/Chassis/System.Embedded.1";

constexpr std::array<FirmwareRow, FirmwareState::kRows> kRows{{
    {"BIOS", "BIOS", "1.0.0", true, false, true, kSystem},
    {"BMC", "BMC", "", true, true, false, kManager},
    {"NIC.1", "NIC 1", "22.0.6", true, false, false, kSystem},
    {"PSU.1", "PSU 1", "00.1D.7D", false, false, false, kServer},
}};

std::size_t indexOf(const FirmwareRow& row)
{
    return static_cast<std::size_t>(&row - kRows.data());
}

/** The version after "1.0.9" is "1.0.10". */
std::string nextVersion(const std::string& version)
{
    const auto dot    = version.rfind('.');
    const auto number = parseNumber(std::string_view(version).substr(dot + 1), UINT16_MAX - 1);
    return version.substr(0, dot + 1) + std::to_string(number.value_or(0) + 1);
}

std::string versionOf(Bmc& bmc, const FirmwareRow& row)
{
    if (row.isBmc) return bmc.facts.with([](Facts& facts) { return findFact("firmware")->read(facts); });
    const std::string newer = bmc.firmware.with([&](FirmwareState& s) { return s.versions[indexOf(row)]; });
    return newer.empty() ? row.version : newer;
}

void useNext(Bmc& bmc, const FirmwareRow& row)
{
    const std::string version = nextVersion(versionOf(bmc, row));
    if (row.isBmc) bmc.facts.with([&](Facts& facts) { findFact("firmware")->write(facts, version); });
    bmc.firmware.with([&](FirmwareState& s) { s.versions[indexOf(row)] = version; });
}

Json firmwareResource(Bmc& bmc, const FirmwareRow& row)
{
    return {{"@odata.id", std::string(kInventory) + '/' + row.id},
            {"@odata.type", "#SoftwareInventory.v1_6_0.SoftwareInventory"},
            {"Id", row.id},
            {"Name", row.name},
            {"Version", versionOf(bmc, row)},
            {"Updateable", row.updateable},
            {"RelatedItem", Json::array({linkTo(row.related)})},
            {"Status", {{"State", "Enabled"}, {"Health", "OK"}}}};
}

const FirmwareRow& wantTarget(const Json& path)
{
    const std::string asked = path.is_string() ? path.get<std::string>() : path.dump();
    for (const FirmwareRow& row : kRows)
        if (row.updateable && asked == std::string(kInventory) + '/' + row.id) return row;
    throw std::invalid_argument("The target " + asked + " is none that can be updated");
}

}  // namespace

Json firmwareMembers(Bmc& bmc)
{
    Json members = Json::array();
    for (const FirmwareRow& row : kRows) members.push_back(firmwareResource(bmc, row));
    return members;
}

std::string firmwareVersion(Bmc& bmc, const std::string& id)
{
    const auto* row = std::find_if(kRows.begin(), kRows.end(), [&](const FirmwareRow& r) { return id == r.id; });
    return row == kRows.end() ? std::string() : versionOf(bmc, *row);
}

Targets firmwareTargets(const Json& paths)
{
    Targets targets;
    if (!paths.is_null() && !paths.is_array()) throw std::invalid_argument("Targets is no array");
    for (const Json& path : paths) targets.push_back(&wantTarget(path));
    if (targets.empty()) targets.push_back(&kRows.front());
    return targets;
}

std::string installFirmware(Bmc& bmc, const Targets& targets, bool onReset)
{
    std::string told;
    for (const FirmwareRow* row : targets) {
        const bool waits = onReset || row->needsRestart;
        if (waits) bmc.firmware.with([&](FirmwareState& s) { s.waits[indexOf(*row)] = true; });
        if (!waits) useNext(bmc, *row);
        told += told.empty() ? "" : " ";
        told += "The new version of " + std::string(row->name) +
                (!waits       ? " is in use."
                 : row->isBmc ? " waits for a restart of the BMC."
                              : " waits for a restart of the server.");
    }
    return told;
}

void useWaitingFirmware(Bmc& bmc, bool ofBmc)
{
    for (const FirmwareRow& row : kRows) {
        if (row.isBmc != ofBmc) continue;
        if (bmc.firmware.with([&](FirmwareState& s) { return std::exchange(s.waits[indexOf(row)], false); }))
            useNext(bmc, row);
    }
}

}  // namespace torvosim
