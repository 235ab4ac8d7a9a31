/** @file AccountResources.h  The user slots as Redfish accounts. */
#ifndef TORVOSIM_ACCOUNTRESOURCES_H
#define TORVOSIM_ACCOUNTRESOURCES_H

#include "Bmc.h"

namespace torvosim {

constexpr const char kAccounts[] = "/redfish/v1/AccountService/Accounts";

Json accounts(Bmc& bmc);

}  // namespace torvosim

#endif
