/**
 * @file qvrfutil_stream.hpp
 * An event stream of the BMC that loses nothing in silence.
 *
 * @code
 *     qvrfutil::Client      client;
 *     qvrfutil::Session     session(client);
 *     qvrfutil::EventStream stream(session);          // the stream that the event service announces
 *     while (auto item = stream.next()) {
 *         if (item->isEvent()) puts(item->data.c_str());
 *         else catchUp(item->lastId);                 // something may be missing here: look into the BMC's log
 *     }
 *     puts(stream.error().text().c_str());            // over for good
 * @endcode
 *
 * Whatever happens to the connection, the BMC or the session: the stream is begun anew, after a pause that doubles from
 * StreamOptions::firstPause to mostPause and varies by a third, with a new session where the BMC wants one. Between the
 * events before and after stands one gap. An answer that a repetition will not change (404, or a page that is no event
 * stream) ends it, and error() says so.
 *
 * All of this happens on a thread of the stream's own. Stopping, or the end of the object, takes no time whatever the
 * BMC does: ending a subscription of the library takes a second or two, and a login to a BMC that went silent 100 s, so
 * that thread is left to it. It touches nothing of the caller's any more. The end of the Client waits for it, for
 * ClientOptions::settle at most; a process that cannot wait, because it is told to end at once, uses _exit.
 */
#ifndef QVRFUTIL_STREAM_HPP
#define QVRFUTIL_STREAM_HPP

#include <deque>

#include "qvrfutil.hpp"
#include "qvrfutilWatch.h"
#include "qvrfutil_events.hpp"

namespace qvrfutil {

struct StreamOptions {
    std::string path;                                      ///< empty: the one that the event service announces
    std::size_t mostEventBytes = EventParser::kMostBytes;  ///< a longer event is told as a gap
    bool        reconnect      = true;  ///< false: a stream that stood is over for good with its end or break
    Duration    firstPause{500};        ///< before a new connection, unless the BMC asks for another one
    Duration    mostPause{30000};
    Duration    silence{0};    ///< a stream without a byte for as long is begun anew; 0: never
    Duration    probe{30000};  ///< after as long without a byte the BMC is asked whether it is there; 0: never
};

namespace detail {

/** What the stream's thread, the subscription's thread and the reader share. */
class StreamState {
public:
    explicit StreamState(const StreamOptions& options) : parser_(options.mostEventBytes) {}

    // ---- On a subscription's thread; one that was given up is not listened to ----

