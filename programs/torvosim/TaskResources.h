/** @file TaskResources.h  Tasks as Redfish tells them, and their monitors. */
#ifndef TORVOSIM_TASKRESOURCES_H
#define TORVOSIM_TASKRESOURCES_H

#include "Bmc.h"

namespace torvosim {

constexpr const char kTasks[]    = "/redfish/v1/TaskService/Tasks";
constexpr const char kMonitors[] = "/redfish/v1/TaskService/TaskMonitors";

Json taskMembers(Bmc& bmc);
/** "202" with the task and the way to its monitor. */
Response acceptedTask(const TaskNow& task);
/** GET of a monitor: 202 while the task goes on, then the answer that its request would have had. */
Response answerMonitor(Bmc& bmc, const std::string& path);

}  // namespace torvosim

#endif
