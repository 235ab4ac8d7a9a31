/** @file log.h  The logs of a server: those of its system, its BMCs and its chassis. */
#ifndef QVRFCTL_DAY_LOG_H
#define QVRFCTL_DAY_LOG_H

#include <optional>
#include <string>
#include <vector>

#include "service.h"

namespace qvrfctl {

/** Which entries are wanted. */
struct LogFilter {
    std::string              severity;  ///< empty: all
    std::optional<long long> since;     ///< seconds since 1970
    std::optional<long long> until;
    std::size_t              most = 50;  ///< 0: all
};

/** The log services: those of events where @p name is empty, else the one of that Id or kind ("sel"). */
std::vector<Value> logServices(Service& service, const std::string& name);

struct LogEntries {
    std::vector<Value> rows;          ///< newest first
    bool               more = false;  ///< older ones were left out because of the bound on pages
};
/** The newest of a log that the filter lets pass, over as few pages as that takes. */
LogEntries readLog(Service& service, const Value& log, const LogFilter& filter);
/** log, id, path, time, severity, message, messageId, messageArgs, resolved. */
Value logRow(const Value& log, const Value& entry);

/** "2026-11-21", RFC 3339, or how long ago ("2h", "3d"). @throws Failure for anything else */
long long timeOf(const std::string& word, const std::string& option);

}  // namespace qvrfctl

#endif
