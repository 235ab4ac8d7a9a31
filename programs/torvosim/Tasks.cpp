/** @file Tasks.cpp  What takes its time. */
#include "Tasks.h"

#include <algorithm>
#include <ctime>

namespace torvosim {

namespace {

/** A state in which a task stays and may still go on, as Redfish has them. */
bool isPause(const std::string& state)
{
    return state == "Pending" || state == "Suspended" || state == "Interrupted";
}

}  // namespace

TaskNow Tasks::begin(const std::string& name, Effect effect)
{
    return state_.with([&](State& s) {
        Task task;
        task.now    = {++s.begun, name, "Running", "OK", 0, std::time(nullptr), 0, {}};
        task.ending = s.ending;
        task.effect = std::move(effect);
        task.begun  = Clock::now();
        task.lasts  = std::chrono::milliseconds(s.timeMs);
        s.tasks.push_back(std::move(task));
        return s.tasks.back().now;
    });
}

/** Those whose time is over, or all that go on; the others' progress is brought up to date. */
std::vector<Tasks::Task> Tasks::due(State& s, bool whatever)
{
    std::vector<Task> due;
    const auto        now = Clock::now();
    for (Task& task : s.tasks) {
        if (task.isEnding || task.now.isOver() || isPause(task.now.state)) continue;
        if (whatever || now - task.begun >= task.lasts) {
            task.isEnding = true;
            due.push_back(task);
        } else {
            task.now.percent = static_cast<unsigned>((now - task.begun) * 100 / task.lasts);
        }
    }
    return due;
}

/** Without the lock: what a task does may ask for others of the BMC's things. */
void Tasks::end(const Task& task)
{
    TaskNow now = task.now;
    now.state   = task.ending.state;
    now.status  = task.ending.status;
    if (!isPause(now.state)) now.ended = std::max<std::int64_t>(std::time(nullptr), now.started);
    const bool well = now.isOver() && !now.hasFailed() && !task.ending.vanish;
    if (well) now.percent = 100;
    if (well) now.message = task.effect();
    state_.with([&](State& s) {
        const auto it = std::find_if(s.tasks.begin(), s.tasks.end(),
                                     [&](const Task& other) { return other.now.number == now.number; });
        if (it == s.tasks.end()) return;
        it->now      = now;
        it->isEnding = false;
        if (task.ending.vanish) s.tasks.erase(it);
    });
}

void Tasks::endThose(bool whatever)
{
    for (const Task& task : state_.with([&](State& s) { return due(s, whatever); })) end(task);
}

void Tasks::settle()
{
    endThose(false);
}

std::vector<TaskNow> Tasks::all()
{
    return state_.with([](State& s) {
        std::vector<TaskNow> all;
        for (const Task& task : s.tasks) all.push_back(task.now);
        return all;
    });
}

std::optional<TaskNow> Tasks::find(unsigned number)
{
    for (TaskNow& task : all())
        if (task.number == number) return std::move(task);
    return std::nullopt;
}

void Tasks::finishAndForget()
{
    endThose(true);
    state_.with([](State& s) { s.tasks.clear(); });
}

void Tasks::setTime(unsigned milliseconds)
{
    state_.with([&](State& s) { s.timeMs = milliseconds; });
}

void Tasks::setEnding(const Ending& ending)
{
    state_.with([&](State& s) { s.ending = ending; });
}

}  // namespace torvosim
