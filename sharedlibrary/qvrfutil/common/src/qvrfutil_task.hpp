/**
 * @file qvrfutil_task.hpp
 * What the BMC goes on with after it answered: a task, asked for its state or waited for.
 *
 * @code
 *     const qvrfutil::Response answer = session.post(action, body).orThrow();
 *     if (auto task = qvrfutil::Task::of(session, answer)) {
 *         const auto end = task->wait(std::chrono::minutes(30), [](const qvrfutil::TaskStatus& now) {
 * show(now.percent); }); if (!end) complain(end.error().text());                     // not asked, or not over in time
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

enum class TaskState { running, done, failed };

struct TaskStatus {
    TaskState   state = TaskState::running;
    std::string word;          ///< the BMC's own: "Running", "Completed", "Exception"; empty when it has none
    int         percent = -1;  ///< -1: not told
    std::string message;       ///< the last one that the BMC has about it
    Response    answer;        ///< all of it; of a task monitor whose task is over, what the request came to
};

class Task {
public:
    /** The task that @p answer of 201 or 202 tells of; nothing when it tells of none. @p session outlives it. */
    static std::optional<Task> of(Session& session, const Response& answer)
    {
        if (answer.http != 201 && answer.http != 202) return std::nullopt;
        const detail::JsonView body(answer.body);
        std::string            path = body["@odata.id"].text();
        if (!body["TaskState"].isText() || !detail::isPath(path)) path = pathOf(answer.header("Location"));
        const bool isTask = answer.http == 202 || body["TaskState"].isText();
        if (!isTask || !detail::isPath(path)) return std::nullopt;
        return Task(session, path);
    }
    /** A task, or a task monitor. @p session outlives it. */
    Task(Session& session, std::string path) : session_(&session), path_(std::move(path)) {}

    const std::string& path() const noexcept { return path_; }

    /** How it is now. An HTTP status of 400 and above from a monitor is the end of what it monitors. */
    Result<TaskStatus> ask(RequestOptions options = {}) const
    {
        Result<Response> answer = session_->get(path_, std::move(options));
        if (!answer) return answer.error();
        const detail::JsonView body(answer->body);
        TaskStatus             status;
        status.word    = body["TaskState"].text();
        status.percent = percentOf(body["PercentComplete"]);
        status.message = messageOf(body, answer->body);
        status.state   = stateOf(answer->http, status.word);
        status.answer  = *std::move(answer);
        return status;
    }

    /**
     * Asks until it is over, at most for @p limit, as often as the BMC says (Retry-After), every other second
     * otherwise. @param onChange  told each state, the last one too
     */
    Result<TaskStatus> wait(Duration limit, const std::function<void(const TaskStatus&)>& onChange = {},
                            const Cancellation* cancellation = nullptr) const
    {
        const detail::Deadline deadline(limit);
        for (;;) {
            RequestOptions options;
            options.limit             = limit.count() == 0 ? options.limit : std::min(options.limit, deadline.left());
            options.cancellation      = cancellation;
            Result<TaskStatus> status = ask(std::move(options));
            if (status && onChange) onChange(*status);
            if (!status || status->state != TaskState::running) return status;
            Duration pause = detail::waitAsked(status->answer).value_or(kBetween);
            if (deadline.until()) pause = std::min(pause, deadline.left());
            if (!detail::pauseUnlessCancelled(pause, cancellation)) return over(Reason::cancelled, "it was cancelled");
            if (deadline.isOver())
                return over(Reason::timeLimit, "the task is not over within " + detail::inWords(limit));
        }
    }

private:
    static constexpr Duration kBetween{2000};

    /** Of a whole URL the path, whatever host it names: the token goes to the BMC alone. */
    static std::string pathOf(const std::string& location)
    {
        const auto host = location.find("://");
        if (host == location.npos) return location;
        const auto path = location.find('/', host + 3);
        return path == location.npos ? std::string() : location.substr(path);
    }

    static TaskState stateOf(u16 http, std::string_view word) noexcept
    {
        if (http >= 400) return TaskState::failed;
        if (word == "Completed") return TaskState::done;
        for (const char* end : {"Exception", "Killed", "Cancelled"})
            if (word == end) return TaskState::failed;
        return http == 202 || !word.empty() ? TaskState::running : TaskState::done;
    }

    static int percentOf(const detail::JsonView& value)
    {
        const std::string_view digits = value.raw();
        if (digits.empty() || digits.size() > 3 || digits.find_first_not_of("0123456789") != digits.npos) return -1;
        return std::atoi(std::string(digits).c_str());
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

    Error over(Reason reason, const std::string& meaning) const
    {
        Error error("wait for " + path_, QVRFUTIL_FAILURE, meaning, "ask again: the BMC goes on with it");
        error.reason = reason;
        return error;
    }

    Session*    session_;
    std::string path_;
};

}  // namespace qvrfutil

#endif
