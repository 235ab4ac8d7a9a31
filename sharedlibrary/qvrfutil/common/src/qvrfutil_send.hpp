/**
 * @file qvrfutil_send.hpp
 * How the layer sends a request: by QVRFUTILSendRequestEx, with a copy of the session, and once more with a new one.
 * Included by qvrfutil.hpp; programs have no use for it alone.
 */
#ifndef QVRFUTIL_SEND_HPP
#define QVRFUTIL_SEND_HPP

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qvrfutilRequestEx.h"
#include "qvrfutil_core.hpp"
#include "qvrfutil_request.hpp"
#include "smsupport.h"

namespace qvrfutil {
namespace detail {

constexpr u64      kMostBody        = 64u * 1024 * 1024;
constexpr u16      kOk              = 200;
constexpr u16      kPartial         = 206;
constexpr u16      kUnauthorized    = 401;
constexpr u16      kTooManyRequests = 429;
constexpr u16      kUnavailable     = 503;
constexpr char     kServiceRoot[]   = "/redfish/v1";
constexpr Duration kOpenLimit{5000};
constexpr Duration kLeastPause{
    100};  // between two requests for the same: a BMC's "at once" is no invitation to a flood

struct Request {
    Method                 method = Method::get;
    std::string            path;
    std::string            body;
    std::string            bodyFile;
    std::vector<FormField> fields;
    RequestOptions         options;
    bool                   isOpen      = false;  ///< without a session
    bool                   isKeptAlive = false;
    /** Takes the body in, piece by piece, in the place of Response::body. @return false: no more of it */
    std::function<bool(u16 http, std::string_view piece)> sink;
    std::function<bool(std::string_view line)>            onLine;  ///< each line of the head
    std::function<bool()>                                 goesOn;  ///< asked at least once a second

    std::string name() const { return std::string(methodName(method)) + ' ' + path; }
};

/** One sending and what came of it. */
class Attempt {
public:
    s32                  status = 0;
    QVRFUTILRequestExEnd end    = QVRFUTIL_END_COMPLETE;
    int                  system = 0;
    Response             response;

    /** With @p session. @p limit 0: none */
    void run(const Request& request, const Opened& session, Duration limit)
    {
        request_ = &request;
        const Record    record(request, session, limit, *this);
        QVRFUTILReplyEx reply{};
        reply.recordSize = sizeof reply;
        const auto start = Clock::now();
        status           = QVRFUTILSendRequestEx(record.get(), &reply);
        response.elapsed = std::chrono::duration_cast<Duration>(Clock::now() - start);
        response.http    = reply.httpCode;
        system           = reply.systemError;
        end              = isTooLong_ ? QVRFUTIL_END_TOO_LONG : static_cast<QVRFUTILRequestExEnd>(reply.end);
        if (isTooLong_) status = QVRFUTIL_BUFFER_TOO_SMALL;
        if (isOutOfMemory_) status = QVRFUTIL_OUT_OF_MEMORY;
        if (isOutOfMemory_) end = QVRFUTIL_END_COMPLETE;
    }

private:
    /** The library's record of a request, and what it points at. */
    class Record {
    public:
        Record(const Request& request, const Opened& session, Duration limit, Attempt& attempt)
        {
            for (const std::string& line : request.options.lines) lines_.push_back(line.c_str());
            for (const FormField& field : request.fields) fields_.push_back(fieldOf(field));
            record_.recordSize = sizeof record_;
            record_.flags      = (request.isOpen ? unsigned{QVRFUTIL_EX_WITHOUT_SESSION} : 0u) |
                            (request.isKeptAlive ? unsigned{QVRFUTIL_EX_TCP_KEEPALIVE} : 0u);
            record_.pMethod         = methodName(request.method);
            record_.pPath           = request.path.c_str();
            record_.pSession        = &session.record();
            record_.ppHeaders       = lines_.data();
            record_.headerCount     = static_cast<u32>(lines_.size());
            record_.pFields         = fields_.data();
            record_.fieldCount      = static_cast<u32>(fields_.size());
            record_.pBody           = request.body.empty() ? nullptr : request.body.data();
            record_.bodySize        = request.body.size();
            record_.pBodyFilePath   = request.bodyFile.empty() ? nullptr : request.bodyFile.c_str();
            record_.timeLimitMs     = static_cast<u32>(limit.count());
            record_.connectLimitMs  = static_cast<u32>(request.options.connectLimit.count());
            record_.pCallerContext  = &attempt;
            record_.pHeaderFunction = head;
            record_.pBodyFunction   = body;
            if (request.goesOn || request.options.onProgress || request.options.cancellation != nullptr)
                record_.pProgressFunction = progress;
        }
        const QVRFUTILRequestEx* get() const noexcept { return &record_; }

