/** @file task.cpp  Waits for tasks: by the task itself, or by its monitor where there is no more. */
#include "task.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "../session.h"
#include "rounds.h"

namespace qvrfctl {
namespace {

using Clock = std::chrono::steady_clock;

using Milliseconds = std::chrono::milliseconds;

// A task of a second is not waited for longer, and one of an hour is not asked after all the time.
constexpr Milliseconds kFirstWait{250};
constexpr Milliseconds kLongestWait{10000};
constexpr Milliseconds kBmcLook{2500};
constexpr unsigned     kLimit = 30 * 60;

bool isOver(const std::string& state)
{
    return state == "Completed" || state == "Exception" || state == "Killed" || state == "Cancelled";
}

bool isHeld(const std::string& state)
{
    return state == "Pending" || state == "Suspended" || state == "Interrupted";
}

Value messagesOf(const Value& task)
{
    std::vector<Value> all;
    for (const Value& message : task["Messages"].items())
        all.push_back(
            {{"severity", message.firstOf({"MessageSeverity", "Severity"})},
             {"message", message.firstOf({"Message", "MessageId"})},
             {"resolution", message["Resolution"]},
             {"job", message["OriginOfCondition"].link().empty() ? Value() : message["OriginOfCondition"].link()}});
    return all;
}

/** One line of the terminal, overwritten; gone when the waiting is over. */
class Line {
public:
    explicit Line(std::string what) : what_(std::move(what)), isShown_(::isatty(STDERR_FILENO) == 1) {}
    ~Line() { clear(); }
    Line(Line&&) = delete;

    void draw(const Value& task) const
    {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start_).count();
        const auto percent = task["percent"];
        if (!isShown_) return;
        std::fprintf(stderr, "\r\x1b[K%s: %s, %s", what_.c_str(), orDash(task["state"].text()).c_str(),
                     (percent.isNumber() ? percent.text() + " %" : std::to_string(seconds) + " s").c_str());
        std::fflush(stderr);
    }
    void clear() const
    {
        if (isShown_) std::fputs("\r\x1b[K", stderr);
    }

private:
    std::string       what_;
    bool              isShown_;
    Clock::time_point start_ = Clock::now();
};

class Waiting {
public:
    Waiting(Service& service, Accepted accepted, const std::string& what, bool mayRestart)
        : service_(service),
          accepted_(std::move(accepted)),
          line_(what),
          screen_(service.context()),
          mayRestart_(mayRestart)
    {
    }

    Value run()
    {
        for (Value row;;) {
            row = mayRestart_ ? readThroughRestart(service_, [this] { return look(); }) : look();
            if (isEnd_) return row;
            line_.draw(row);
            tellHeld(row["state"].text());
            rest();
        }
    }

private:
    /** The task where it is there, else its monitor. */
    Value look()
    {
        if (!accepted_.task.empty()) {
            const Reply reply = service_.send({"GET", accepted_.task});
            wait_             = reply.retryAfter;
            if (reply.http < 400 && reply.body["TaskState"].text() != "") return ofTask(reply.body);
            if (reply.http != 404 && reply.http != 410) throw Refusal({"GET", accepted_.task}, reply);
        }
        return accepted_.monitor.empty() ? gone() : ofMonitor(service_.send({"GET", accepted_.monitor}));
    }

    Value ofTask(const Value& task)
    {
        isEnd_ = isOver(task["TaskState"].text());
        return taskRow(task);
    }

    /** 202: at it. Anything else is the answer to the operation itself. */
    Value ofMonitor(const Reply& reply)
    {
        wait_ = reply.retryAfter;
        if (reply.http == 404 || reply.http == 410) return gone();
        if (reply.http == 202) return reply.body["TaskState"].isNull() ? Value::object() : taskRow(reply.body);
        isEnd_ = true;
        if (!reply.body["TaskState"].isNull()) return taskRow(reply.body);
        const bool        done    = reply.http < 400;
        const std::string message = messageOf(reply.body);
        return Value{
            {"id", lastSegment(accepted_.monitor)},
            {"name", Value()},
            {"state", done ? "Completed" : "Exception"},
            {"status", done ? "OK" : "Critical"},
            {"percent", Value()},
            {"start", Value()},
            {"end", Value()},
            {"messages", message.empty() ? Value::list() : Value(std::vector<Value>{Value{{"message", message}}})},
            {"path", accepted_.monitor}};
    }

