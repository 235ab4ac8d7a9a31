/** @file users.h  The users of the BMC as its account service has them. */
#ifndef QVRFCTL_DAY_USERS_H
#define QVRFCTL_DAY_USERS_H

#include <functional>

#include "../arguments.h"

namespace qvrfctl {

struct Context;

/**
 * Declares list, passwd, enable, disable and role. What comes back carries out the one that was named, or list where
 * none was, and tells whether it did: others are not its affair.
 */
std::function<bool(const Context&, bool isOther)> declareUserAccounts(Arguments arguments);

}  // namespace qvrfctl

#endif
