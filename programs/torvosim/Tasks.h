/** @file Tasks.h  What takes its time: tasks, their progress and their end. */
#ifndef TORVOSIM_TASKS_H
#define TORVOSIM_TASKS_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Support.h"

namespace torvosim {

/** A task at one moment. */
struct TaskNow {
    unsigned     number = 0;
    std::string  name;
    std::string  state;   ///< TaskState
    std::string  status;  ///< TaskStatus
    unsigned     percent = 0;
    std::int64_t started = 0;
    std::int64_t ended   = 0;  ///< 0: it goes on
    std::string  message;      ///< what its end has brought

    bool isOver() const { return ended != 0; }
    bool hasFailed() const { return isOver() && (state != "Completed" || status == "Critical"); }
};

class Tasks {
public:
    /** What a task that ends well does; it tells what it has brought. */
    using Effect = std::function<std::string()>;

    /** How the tasks that begin from now on end; tests change it. */
    struct Ending {
        std::string state  = "Completed";
        std::string status = "OK";
        bool        vanish = false;  ///< the task is gone, and nothing was done
    };

    TaskNow begin(const std::string& name, Effect effect);
    /** Ends those whose time is over. */
    void                   settle();
    std::vector<TaskNow>   all();
    std::optional<TaskNow> find(unsigned number);
    /** Does at once what those that still go on would have done, and forgets them all. */
    void finishAndForget();

    void setTime(unsigned milliseconds);
    void setEnding(const Ending& ending);

private:
    using Clock = std::chrono::steady_clock;
    struct Task {
        TaskNow                   now;
        Ending                    ending;
        Effect                    effect;
        Clock::time_point         begun;
        std::chrono::milliseconds lasts{0};
        bool                      isEnding = false;  // somebody is about it
    };
    struct State {
        std::vector<Task> tasks;
        unsigned          begun  = 0;
        unsigned          timeMs = 1000;
        Ending            ending;
    };
    static std::vector<Task> due(State& s, bool whatever);
    void                     end(const Task& task);
    void                     endThose(bool whatever);

    Guarded<State> state_;
};

}  // namespace torvosim

#endif
