/** @file Firmware.h  The firmware inventory: what has which version, and which new one waits for a restart. */
#ifndef TORVOSIM_FIRMWARE_H
#define TORVOSIM_FIRMWARE_H

#include <array>
#include <string>
#include <vector>

#include "RedfishJson.h"

namespace torvosim {

struct Bmc;

constexpr const char kInventory[] = "/redfish/v1/UpdateService/FirmwareInventory";

struct FirmwareRow {
    const char* id;
    const char* name;
    const char* version;  ///< at the start; of the BMC its fact tells it
    bool        updateable;
    bool        isBmc;
    bool        needsRestart;  ///< of the server, whatever the update asks for
    const char* related;       ///< the resource that it runs
};

/** What has become of each row of the inventory. */
struct FirmwareState {
    static constexpr std::size_t   kRows = 4;
    std::array<std::string, kRows> versions;  ///< empty: as at the start
    std::array<bool, kRows>        waits{};
};

Json firmwareMembers(Bmc& bmc);
/** The version that the row of that id has now. */
std::string firmwareVersion(Bmc& bmc, const std::string& id);

/** Rows that an image can be for, by their paths. */
using Targets = std::vector<const FirmwareRow*>;
/** Those that @p paths name, the BIOS where they name none. @throws std::invalid_argument naming the wrong one */
Targets firmwareTargets(const Json& paths);

/** Puts new versions in their places, at once or for the next restart. @return what is to be told of it */
std::string installFirmware(Bmc& bmc, const Targets& targets, bool onReset);
/** The server, or the BMC, has started: what waited for that is used. */
void useWaitingFirmware(Bmc& bmc, bool ofBmc);

}  // namespace torvosim

#endif
