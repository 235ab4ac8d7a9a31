/** @file BootOverride.h  Where the server starts from next: ComputerSystem.Boot, and the ways of BMCs to take it. */
#ifndef TORVOSIM_BOOTOVERRIDE_H
#define TORVOSIM_BOOTOVERRIDE_H

#include "RedfishJson.h"

namespace torvosim {

struct Bmc;

constexpr const char kSystem[]         = "/redfish/v1/Systems/System.Embedded.1";
constexpr const char kSystemSettings[] = "/redfish/v1/Systems/System.Embedded.1/Settings";

/** What a change of Boot does; tests change it while it runs. */
struct BootOverride {
    enum class How {
        direct,    // takes hold at once
        settings,  // belongs to the settings resource, and takes hold with the next start
        ignore,    // is answered with success, and nothing happens
        revert,    // sets the mode back to Legacy where it does not name one
    };
    How  how     = How::direct;
    Json pending = Json::object();  ///< members of Boot that wait for the next start
};

/** "@Redfish.Settings" of the system, null where there is no settings resource. */
Json bootMembers(Bmc& bmc);
/** The settings resource alone; null where there is none. */
Json bootSettings(Bmc& bmc);

// PATCH of the system and of its settings resource; nothing: done.
std::optional<Response> changeSystem(Bmc& bmc, const Json& change);
std::optional<Response> changeSettings(Bmc& bmc, const Json& change);

/** The server starts: what waited takes hold, what was for once is over. */
void startFromOverride(Bmc& bmc);

}  // namespace torvosim

#endif
