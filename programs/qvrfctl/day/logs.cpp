/** @file logs.cpp  qvrfctl log: the newest entries of the logs, in the order of their times. */
#include <algorithm>

#include "change.h"
#include "day.h"
#include "log.h"
#include "logclear.h"
#include "logwords.h"
#include "times.h"

namespace qvrfctl {
namespace {

std::string wholeTime(const Value& entry)
{
    return timeText(entry["time"].text());
}
std::string shortTime(const Value& entry)
{
    return shortTimeText(entry["time"].text());
}

void checkSeverity(const std::string& word)
{
    const std::vector<std::string> all{"OK", "Warning", "Critical"};
    if (!word.empty() && !sameOf(all, word)) throw noSuch("severity", word, all);
}

LogFilter filterOf(const LogWords& words)
{
    LogFilter filter;
    filter.severity = words.severity;
    filter.most     = words.all ? 0 : words.most;
    if (!words.since.empty()) filter.since = timeOf(words.since, "--since");
    if (!words.until.empty()) filter.until = timeOf(words.until, "--until");
    return filter;
}

bool isEarlier(const Value& a, const Value& b)
{
    return secondsOf(a["time"].text()).value_or(0) < secondsOf(b["time"].text()).value_or(0);
}

Value read(Service& service, const LogWords& words)
{
    const LogFilter    filter = filterOf(words);
    std::vector<Value> entries;
    bool               more = false;
    for (const Value& log : logServices(service, words.log)) {
        LogEntries found = readLog(service, log, filter);
        more             = more || found.more;
        entries.insert(entries.end(), found.rows.rbegin(), found.rows.rend());
    }
    std::stable_sort(entries.begin(), entries.end(), isEarlier);
    if (filter.most != 0 && entries.size() > filter.most)
        entries.erase(entries.begin(), entries.end() - static_cast<std::ptrdiff_t>(filter.most));
    return {{"entries", entries}, {"more", more}, {"unavailable", service.missing()}};
}

void show(Screen& screen, const Value& document)
{
    showLogTable(screen, document["entries"].items());
    if (document["more"].isTrue()) screen.warning("warning: there are more: older ones were not read");
}

void list(const Context& context, const LogWords& words)
{
    static_cast<void>(filterOf(words));  // what is wrong with it is told before the login
    inRounds(
        context, words.rounds, [&](Service& service) { return read(service, words); }, show);
}

}  // namespace

void showLogTable(Screen& screen, const std::vector<Value>& entries)
{
    const auto time = screen.isNarrow() ? shortTime : wholeTime;
    screen.table(
        {{"TIME", "time", 0, false, time}, {"SEVERITY", "severity", 2}, {"LOG", "log", 3}, {"MESSAGE", "message"}},
        entries);
}

Action declareLog(Arguments arguments)
{
    auto words = std::make_shared<LogWords>();
    declareRounds(arguments, words->rounds);
    arguments.text("--log", words->log, "Id or kind of one log, such as Sel; those of events unless given");
    arguments.text("--severity", words->severity, "only entries of this severity: OK, Warning or Critical");
    arguments.text("--since", words->since, "none before: 2026-11-21, 2026-11-21T09:00:00Z, or how long ago, 2h or 3d");
    arguments.text("--until", words->until, "none after, in the same way");
    arguments.count("-n,--lines", words->most, "at most this many entries").showsDefault();
    arguments.flag("--all", words->all, "all entries").notWith("--lines");
    arguments.flag("--yes", words->yes, "clear: do not ask whether to go on");
    arguments.mayBe("list", "list the newest entries, the newest last");
    const Arguments clear  = arguments.mayBe("clear", "delete all entries of a log");
    const Arguments follow = arguments.mayBe("follow", "show entries as they come; --watch says how often to look");
    return [words, clear, follow](const Context& context) {
        checkSeverity(words->severity);
        if (follow.isNamed()) return followLog(context, *words);
        if (!clear.isNamed()) return list(context, *words);
        checkOnce(words->rounds);
        limit(context, words->rounds.timeout);
        clearLog(context, *words);
    };
}

}  // namespace qvrfctl
