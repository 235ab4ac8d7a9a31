/** @file AccountResources.cpp  The user slots as Redfish accounts. */
#include "AccountResources.h"

namespace torvosim {

namespace {

const char* roleOf(unsigned privilege)
{
    switch (privilege) {
        case 0x1FF: return "Administrator";
        case 0x1F3: return "Operator";
        case 0x001: return "ReadOnly";
        default: return "None";
    }
}

}  // namespace

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

}  // namespace torvosim