    /** Blocks while the reader is far behind: the stream's own flow control then holds the BMC back. */
    void take(unsigned connection, std::string_view bytes)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto                   isOld = [&] { return stopped_ || connection != connection_; };
        changed_.wait(lock, [&] { return held_ < kMostHeld || isOld(); });
        if (isOld()) return;
        lastByte_ = lastSign_ = Clock::now();
        if (opening_.size() < kMostOpening) opening_.append(bytes.substr(0, kMostOpening - opening_.size()));
        for (StreamItem& item : parser_.take(bytes)) add(std::move(item));
        changed_.notify_all();
    }
    void lose() noexcept
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lost_ = true;
    }
    void over(unsigned connection, u16 http) noexcept
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (connection != connection_) return;
        isOver_ = true;
        http_   = http;
        changed_.notify_all();
    }
    void broken(unsigned connection) noexcept
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (connection == connection_) isBroken_ = true;
    }

    // ---- On the stream's own thread ----

    /** A new connection begins; what was left of the last one's event is dropped. @return its number */
    unsigned begin()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        parser_.restart();
        opening_.clear();
        isOver_ = isBroken_ = false;
        http_               = 0;
        lastByte_ = lastSign_ = Clock::now();
        changed_.notify_all();
        return ++connection_;
    }
    /** The BMC lives, though it has nothing to say. */
    void livesOn()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lastSign_ = Clock::now();
    }
    enum class Ending { over, silent, quiet, stopped };
    /** Until it is over or stopped, had no byte for @p silence, or no sign of life for @p probe; 0: however long. */
    Ending await(Duration silence, Duration probe)
    {
        constexpr auto               never = Clock::time_point::max();
        std::unique_lock<std::mutex> lock(mutex_);
        while (!stopped_ && !isOver_) {
            const auto silent = silence.count() != 0 ? lastByte_ + silence : never;
            const auto quiet  = probe.count() != 0 ? lastSign_ + probe : never;
            if (Clock::now() >= silent) return Ending::silent;
            if (Clock::now() >= quiet) return Ending::quiet;
            if (silent == never && quiet == never)
                changed_.wait(lock);
            else
                changed_.wait_until(lock, std::min(silent, quiet));
        }
        return stopped_ ? Ending::stopped : Ending::over;
    }
    /** @return whether the pause was not cut short by a stop */
    bool pause(Duration length)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return !changed_.wait_for(lock, length, [&] { return stopped_; });
    }
    void addGap(Loss loss)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        add(gap(loss, parser_.lastId()));
        changed_.notify_all();
    }
    void finish(Error error)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!error_) error_ = std::move(error);
        changed_.notify_all();
    }
    struct Report {
        u16                     http;
        bool                    broken, isStream;
        std::optional<Duration> retry;
        std::string             opening;
    };
    Report report() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return {http_, isBroken_, parser_.isStream(), parser_.retry(), opening_};
    }
    bool isStopped() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return stopped_;
    }

    // ---- On the reader's ----

    std::optional<StreamItem> next(std::optional<Clock::time_point> until)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto                   isNews = [&] { return !items_.empty() || error_ || stopped_; };
        if (!until)
            changed_.wait(lock, isNews);
        else
            changed_.wait_until(lock, *until, isNews);
        if (items_.empty() || stopped_) return std::nullopt;
        StreamItem item = std::move(items_.front());
        items_.pop_front();
        held_ -= weight(item);
        changed_.notify_all();
        return item;
    }
    void stop()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }
    std::optional<Error> error() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return items_.empty() ? error_ : std::nullopt;
    }

private:
    static constexpr std::size_t kMostHeld    = 4u * 1024 * 1024;
    static constexpr std::size_t kMostOpening = 4096;

    static std::size_t weight(const StreamItem& item) noexcept { return sizeof item + item.data.size(); }

    /** Gaps in a row are one. */
    void add(StreamItem item)
    {
        if (std::exchange(lost_, false)) add(gap(Loss::outOfMemory, parser_.lastId()));
        if (!item.isEvent() && !items_.empty() && !items_.back().isEvent()) return;
        held_ += weight(item);
        items_.push_back(std::move(item));
    }

    mutable std::mutex      mutex_;
    std::condition_variable changed_;
    EventParser             parser_;
    std::deque<StreamItem>  items_;
    std::size_t             held_       = 0;
    unsigned                connection_ = 0;
    std::string             opening_;  // what a page that is no stream begins with
    std::optional<Error>    error_;    // over for good
    Clock::time_point       lastByte_ = Clock::now();
    Clock::time_point       lastSign_ = lastByte_;  // a byte, or an answer to another question
    u16                     http_     = 0;
    bool                    isOver_   = false;
    bool                    isBroken_ = false;
    bool                    lost_     = false;
    bool                    stopped_  = false;
};

/** One registration with the library, and the watch that comes with it. Its end takes a second or two. */
class Subscription {
public:
    explicit Subscription(std::shared_ptr<StreamState> state) : state_(std::move(state)), connection_(state_->begin())
    {
        callback_.pCallerContext          = this;
        callback_.pCallerCallBackFunction = piece;
        watch_                            = {this, leftOut, over};
    }
    ~Subscription()
    {
        if (handle_ != nullptr) QVRFUTILUnregisterSSE(&handle_);
        QVRFUTILWatchSSE(&callback_, nullptr);
    }
    Subscription(Subscription&&) = delete;

    s32 begin(const std::string& path)
    {
        if (const s32 status = QVRFUTILWatchSSE(&callback_, &watch_); status != OXA_SUCCESS) return status;
        return QVRFUTILRegisterSSE(path.c_str(), &callback_, &handle_);
    }

private:
    void take(std::string_view bytes) noexcept
    try {
        state_->take(connection_, bytes);
    } catch (...) {
        state_->lose();
    }