    private:
        static QVRFUTILFormField fieldOf(const FormField& field) noexcept
        {
            QVRFUTILFormField part{};
            part.pName        = field.name.c_str();
            part.pContentType = field.type.empty() ? nullptr : field.type.c_str();
            if (field.isFile) {
                part.pFilePath = field.content.c_str();
            } else {
                part.pData    = field.content.data();
                part.dataSize = field.content.size();
            }
            return part;
        }

        QVRFUTILRequestEx              record_{};
        std::vector<const astring*>    lines_;
        std::vector<QVRFUTILFormField> fields_;
    };

    /** Nothing that is thrown gets back into the library. */
    template <class Work>
    booln guarded(Work work) noexcept
    {
        const bool more = contained(work, [&] {
            isOutOfMemory_ = true;
            return false;
        });
        return more ? TRUE : FALSE;
    }
    static booln head(void* context, const astring* line, u32 size) noexcept
    {
        auto& self = *static_cast<Attempt*>(context);
        return self.guarded([&] {
            self.response.rawHeaders.append(line, size);
            return !self.request_->onLine || self.request_->onLine({line, size});
        });
    }
    static booln body(void* context, u16 http, const void* bytes, u32 size) noexcept
    {
        auto& self = *static_cast<Attempt*>(context);
        return self.guarded([&] { return self.take(http, {static_cast<const char*>(bytes), size}); });
    }
    static booln progress(void* context, u64 sent, u64 toSend, u64 received, u64 toReceive) noexcept
    {
        auto& self = *static_cast<Attempt*>(context);
        return self.guarded([&] {
            const RequestOptions& options = self.request_->options;
            if (options.onProgress) options.onProgress({sent, toSend, received, toReceive});
            if (options.cancellation != nullptr && options.cancellation->isPulled()) return false;
            return !self.request_->goesOn || self.request_->goesOn();
        });
    }

    bool take(u16 http, std::string_view piece)
    {
        if (request_->sink) return request_->sink(http, piece);
        const u64 most = request_->options.room != 0 ? request_->options.room : kMostBody;
        isTooLong_     = piece.size() > most || response.body.size() > most - piece.size();
        if (!isTooLong_) response.body += piece;
        return !isTooLong_;
    }

