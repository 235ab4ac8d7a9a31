/** @file useraccounts.h  The users of the BMC by its account service: read, made, removed. */
#ifndef QVRFCTL_DAY_USERACCOUNTS_H
#define QVRFCTL_DAY_USERACCOUNTS_H

#include <string>

#include "service.h"

namespace qvrfctl {

/** @throws Failure where there is none */
Value accountService(Service& service);
/**
 * {"users": [...]}, of each id, name, role, enabled, locked, mustChangePassword, path; slots without a name left out.
 */
Value userRows(Service& service);
/** The role that "ro", "op" and "root" are; else empty. */
std::string roleOfPrivilege(const std::string& privilege);

/**
 * Makes a user who may log in, in a slot where the BMC has a fixed number of them, or gives one that is there password
 * and role; and looks whether it is so. @throws Failure, never with the password in it
 */
void addUser(Service& service, const std::string& name, const std::string& privilege, const std::string& password);
/** @return whether there was such a user. @throws Failure */
bool deleteUser(Service& service, const std::string& name);

/** The BMC's word about a change may quote what was sent. */
Failure withoutSecret(const Failure& failure, const std::string& secret);

}  // namespace qvrfctl

#endif
