/** @file accounts.h  The users of the BMC, as its account service lists them. */
#ifndef QVRFCTL_ACCOUNTS_H
#define QVRFCTL_ACCOUNTS_H

#include <string>
#include <vector>

#include "session.h"

namespace qvrfctl {

struct Account {
    std::string id;
    std::string name;
    std::string role;
    bool        enabled = false;
};

/** Every slot that has a user. @throws Failure */
std::vector<Account> readAccounts(Session& session);

}  // namespace qvrfctl

#endif
