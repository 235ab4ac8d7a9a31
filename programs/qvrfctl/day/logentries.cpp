/** @file logentries.cpp  Finds the logs and reads their newest entries, whichever order they come in. */
#include <algorithm>
#include <ctime>
#include <set>

#include "log.h"
#include "times.h"

namespace qvrfctl {
namespace {

constexpr std::size_t kMostPages = 100;

void addServices(Service& service, const Value& owner, std::vector<Value>& logs, std::set<std::string>& seen)
{
    if (!seen.insert(owner["LogServices"].link()).second) return;
    for (const Value& log : service.membersOr(owner["LogServices"], "logs"))
        if (seen.insert(log.link()).second) logs.push_back(log);
}

bool isOfEvents(const Value& log)
{
    const std::string type = log["LogEntryType"].text();
    return type.empty() || type == "SEL" || type == "Event" || type == "Multiple" || type == "Oem";
}

/** The SEL has another name on each model: its kind comes first. */
std::vector<Value> named(const std::vector<Value>& logs, const std::string& name)
{
    for (const char* const member : {"LogEntryType", "Id"})
        for (const Value& log : logs)
            if (isSameWord(log[member].text(), name)) return {log};
    std::vector<std::string> there;
    for (const Value& log : logs) there.push_back(idOf(log));
    throw noSuch("log", name, there);
}

std::string timeOfEntry(const Value& entry)
{
    return entry.firstOf({"EventTimestamp", "Created"}).text();
}

/** "%1" and so on are the arguments'. */
std::string messageWith(std::string id, const std::vector<std::string>& arguments)
{
    return arguments.empty() ? id : id + " (" + listed(arguments) + ')';
}

bool passes(const LogFilter& filter, const Value& row)
{
    const auto time = secondsOf(row["time"].text());
    if (!filter.severity.empty() && !isSameWord(row["severity"].text(), filter.severity)) return false;
    if (!time) return true;  // an undated one could be any time's
    return (!filter.since || *time >= *filter.since) && (!filter.until || *time <= *filter.until);
}

/** Whether the first page begins with the newest: Redfish leaves the order open. */
bool isNewestFirst(const std::vector<Value>& entries)
{
    if (entries.size() < 2) return true;
    const auto first = secondsOf(timeOfEntry(entries.front())), last = secondsOf(timeOfEntry(entries.back()));
    if (first && last && *first != *last) return *first > *last;
    const std::string a = idOf(entries.front()), b = idOf(entries.back());
    return a.size() != b.size() ? a.size() > b.size() : a > b;
}

class Reader {
public:
    Reader(Service& service, const Value& log, const LogFilter& filter)
        : service_(service), log_(log), filter_(filter), path_(log["Entries"].link())
    {
    }

    LogEntries run()
    {
        if (path_.empty()) return {};
        const Value first  = service_.page(path_);
        const auto  sample = service_.resolved(first["Members"]);
        newestFirst_       = isNewestFirst(sample);
        const bool isWhole = first["Members@odata.nextLink"].link().empty();
        if (!newestFirst_ && !isWhole && filter_.most != 0 && service_.offers("TopSkipQuery") && !filter_.since)
            readEnd(static_cast<std::size_t>(first["Members@odata.count"].count()));
        else
            readPages();
        if (!newestFirst_) std::reverse(found_.rows.begin(), found_.rows.end());
        if (filter_.most != 0 && found_.rows.size() > filter_.most) found_.rows.resize(filter_.most);
        return std::move(found_);
    }

private:
    void take(const std::vector<Value>& entries)
    {
        for (const Value& entry : entries)
            if (Value row = logRow(log_, entry); passes(filter_, row)) found_.rows.push_back(std::move(row));
    }

    /** Newest first: no further than what was asked for. */
    bool hasEnough(const std::vector<Value>& entries) const
    {
        if (!newestFirst_) return false;
        if (filter_.most != 0 && found_.rows.size() >= filter_.most) return true;
        const auto last = entries.empty() ? std::nullopt : secondsOf(timeOfEntry(entries.back()));
        return filter_.since && last && *last < *filter_.since;
    }

    void readPages()
    {
        std::size_t pages = 0;
        service_.pages(path_, [&](const std::vector<Value>& entries) {
            take(entries);
            found_.more = ++pages >= kMostPages;
            return !found_.more && !hasEnough(entries);
        });
    }

    /** Oldest first: from the end, further back until there are enough. */
    void readEnd(std::size_t count)
    {
        std::size_t wanted = std::max<std::size_t>(filter_.most, 1);
        for (;; wanted *= 4) {
            found_.rows.clear();
            const std::size_t skip = count > wanted ? count - wanted : 0;
            service_.pages(path_ + "?$skip=" + std::to_string(skip), [&](const std::vector<Value>& entries) {
                take(entries);
                return true;
            });
            if (skip == 0 || found_.rows.size() >= filter_.most) return;
        }
    }

    Service&         service_;
    const Value      log_;
    const LogFilter& filter_;
    std::string      path_;
    bool             newestFirst_ = true;
    LogEntries       found_;
};

}  // namespace

std::vector<Value> logServices(Service& service, const std::string& name)
{
    std::vector<Value>    logs;
    std::set<std::string> seen;
    const Value           system = service.system();
    addServices(service, system, logs, seen);
    for (const Value& manager : service.resolved(system["Links.ManagedBy"])) addServices(service, manager, logs, seen);
    for (const Value& chassis : service.chassis()) addServices(service, chassis, logs, seen);
    if (!name.empty()) return named(logs, name);
    logs.erase(std::remove_if(logs.begin(), logs.end(), [](const Value& log) { return !isOfEvents(log); }), logs.end());
    if (logs.empty()) throw Failure(kExitLibrary, "this BMC tells no logs by Redfish");
    return logs;
}

LogEntries readLog(Service& service, const Value& log, const LogFilter& filter)
{
    return Reader(service, log, filter).run();
}

Value logRow(const Value& log, const Value& entry)
{
    const Value message = entry["Message"];
    return {{"log", idOf(log)},
            {"id", idOf(entry)},
            {"path", entry.link()},
            {"time", entry.firstOf({"EventTimestamp", "Created"})},
            {"severity", entry["Severity"]},
            {"message", message.text().empty()
                            ? Value(messageWith(entry["MessageId"].text(), textsOf(entry["MessageArgs"])))
                            : message},
            {"messageId", entry["MessageId"]},
            {"messageArgs", entry["MessageArgs"].isList() ? entry["MessageArgs"] : Value::list()},
            {"resolved", entry["Resolved"]}};
}

long long timeOf(const std::string& word, const std::string& option)
{
    if (const auto time = secondsOf(word)) return *time;
    const std::string digits = word.empty() ? word : word.substr(0, word.size() - 1);
    const bool      isAgo = !digits.empty() && digits.size() < 8 && digits.find_first_not_of("0123456789") == word.npos;
    const long long unit  = word.empty()         ? 0
                            : word.back() == 's' ? 1
                            : word.back() == 'm' ? 60
                            : word.back() == 'h' ? 3600
                            : word.back() == 'd' ? 86400
                                                 : 0;
    if (!isAgo || unit == 0)
        throw wrongUsage(option + ": '" + word + "' is no time",
                         "write 2026-11-21, 2026-11-21T09:00:00Z, or how long ago: 30m, 2h, 3d");
    return static_cast<long long>(std::time(nullptr)) - std::stoll(digits) * unit;
}

}  // namespace qvrfctl
