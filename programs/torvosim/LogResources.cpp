/** @file LogResources.cpp  The logs' entries as Redfish tells them. */
#include "LogResources.h"

#include <ctime>

namespace torvosim {

namespace {

constexpr const char kServices[] = "/redfish/v1/Systems/System.Embedded.1/LogServices/";

std::string entryPath(const LogRow& log, std::uint64_t number)
{
    return std::string(kServices) + log.id + "/Entries/" + std::to_string(number);
}

Json entryResource(const LogRow& log, const LogEntry& entry)
{
    Json json = {{"@odata.id", entryPath(log, entry.number)},
                 {"@odata.type", "#LogEntry.v1_9_0.LogEntry"},
                 {"Id", std::to_string(entry.number)},
                 {"Name", "Log Entry " + std::to_string(entry.number)},
                 {"EntryType", log.entryType},
                 {"Severity", entry.severity},
                 {"Message", entry.message}};
    if (entry.time.empty()) return json;
    json["Created"] = entry.time;
    if (!log.newestFirst) json["EventTimestamp"] = entry.time;
    return json;
}

Json entriesOf(Bmc& bmc, const LogRow& log)
{
    Json members = Json::array();
    for (const LogEntry& entry : bmc.logs.entries(log)) members.push_back(entryResource(log, entry));
    return members;
}

void tell(Bmc& bmc, const std::string& severity, const std::string& message, const std::string& entry)
{
    StreamStep step;
    step.bytes = bmc.events.makeEvent(message, severity, entry);
    bmc.events.post(step);
}

}  // namespace

Json ksEntries(Bmc& bmc)
{
    Json members = Json::array();
    for (const KsEntry& entry : bmc.ksLog.last(SIZE_MAX))
        members.push_back({{"@odata.id", std::string(kKsEntries) + '/' + std::to_string(entry.number)},
                           {"@odata.type", "#LogEntry.v1_9_0.LogEntry"},
                           {"Id", std::to_string(entry.number)},
                           {"Name", "KS Log Entry"},
                           {"EntryType", "Event"},
                           {"Created", isoTime(entry.time)},
                           {"MessageId", entry.messageId},
                           {"MessageArgs", entry.arguments}});
    return members;
}

Json selEntries(Bmc& bmc)
{
    return entriesOf(bmc, EventLogs::kRows[0]);
}

Json lcLogEntries(Bmc& bmc)
{
    return entriesOf(bmc, EventLogs::kRows[1]);
}

void writeLog(Bmc& bmc, const LogRow& log, const std::string& severity, const std::string& message,
              const std::string& time)
{
    const LogEntry entry = bmc.logs.add(log, severity, message, time);
    tell(bmc, severity, message, entryPath(log, entry.number));
}

void writeLifecycle(Bmc& bmc, const std::string& severity, const std::string& message)
{
    writeLog(bmc, EventLogs::kRows[1], severity, message, isoTime(std::time(nullptr)));
}

void tellOfKsEntry(Bmc& bmc)
{
    for (const KsEntry& entry : bmc.ksLog.last(1))
        tell(bmc, "OK", entry.messageId, std::string(kKsEntries) + '/' + std::to_string(entry.number));
}

Response clearLog(Bmc& bmc, const std::string& target, const Json&)
{
    for (const LogRow& log : EventLogs::kRows) {
        if (!startsWith(target, std::string(kServices) + log.id + '/')) continue;
        bmc.logs.clear(log);
        if (log.whenCleared != nullptr) writeLog(bmc, log, "OK", log.whenCleared, isoTime(std::time(nullptr)));
        return noContent();
    }
    return errorResponse(404, "There is no log to clear at " + target);
}

}  // namespace torvosim