    // On the subscription's thread.
    static void piece(SSEEventData* data) noexcept
    {
        const std::unique_ptr<SSEEventData, SmFree> event(data);
        const std::unique_ptr<astring, SmFree>      bytes(event->pEvent);
        auto&                                       self = *static_cast<Subscription*>(event->pCallerContext);
        if (event->StatusCode != 0)
            self.state_->broken(self.connection_);  // over() follows
        else
            self.take({bytes.get(), static_cast<std::size_t>(event->EventPayloadSize)});
    }
    static void leftOut(void* self, const astring* bytes, u32 size) noexcept
    {
        static_cast<Subscription*>(self)->take({bytes, size});
    }
    static void over(void* context, u16 http) noexcept
    {
        auto& self = *static_cast<Subscription*>(context);
        self.state_->over(self.connection_, http);
    }

    std::shared_ptr<StreamState> state_;
    unsigned                     connection_;
    QVRFUTILHttpCallbackContext  callback_{};
    QVRFUTILSSEWatch             watch_{};
    void*                        handle_ = nullptr;
};

/** The stream's own thread: begins it as often as it takes. Owns all that it uses. */
class StreamKeeper {
public:
    StreamKeeper(std::shared_ptr<Core> core, std::shared_ptr<StreamState> state, StreamOptions options)
        : core_(std::move(core)), state_(std::move(state)), options_(std::move(options))
    {
    }

    void run() noexcept
    try {
        while (!state_->isStopped() && once()) {
        }
    } catch (...) {
        state_->finish(Error("follow " + options_.path, QVRFUTIL_OUT_OF_MEMORY));
    }

private:
    enum class Next { again, renew, giveUp };

    /** One connection from its beginning to the pause behind it. @return whether another one follows */
    bool once()
    {
        const Next next = connection();
        if (next == Next::giveUp || state_->isStopped()) return false;
        if (next == Next::again) return wait();
        core_->tellRenewal("GET " + options_.path);
        const Done renewed = core_->renew(epoch_);
        if (renewed) return failures_++ == 0 || wait();
        const bool isForGood = !options_.reconnect || renewed.error().status == QVRFUTIL_NO_SESSION_DETAILS;
        return isForGood ? giveUp(renewed.error()) != Next::giveUp : wait();
    }

    Next connection()
    {
        auto       subscription = std::make_unique<Subscription>(state_);
        const s32  status       = begin(*subscription);
        const Next next         = status == OXA_SUCCESS ? follow() : afterRefusal(status);
        // Events come on meanwhile: the next connection does not wait for the end of this one.
        if (next != Next::giveUp) std::thread([core = core_, last = std::move(subscription)] {}).detach();
        return next;
    }

    s32 begin(Subscription& subscription)
    {
        const Inside inside(core_->gate);
        epoch_ = core_->epoch();
        return subscription.begin(options_.path);
    }

    Next afterRefusal(s32 status)
    {
        if (status == QVRFUTIL_SESSION_FAILURE || status == QVRFUTIL_NO_SESSION_DETAILS) return Next::renew;
        return options_.reconnect ? Next::again : giveUp(Error("follow " + options_.path, status));
    }

    Next follow()
    {
        for (;;) {
            switch (state_->await(options_.silence, options_.probe)) {
                case StreamState::Ending::stopped: return Next::giveUp;
                case StreamState::Ending::over: return judged(state_->report());
                case StreamState::Ending::silent: return gone(Loss::silence);
                case StreamState::Ending::quiet:
                    if (!isThere()) return gone(Loss::reconnected);
                    state_->livesOn();
            }
        }
    }

    bool isThere() const
    {
        Request request;
        request.path = kServiceRoot;
        request.road = Road::open;
        return bool(sendThrough(*core_, request));
    }

    Next gone(Loss loss)
    {
        if (!options_.reconnect)
            return giveUp(Error("follow " + options_.path, QVRFUTIL_EVENT_STREAM_BROKEN, "the BMC went silent",
                                statusText(QVRFUTIL_EVENT_STREAM_BROKEN).remedy));
        state_->addGap(loss);
        return Next::again;
    }

