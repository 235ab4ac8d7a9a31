/** @file SystemReset.cpp  The action ComputerSystem.Reset. */
#include "SystemReset.h"

#include <algorithm>

#include "LogResources.h"

namespace torvosim {

namespace {

/** Whether the system says itself that it takes this type; one that tells no list takes all. */
bool isAllowed(Bmc& bmc, const std::string& type)
{
    const auto system  = bmc.tree.read(kSystem);
    const Json none    = Json::array();
    const auto list    = Json::json_pointer("/Actions/#ComputerSystem.Reset/ResetType@Redfish.AllowableValues");
    const Json allowed = system && system->contains(list) ? (*system)[list] : none;
    return type.empty() || allowed.empty() || std::find(allowed.begin(), allowed.end(), type) != allowed.end();
}

}  // namespace

Response resetSystem(Bmc& bmc, const std::string&, const Json& parameters)
{
    const std::string type    = textOf(parameters, "ResetType");
    const std::string before  = bmc.power.state();
    const auto        outcome = isAllowed(bmc, type) ? bmc.power.reset(type) : ServerPower::Outcome::unknownType;
    if (outcome == ServerPower::Outcome::unknownType)
        return badProperty("ResetType", "The value '" + type + "' of ResetType is not in the list of allowed values");
    if (outcome == ServerPower::Outcome::alreadySo)
        return errorResponse(409, "The reset " + type + " is not possible while the server is " + before);
    writeLifecycle(bmc, "OK", "A reset of the server was asked for: " + (type.empty() ? "by default" : type) + '.');
    return noContent();
}

}  // namespace torvosim