    const Request* request_       = nullptr;
    bool           isTooLong_     = false;
    bool           isOutOfMemory_ = false;
};

/** What is left of a time limit; 0 stands for none. */
class Deadline {
public:
    explicit Deadline(Duration limit)
    {
        if (limit.count() > 0) until_ = after(limit);
    }
    const std::optional<Clock::time_point>& until() const noexcept { return until_; }
    bool                                    isOver() const { return isWithin(Duration(0)); }
    /** Whether it is over before @p length is. */
    bool isWithin(Duration length) const { return until_ && after(length) >= *until_; }
    /** At least 1 ms, for 0 would be none, and no more than the library counts. */
    Duration left() const
    {
        constexpr std::chrono::hours kLongest{24 * 24};
        if (!until_) return Duration(0);
        const auto left = std::chrono::duration_cast<Duration>(*until_ - Clock::now());
        return std::min<Duration>(std::max(Duration(1), left), kLongest);
    }

private:
    std::optional<Clock::time_point> until_;
};

inline Error fileError(const std::string& doing, int error, u16 http = 0)
{
    Error why(doing, QVRFUTIL_FAILURE, std::strerror(error), "choose a file of your own, or make room", http);
    why.system = error;
    why.reason = Reason::file;
    return why;
}

inline Error errorOf(Reason reason, const Request& request, const Attempt& attempt, const std::string& meaning,
                     const char* remedy)
{
    Error why(request.name(), attempt.status, meaning, remedy, attempt.response.http);
    why.reason = reason;
    return why;
}

inline Error cancelled(const std::string& doing)
{
    Error why(doing, QVRFUTIL_FAILURE, "it was cancelled", kAgain);
    why.reason = Reason::cancelled;
    return why;
}

inline Error notConnected(const Request& request, const Attempt& attempt)
{
    std::string meaning = "there is no connection to the BMC";
    if (attempt.system != 0) meaning += std::string(": ") + std::strerror(attempt.system);
    return errorOf(Reason::notConnected, request, attempt, meaning, kCheckLink);
}

/** What an attempt that brought no answer comes down to. */
inline Error failureOf(const Request& request, const Attempt& attempt)
{
    const bool  changes = request.method != Method::get && request.method != Method::head;
    const char* look    = changes ? "it may have been carried out: read the resource" : kAgain;
    switch (attempt.end) {
        case QVRFUTIL_END_CANCELLED: return errorOf(Reason::cancelled, request, attempt, "it was cancelled", look);
        case QVRFUTIL_END_TIME_LIMIT:
            return errorOf(Reason::timeLimit, request, attempt, "the BMC did not answer in time", look);
        case QVRFUTIL_END_NOT_CONNECTED: return notConnected(request, attempt);
        case QVRFUTIL_END_BROKEN:
            return errorOf(Reason::broken, request, attempt, "the connection to the BMC broke", look);
        case QVRFUTIL_END_FILE: return fileError("read the file to send with " + request.name(), attempt.system);
        case QVRFUTIL_END_TOO_LONG:
            if (!changes) break;
            return errorOf(Reason::tooLong, request, attempt, "it was carried out, but the answer did not fit",
                           "do not send it again; read the resource");
        case QVRFUTIL_END_COMPLETE:
        case QVRFUTIL_END_32BIT: break;
    }
    Error why(request.name(), attempt.status, attempt.response.http);
    if (attempt.end == QVRFUTIL_END_TOO_LONG) why.reason = Reason::tooLong;
    return why;
}

/** A path that would lead elsewhere: "@elsewhere/" is another host. */
inline std::optional<Error> unfit(const Request& request)
{
    if (isPath(request.path)) return std::nullopt;
    return Error(request.name(), QVRFUTIL_INVALID_PARAMETER,
                 "the path does not begin with '/', is longer than 400, or holds a character that no path may hold",
                 "give a path such as /redfish/v1/Systems");
}

/** How long the BMC asks to wait, if it does. */
inline std::optional<Duration> waitAsked(const Response& response)
{
    constexpr std::size_t kMostDigits = 6;  // a date in its place is not followed
    const std::string     text        = response.header("Retry-After");
    if (text.empty() || text.size() > kMostDigits || text.find_first_not_of("0123456789") != text.npos)
        return std::nullopt;
    return Duration(1000 * std::atol(text.c_str()));
}

/** The same of an answer that a repetition may change. */
inline std::optional<Duration> retryAfter(const Response& response)
{
    const bool isPassing = response.http == kUnavailable || response.http == kTooManyRequests;
    return isPassing ? waitAsked(response) : std::nullopt;
}

/** @return false: cancelled */
inline bool pauseUnlessCancelled(Duration length, const Cancellation* cancellation)
{
    constexpr Duration kLook{50};
    for (const auto until = after(length); Clock::now() < until;) {
        if (cancellation != nullptr && cancellation->isPulled()) return false;
        pause(std::min(kLook, std::chrono::duration_cast<Duration>(until - Clock::now()) + Duration(1)));
    }
    return true;
}

/** Sends it, and once more when the BMC had ended the session. */
inline Result<Response> sendOnce(Core& core, const Request& request, const Deadline& deadline)
{
    for (bool again = false;; again = true) {
        const auto       begun   = Clock::now();
        const OpenedCopy session = request.isOpen ? core.place() : core.session();
        if (!session) return core.isParents() ? Core::childsError(request.name()) : Core::noSession(request.name());
        Attempt attempt;
        attempt.run(request, *session, deadline.left());
        if (attempt.status != OXA_SUCCESS) return failureOf(request, attempt);
        if (request.isOpen || attempt.response.http != kUnauthorized) {
            attempt.response.renewed = again;
            return std::move(attempt.response);
        }
        if (again)
            return Error(request.name(), QVRFUTIL_SESSION_FAILURE,
                         "the BMC refuses it to a session that it has just opened",
                         "check the privilege of the session's user", kUnauthorized);
        core.listener().tell(request.name());
        Done renewed = core.renew(session->epoch(), begun, deadline.until(), request.options.cancellation);
        if (!renewed) return renewed.error();
    }
}

inline Result<Response> sendThrough(Core* core, const Request& request)
{
    if (core == nullptr) return Core::noSession(request.name());
    if (std::optional<Error> error = unfit(request)) return *std::move(error);
    const Cancellation* const cancellation = request.options.cancellation;
    if (cancellation != nullptr && cancellation->isPulled()) return cancelled(request.name());
    const Deadline deadline(request.options.limit), patience(request.options.patience);
    const bool     mayWait = request.method == Method::get && request.options.patience.count() > 0;
    for (;;) {
        Result<Response> answer = sendOnce(*core, request, deadline);
        const auto       asked  = answer && mayWait ? retryAfter(*answer) : std::nullopt;
        if (answer && !request.options.headers) answer->rawHeaders.clear();
        if (!asked) return answer;
        const Duration wait = std::max(*asked, kLeastPause);
        if (patience.isWithin(wait) || deadline.isWithin(wait)) return answer;
        if (!pauseUnlessCancelled(wait, cancellation)) return cancelled(request.name());
    }
}

inline void Core::remove(const Opened& old) const
{
    Request request;
    request.method = Method::remove;
    request.path   = sessionPath(old);
    request.sink   = [](u16, std::string_view) { return true; };
    if (isPath(request.path)) Attempt().run(request, old, kOpenLimit);
}

}  // namespace detail
}  // namespace qvrfutil

#endif
