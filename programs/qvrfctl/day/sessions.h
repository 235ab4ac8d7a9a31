/** @file sessions.h  The sessions of the BMC. */
#ifndef QVRFCTL_DAY_SESSIONS_H
#define QVRFCTL_DAY_SESSIONS_H

#include "screen.h"
#include "service.h"

namespace qvrfctl {

/** The path of the collection, as the service root names it. @throws Failure where it does not */
std::string sessionCollection(Service& service);
/** The collection itself; null where the BMC has none; and told, where it cannot be read. */
Value readSessions(Service& service);
/** "sessions": id, user, from, type, since, own, path of each. */
Value sessionRows(Service& service);
void  showSessions(Screen& screen, const Value& document);
/** Closes those of @p ids, or all but the command's own with @p others, which is asked for unless @p yes. */
void closeSessions(const Context& context, const std::vector<std::string>& ids, bool others, bool yes);

}  // namespace qvrfctl

#endif
