/** @file EventLogs.cpp  The server's own logs. */
#include "EventLogs.h"

#include <algorithm>

namespace torvosim {

namespace {

constexpr std::int64_t kFirstMoment   = 1767225600;  // 2026-01-01, so that what is there at the start never changes
constexpr const char*  kFillings[][2] = {{"OK", "The power button was pressed."},
                                         {"OK", "The chassis is closed."},
                                         {"Warning", "The inlet temperature is above its upper bound."},
                                         {"Critical", "The power supply has lost its input."}};

}  // namespace

const std::array<LogRow, EventLogs::kLogs> EventLogs::kRows{{
    {"Sel", true, "SEL", nullptr},
    {"LcLog", false, "Event", "The log was cleared."},
}};

EventLogs::EventLogs()
{
    for (const LogRow& log : kRows) fill(log, 2);
}

const LogRow* EventLogs::find(std::string_view id)
{
    const auto* row =
        std::find_if(kRows.begin(), kRows.end(), [&](const LogRow& r) { return equalsIgnoreCase(r.id, id); });
    return row == kRows.end() ? nullptr : row;
}

void EventLogs::append(Log& log, LogEntry entry)
{
    entry.number = ++log.added;
    if (log.entries.size() >= kMostEntries) log.entries.pop_front();
    log.entries.push_back(std::move(entry));
}

LogEntry EventLogs::add(const LogRow& log, std::string severity, std::string message, std::string time)
{
    return state_.with([&](State& s) {
        append(of(s, log), {0, std::move(time), std::move(severity), std::move(message)});
        return of(s, log).entries.back();
    });
}

void EventLogs::fill(const LogRow& log, std::size_t count)
{
    state_.with([&](State& s) {
        of(s, log) = {};
        for (std::size_t i = 0; i < count; ++i) {
            const auto& [severity, message] = kFillings[i % std::size(kFillings)];
            append(of(s, log), {0, isoTime(kFirstMoment + static_cast<std::int64_t>(i) * 60), severity, message});
        }
    });
}

void EventLogs::clear(const LogRow& log)
{
    state_.with([&](State& s) { of(s, log).entries.clear(); });
}

std::vector<LogEntry> EventLogs::entries(const LogRow& log)
{
    return state_.with([&](State& s) {
        const auto& kept = of(s, log).entries;
        return log.newestFirst ? std::vector<LogEntry>(kept.rbegin(), kept.rend())
                               : std::vector<LogEntry>(kept.begin(), kept.end());
    });
}

}  // namespace torvosim
