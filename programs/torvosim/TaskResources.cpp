/** @file TaskResources.cpp  Tasks as Redfish tells them. */
#include "TaskResources.h"

namespace torvosim {

namespace {

std::string pathOf(const char* collection, const TaskNow& task)
{
    return std::string(collection) + '/' + std::to_string(task.number);
}

Json messageOf(const TaskNow& task)
{
    if (task.hasFailed())
        return {{"MessageId", "Update.1.0.VerificationFailed"},
                {"Message", "The image could not be verified."},
                {"Severity", "Critical"},
                {"Resolution", "Get the image again and repeat the update."}};
    return {{"MessageId", task.isOver() ? "Update.1.0.UpdateSuccessful" : "Update.1.0.UpdateInProgress"},
            {"Message", task.isOver() ? task.message : "The update is going on."},
            {"Severity", task.isOver() ? task.status : "OK"}};
}

Json taskResource(const TaskNow& task)
{
    Json json = {{"@odata.id", pathOf(kTasks, task)},
                 {"@odata.type", "#Task.v1_7_1.Task"},
                 {"Id", std::to_string(task.number)},
                 {"Name", task.name},
                 {"TaskState", task.state},
                 {"TaskStatus", task.status},
                 {"PercentComplete", task.percent},
                 {"StartTime", isoTime(task.started)},
                 {"TaskMonitor", pathOf(kMonitors, task)},
                 {"Messages", Json::array({messageOf(task)})}};
    if (task.isOver()) json["EndTime"] = isoTime(task.ended);
    return json;
}

}  // namespace

Json taskMembers(Bmc& bmc)
{
    Json members = Json::array();
    for (const TaskNow& task : bmc.tasks.all()) members.push_back(taskResource(task));
    return members;
}

Response acceptedTask(const TaskNow& task)
{
    Response response = jsonResponse(202, taskResource(task).dump());
    response.headers.emplace_back("Location", pathOf(kMonitors, task));
    response.headers.emplace_back("Retry-After", "1");
    return response;
}

Response answerMonitor(Bmc& bmc, const std::string& path)
{
    const auto number = parseNumber(std::string_view(path).substr(std::min(path.size(), sizeof kMonitors)), UINT32_MAX);
    const auto task   = number ? bmc.tasks.find(static_cast<unsigned>(*number)) : std::nullopt;
    if (!task) return errorResponse(404, "There is no task monitor " + path);
    if (!task->isOver()) return acceptedTask(*task);
    const Json message = messageOf(*task);
    if (task->hasFailed()) return errorResponse(500, textOf(message, "Message"));
    return jsonResponse(200, Json{{"@Message.ExtendedInfo", Json::array({message})}}.dump());
}

}  // namespace torvosim
