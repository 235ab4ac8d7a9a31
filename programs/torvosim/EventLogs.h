/** @file EventLogs.h  The server's own logs: the system event log and the lifecycle log. */
#ifndef TORVOSIM_EVENTLOGS_H
#define TORVOSIM_EVENTLOGS_H

#include <array>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Support.h"

namespace torvosim {

struct LogEntry {
    std::uint64_t number = 0;
    std::string   time;  ///< as it is told; empty: the BMC did not know it
    std::string   severity;
    std::string   message;
};

/** What differs between the logs. */
struct LogRow {
    const char* id;
    bool        newestFirst;
    const char* entryType;
    const char* whenCleared;  ///< what the emptied log tells of it; nullptr: nothing
};

class EventLogs {
public:
    static constexpr std::size_t           kLogs        = 2;
    static constexpr std::uint64_t         kMostEntries = 10000;
    static const std::array<LogRow, kLogs> kRows;

    EventLogs();

    /** The log of that id, whatever its case; nullptr: there is none. */
    static const LogRow* find(std::string_view id);

    /** The new entry; the oldest goes where the log is full. */
    LogEntry add(const LogRow& log, std::string severity, std::string message, std::string time);
    /** @p count entries, a minute after one another, the same every time. */
    void fill(const LogRow& log, std::size_t count);
    void clear(const LogRow& log);
    /** In the order in which the log tells them. */
    std::vector<LogEntry> entries(const LogRow& log);

private:
    struct Log {
        std::deque<LogEntry> entries;
        std::uint64_t        added = 0;
    };
    using State = std::array<Log, kLogs>;
    static void append(Log& log, LogEntry entry);
    static Log& of(State& s, const LogRow& log) { return s[static_cast<std::size_t>(&log - kRows.data())]; }

    Guarded<State> state_;
};

}  // namespace torvosim

#endif