    Value gone()
    {
        isEnd_                  = true;
        const std::string& path = accepted_.task.empty() ? accepted_.monitor : accepted_.task;
        return {{"id", lastSegment(path)}, {"name", Value()},           {"state", Value()},
                {"status", Value()},       {"percent", Value()},        {"start", Value()},
                {"end", Value()},          {"messages", Value::list()}, {"path", path}};
    }

    void tellHeld(const std::string& state)
    {
        if (!isHeld(state) || state == told_) return;
        line_.clear();
        screen_.warning("the task is " + state + "; still waiting");
        told_ = state;
    }

    void rest()
    {
        std::this_thread::sleep_for(wait_ > 0 ? std::min(Milliseconds(wait_ * 1000), kLongestWait) : pause_);
        pause_ = std::min(2 * pause_, kLongestWait);
    }

    Service&     service_;
    Accepted     accepted_;
    Line         line_;
    Screen       screen_;
    std::string  told_;
    int          wait_  = 0;  // seconds, as the BMC says
    Milliseconds pause_ = kFirstWait;
    bool         mayRestart_;
    bool         isEnd_ = false;
};

}  // namespace

Accepted acceptedBy(const Reply& reply)
{
    const bool isTask = !reply.body["TaskState"].isNull() || reply.body["@odata.type"].text().find("#Task.") == 0;
    return {isTask ? reply.body.link() : std::string(), reply.location};
}

Value taskRow(const Value& task)
{
    return {{"id", idOf(task)},
            {"name", task["Name"]},
            {"state", task["TaskState"]},
            {"status", task["TaskStatus"]},
            {"percent", task["PercentComplete"]},
            {"start", task["StartTime"]},
            {"end", task["EndTime"]},
            {"messages", messagesOf(task)},
            {"path", task.link()}};
}

void limitTask(const Context& context, unsigned seconds)
{
    limit(context, seconds, kLimit);
}

Value waitForTask(Service& service, const Accepted& accepted, const std::string& what, bool mayRestart)
{
    return Waiting(service, accepted, what, mayRestart).run();
}

Value readThroughRestart(Service& service, const std::function<Value()>& read)
{
    for (;;) {
        try {
            return read();
        } catch (const Refusal&) {
            throw;
        } catch (const Failure& failure) {
            service.context().interrupts.stayIfEnding();
            if (failure.exit() == kExitOutput) throw;
            Screen(service.context()).note(std::string("waiting for the BMC: ") + failure.what());
        }
        // One answer may be the last of the old service, or the first of one that is not yet whole.
        for (int answers = 0; answers < 2; std::this_thread::sleep_for(kBmcLook))
            answers = service.isThere() ? answers + 1 : 0;
    }
}

bool isDone(const Value& end)
{
    return end["state"].text() == "Completed" && end["status"].text() != "Critical";
}

void showTask(Screen& screen, const Value& end)
{
    if (screen.isJson()) return screen.document({{"task", end}});
    const std::string state  = end["state"].text();
    const std::string status = end["status"].text();
    screen.line("task:",
                end["id"].text() + ", " +
                    (state.empty() ? "gone" : state + (status.empty() || status == "OK" ? "" : " with " + status)),
                status);
    for (const Value& message : end["messages"].items()) {
        if (message["severity"].text() == "OK" && message["job"].isNull()) continue;
        const std::string todo = message["resolution"].text();
        screen.line("  " + message["severity"].text("message"),
                    message["message"].text() + (todo.empty() || todo == "None." ? "" : " " + todo) +
                        (message["job"].isNull() ? "" : " (" + message["job"].text() + ')'),
                    message["severity"].text());
    }
}

void throwIfFailed(const Value& end)
{
    const std::string state = end["state"].text();
    if (isDone(end)) return;
    if (state.empty())
        throw Failure(kExitLibrary,
                      "what became of it is not known: the BMC has no task " + end["path"].text() + " any more",
                      "look at what it was to change, and at 'qvrfctl task list' and 'qvrfctl log'");
    throw Failure(kExitLibrary,
                  "the task " + end["id"].text() + " failed: " + state +
                      (end["status"].isNull() ? "" : ", " + end["status"].text()),
                  "its messages say why; 'qvrfctl log' may say more");
}

}  // namespace qvrfctl
