/** @file LogResources.h  The logs' entries as Redfish tells them, and the events that tell of new ones. */
#ifndef TORVOSIM_LOGRESOURCES_H
#define TORVOSIM_LOGRESOURCES_H

#include "Bmc.h"

namespace torvosim {

constexpr const char kKsEntries[]    = "/redfish/v1/Managers/Torvo.Embedded.1/LogServices/KsLog/Entries";
constexpr const char kSelEntries[]   = "/redfish/v1/Systems/System.Embedded.1/LogServices/Sel/Entries";
constexpr const char kLcLogEntries[] = "/redfish/v1/Systems/System.Embedded.1/LogServices/LcLog/Entries";

Json ksEntries(Bmc& bmc);
Json selEntries(Bmc& bmc);
Json lcLogEntries(Bmc& bmc);

/** A new entry, and an event that tells of it. @param time as it is told; empty: unknown */
void writeLog(Bmc& bmc, const LogRow& log, const std::string& severity, const std::string& message,
              const std::string& time);
/** The same in the lifecycle log, now: what the BMC does. */
void writeLifecycle(Bmc& bmc, const std::string& severity, const std::string& message);
/** An event that tells of the KS log's newest entry. */
void tellOfKsEntry(Bmc& bmc);

/** The action LogService.ClearLog at @p target; "404" for a log that it does not clear. */
Response clearLog(Bmc& bmc, const std::string& target, const Json& parameters);

}  // namespace torvosim

#endif
