/** @file AccountResources.h  The user slots as Redfish accounts: read, changed, made and removed. */
#ifndef TORVOSIM_ACCOUNTRESOURCES_H
#define TORVOSIM_ACCOUNTRESOURCES_H

#include "Bmc.h"

namespace torvosim {

constexpr const char kAccounts[] = "/redfish/v1/AccountService/Accounts";

/** All slots, or those in use where accounts are made and removed. */
Json accounts(Bmc& bmc);

/** PATCH of the account at @p path; nothing: done. */
std::optional<Response> changeAccount(Bmc& bmc, const std::string& path, const Json& change);
/** POST to the collection: 405 where users stand in slots. */
Response createAccount(Bmc& bmc, const Json& account);
/** DELETE of the account at @p path: its slot is free afterwards. */
Response removeAccount(Bmc& bmc, const std::string& path);

}  // namespace torvosim

#endif
