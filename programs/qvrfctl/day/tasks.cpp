/** @file tasks.cpp  qvrfctl task: what the BMC is at, and what became of it. */
#include "day.h"
#include "rounds.h"
#include "task.h"

namespace qvrfctl {
namespace {

std::string startText(const Value& task)
{
    return timeText(task["start"].text());
}

std::vector<Value> collection(Service& service)
{
    const auto tasks = service.root()["Tasks"].link();
    const auto list  = tasks.empty() ? tasks : service.read(tasks)["Tasks"].link();
    if (list.empty()) throw Failure(kExitLibrary, "this BMC tells no tasks by Redfish");
    return service.members(list);
}

Value read(Service& service)
{
    std::vector<Value> rows;
    for (const Value& task : collection(service)) rows.push_back(taskRow(task));
    return {{"tasks", rows}};
}

void show(Screen& screen, const Value& document)
{
    screen.table({{"ID", "id"},
                  {"STATE", "state"},
                  {"%", "percent", 0, true},
                  {"STATUS", "status", 2},
                  {"STARTED", "start", 3, false, startText},
                  {"NAME", "name"}},
                 document["tasks"].items());
}

/** A task by its Id, or by its path. */
std::string pathOf(Service& service, const std::string& id)
{
    if (!id.empty() && id.front() == '/') return id;
    std::vector<std::string> there;
    for (const Value& task : collection(service)) {
        if (idOf(task) == id) return task.link();
        there.push_back(idOf(task));
    }
    throw noSuch("task", id, there);
}

void wait(const Context& context, const std::string& id, const Rounds& rounds)
{
    checkOnce(rounds);
    limitTask(context, rounds.timeout);
    Service     service(context);
    Screen      screen(context);
    const Value end = waitForTask(service, {pathOf(service, id), {}}, "the task " + id);
    showTask(screen, end);
    screen.flush();
    throwIfFailed(end);
}

}  // namespace

Action declareTask(Arguments arguments)
{
    struct Words {
        Rounds      rounds;
        std::string id;
    };
    auto words = std::make_shared<Words>();
    declareRounds(arguments, words->rounds, false);
    arguments.mayBe("list", "list the tasks");
    Arguments waiting = arguments.mayBe("wait", "wait for a task's end and tell how it ended");
    waiting.text("ID", words->id, "Id of the task, or its path").required();
    return [words, waiting](const Context& context) {
        if (waiting.isNamed()) return wait(context, words->id, words->rounds);
        inRounds(context, words->rounds, read, show);
    };
}

}  // namespace qvrfctl
