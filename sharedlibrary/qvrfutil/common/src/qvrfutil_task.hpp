/**
 * @file qvrfutil_task.hpp
 * What the BMC goes on with after it answered: a task, asked for its state or waited for.
 *
 * @code
 *     const qvrfutil::Response answer = session.post(action, body).orThrow();
 *     if (auto task = qvrfutil::Task::of(session, answer)) {
 *         const auto onChange = [](const qvrfutil::TaskStatus& now) { show(now.percent); };
 *         const auto end      = task->wait(std::chrono::minutes(30), onChange);
 *         if (!end) complain(end.error().text());  // not over in time
 *         else if (end->state != qvrfutil::TaskState::done) complain(end->message);
 *     }
 * @endcode
 */
#ifndef QVRFUTIL_TASK_HPP
#define QVRFUTIL_TASK_HPP

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "qvrfutil.hpp"

namespace qvrfutil {

enum class TaskState {
    running,
    done,
    failed,  ///< by the task's own word, or by the answer of 300 and above that a monitor ends with
    gone,    ///< the BMC does not know it any more, as after a restart: how it ended is not known
};

struct TaskStatus {
    TaskState   state = TaskState::running;
    std::string word;          ///< the BMC's own: "Running", "Completed", "Exception"; printable, empty without one
    int         percent = -1;  ///< 0 to 100; -1: not told
    std::string message;       ///< the last one that the BMC has about it, printable
    Response    answer;        ///< all of it; of a task monitor whose task is over, what the request came to
};

class Task {
public:
    /**
     * The task that @p answer tells of: a 202 by its "Location", any success by a task as its body. Nothing when it
     * tells of none. @p session outlives it.
     */
    static std::optional<Task> of(Session& session, const Response& answer)
    {
        const detail::JsonView body(answer.body);
        const bool             isTask = body["TaskState"].isText();
        if (!answer.ok() || (answer.http != kAccepted && !isTask)) return std::nullopt;
        std::string path = isTask ? body["@odata.id"].text() : std::string();
        if (!detail::isPath(path)) path = pathOf(answer.header("Location"));
        if (!detail::isPath(path)) return std::nullopt;
        return Task(session, path);
    }
    /** A task, or a task monitor. @p session outlives it. */
    Task(Session& session, std::string path) : session_(&session), path_(std::move(path)) {}

    const std::string& path() const noexcept { return path_; }

    /** How it is now. A BMC that has no time for the question (503 or 429 with Retry-After) leaves it running. */
    Result<TaskStatus> ask(RequestOptions options = {}) const
    {
        Result<Response> answer = session_->get(path_, std::move(options));
        if (!answer) return answer.error();
        const detail::JsonView body(answer->body);
        TaskStatus             status;
        status.word    = printable(body["TaskState"].text());
        status.percent = percentOf(body["PercentComplete"]);
        status.message = messageOf(body, answer->body);
        status.state   = stateOf(*answer, body);
        status.answer  = *std::move(answer);
        return status;
    }

    /**
     * Asks until it is over, at most for @p limit, as often as the BMC says (Retry-After, within 0.1 and 60 s), every
     * other second otherwise. Within a limit a BMC that does not answer meanwhile is asked on: it may be restarting.
     * @param limit     0: none, and the first question without an answer ends it
     * @param onChange  told each state, the last one too
     */
    Result<TaskStatus> wait(Duration limit, const std::function<void(const TaskStatus&)>& onChange = {},
                            const Cancellation* cancellation = nullptr) const
    {
        const detail::Deadline deadline(limit);
        for (;;) {
            RequestOptions options;
            if (deadline.until()) options.limit = std::min(options.limit, deadline.left());
            options.cancellation      = cancellation;
            Result<TaskStatus> status = ask(std::move(options));
            if (status && onChange) onChange(*status);
            if (status ? status->state != TaskState::running : !deadline.until() || !isPassing(status.error()))
                return status;
            Duration pause = status ? pauseAfter(status->answer) : kBetween;
            if (deadline.until()) pause = std::min(pause, deadline.left());
            if (!detail::pauseUnlessCancelled(pause, cancellation)) return detail::cancelled("wait for " + path_);
            if (deadline.isOver()) return status ? Result<TaskStatus>(notOver(limit)) : status;
        }
    }

private:
    static constexpr u16      kAccepted = 202;
    static constexpr Duration kBetween{2000};
    static constexpr Duration kMostBetween{60000};

    /** Of a whole URL the path, whatever host it names: the token goes to the BMC alone. */
    static std::string pathOf(const std::string& location)
    {
        const auto host = location.find("://");
        if (host == location.npos) return location;
        const auto path = location.find('/', host + 3);
        return path == location.npos ? std::string() : location.substr(path);
    }

    static TaskState stateOf(const Response& answer, const detail::JsonView& task)
    {
        if (detail::retryAfter(answer)) return TaskState::running;
        if (answer.http == 404 || answer.http == 410) return TaskState::gone;
        if (answer.http >= 300) return TaskState::failed;
        const std::string word = task["TaskState"].text();
        if (word == "Completed") return task["TaskStatus"].text() == "Critical" ? TaskState::failed : TaskState::done;
        for (const char* end : {"Exception", "Killed", "Cancelled"})
            if (word == end) return TaskState::failed;
        return answer.http == kAccepted || !task["TaskState"].raw().empty() ? TaskState::running : TaskState::done;
    }

    /** Whether the same question may have an answer later. */
    static bool isPassing(const Error& error) noexcept
    {
        return error.http == 0 && error.reason != Reason::cancelled && error.reason != Reason::tooLong &&
               error.status != QVRFUTIL_NO_SESSION_DETAILS && error.status != QVRFUTIL_INVALID_PARAMETER;
    }

    static Duration pauseAfter(const Response& answer)
    {
        return std::max(detail::kLeastPause, std::min(kMostBetween, detail::waitAsked(answer).value_or(kBetween)));
    }

    static int percentOf(const detail::JsonView& value)
    {
        const std::string_view digits = value.raw();
        if (digits.empty() || digits.size() > 3 || digits.find_first_not_of("0123456789") != digits.npos) return -1;
        const int percent = std::atoi(std::string(digits).c_str());
        return percent <= 100 ? percent : -1;
    }

    static std::string messageOf(const detail::JsonView& body, const std::string& text)
    {
        std::string message = detail::redfishMessage(text);
        body["Messages"].forEach([&](const detail::JsonView& entry) {
            if (std::string next = entry["Message"].text(); !next.empty()) message = std::move(next);
            return true;
        });
        return printable(message);
    }

    Error notOver(Duration limit) const
    {
        Error error("wait for " + path_, QVRFUTIL_FAILURE, "the task is not over within " + detail::inWords(limit),
                    "ask again: the BMC goes on with it");
        error.reason = Reason::timeLimit;
        return error;
    }

    Session*    session_;
    std::string path_;
};

}  // namespace qvrfutil

#endif