    /** What the end of a stream means. */
    Next judged(const StreamState::Report& report)
    {
        const bool mayBegin = options_.reconnect || failures_ < kMostBeginnings;
        if (report.http == kUnauthorized && (options_.reconnect || failures_ == 0)) return Next::renew;
        if (isPassing(report.http) && mayBegin) return Next::again;
        if (report.http >= 400 || (!report.isStream && !report.opening.empty())) return giveUp(notAStream(report));
        if (!options_.reconnect) return giveUp(itsEnd(report));
        if (report.http == 0) return Next::again;  // it never stood: the gap before it was told
        failures_ = 0;
        state_->addGap(Loss::reconnected);
        return Next::again;
    }

    /** Statuses that say "later". */
    static bool isPassing(u16 http) noexcept { return http == 408 || http == 429 || http >= 500; }

    Error notAStream(const StreamState::Report& report) const
    {
        Error error("follow " + options_.path, 0, "the answer is no event stream",
                    "check the path; /redfish/v1/EventService names the stream as ServerSentEventUri", report.http);
        if (const std::string message = redfishMessage(report.opening); !message.empty())
            error.meaning += ": " + printable(message);
        error.page = report.opening;
        return error;
    }
    Error itsEnd(const StreamState::Report& report) const
    {
        Error error("follow " + options_.path, QVRFUTIL_EVENT_STREAM_BROKEN);
        if (report.broken || report.http == 0) return error;
        error.status  = 0;
        error.http    = report.http;
        error.meaning = "the BMC ended the event stream";
        return error;
    }
    Next giveUp(Error error)
    {
        state_->finish(std::move(error));
        return Next::giveUp;
    }

    bool wait()
    {
        const int  doublings = std::min(failures_++, 10);
        const auto asked     = state_->report().retry.value_or(options_.firstPause);
        const auto pause     = std::min(asked * (1 << doublings), std::max(options_.mostPause, asked));
        // Not all listeners of a BMC that restarts come back at once: the clock's last digits differ.
        const auto third  = pause.count() / 3;
        const auto jitter = third == 0 ? 0 : Clock::now().time_since_epoch().count() / 1000 % (2 * third) - third;
        return state_->pause(pause + Duration(jitter));
    }

    static constexpr int kMostBeginnings = 5;  // of one that is not to be begun anew

    std::shared_ptr<Core>        core_;
    std::shared_ptr<StreamState> state_;
    StreamOptions                options_;
    std::uint64_t                epoch_    = 0;
    int                          failures_ = 0;
};

}  // namespace detail

/** The events of one stream, for one reader. */
class EventStream {
public:
    /** Looks up the stream where @p options name none. @throws Failure when that fails, or no thread is to be had */
    explicit EventStream(Session& session, StreamOptions options = {})
    {
        if (options.path.empty()) options.path = announced(session).orThrow();
        path_  = options.path;
        state_ = std::make_shared<detail::StreamState>(options);
        std::thread([keeper = std::make_shared<detail::StreamKeeper>(session.core_, state_, std::move(options))] {
            keeper->run();
        }).detach();
    }
    ~EventStream() { stop(); }
    EventStream(EventStream&&)            = delete;
    EventStream& operator=(EventStream&&) = delete;

    /** The next event or gap; nothing when @p until passed, the stream was stopped, or it is over (then error()). */
    std::optional<StreamItem> next(std::optional<Clock::time_point> until = {}) { return state_->next(until); }

    /** Why it is over for good, once all that came before was read; nothing while it goes on. */
    std::optional<Error> error() const { return state_->error(); }

    /** Any thread; returns at once, and so does a reader that waits. */
    void stop() noexcept { state_->stop(); }
    /** Any thread. Whoever reads with a time asks it where next() and error() say nothing. */
    bool isStopped() const { return state_->isStopped(); }

    const std::string& path() const noexcept { return path_; }

    /** The stream that the event service announces. */
    static Result<std::string> announced(Session& session)
    {
        const Result<std::string> service = session.object(kEventService);
        if (!service) return service.error();
        std::string path = detail::JsonView(*service)["ServerSentEventUri"].text();
        if (detail::isPath(path)) return path;
        return Error(std::string("look into ") + kEventService, 0, "it announces no event stream",
                     "give the path of the stream");
    }

private:
    static constexpr char kEventService[] = "/redfish/v1/EventService";

    std::string                          path_;
    std::shared_ptr<detail::StreamState> state_;
};

}  // namespace qvrfutil

#endif
