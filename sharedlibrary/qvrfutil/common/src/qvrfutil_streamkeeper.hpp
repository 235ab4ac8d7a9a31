/**
 * @file qvrfutil_streamkeeper.hpp
 * The thread behind an event stream: its connections, and what the end of each means. Included by qvrfutil_stream.hpp;
 * programs have no use for it alone.
 */
#ifndef QVRFUTIL_STREAMKEEPER_HPP
#define QVRFUTIL_STREAMKEEPER_HPP

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "qvrfutil_send.hpp"
#include "qvrfutil_streamstate.hpp"

namespace qvrfutil {
namespace detail {

/** One connection of the stream, from its request to its end, and what that end means. */
class StreamConnection {
public:
    StreamConnection(Core& core, StreamState& state, const StreamOptions& options)
        : core_(core), state_(state), options_(options)
    {
    }

    void run(const Opened& session)
    {
        state_.begin();
        session_ = &session;
        begun_ = lastByte_ = lastSign_ = Clock::now();
        Request request;
        request.path        = options_.path;
        request.isKeptAlive = true;
        request.options.with("Accept: text/event-stream");
        if (const std::string id = state_.received().lastId; isSendable(id))
            request.options.with("Last-Event-ID: " + id);
        request.options.connectLimit = kConnecting;
        request.onLine               = [this](std::string_view line) { return readHead(line); };
        request.sink                 = [this](u16 http, std::string_view piece) { return take(http, piece); };
        request.goesOn               = [this] { return goesOn(); };
        attempt_.run(request, session, Duration(0));
        stood_ = isStream() ? Clock::now() - begun_ : Clock::duration(0);
    }

    u16                http() const noexcept { return attempt_.response.http; }
    const Attempt&     attempt() const noexcept { return attempt_; }
    const Response&    answer() const noexcept { return attempt_.response; }
    Loss               loss() const noexcept { return loss_; }
    bool               isRefused() const noexcept { return isRefused_ || http() == kUnauthorized; }
    const std::string& page() const noexcept { return page_; }
    /** How long it was an event stream. */
    Clock::duration stood() const noexcept { return stood_; }

    /** By its type; an answer without one, by what came. */
    bool isStream() const
    {
        if (http() != kOk) return false;
        return isTyped_ ? isEventStream_ : page_.empty() || state_.received().isStream;
    }

private:
    static constexpr std::size_t kMostPage = 4096;
    static constexpr Duration    kConnecting{30000};

    /** An identifier is the BMC's word: it must not become a header line of its own. */
    static bool isSendable(const std::string& id)
    {
        constexpr std::size_t kLongest = 1024;
        return !id.empty() && id.size() <= kLongest &&
               std::all_of(id.begin(), id.end(), [](char c) { return c >= ' ' && c < '\x7f'; });
    }

    bool readHead(std::string_view line)
    {
        if (line.substr(0, 5) == "HTTP/") isTyped_ = isEventStream_ = false;
        const auto type = headerOf(line, "Content-Type");
        if (!type) return true;
        isTyped_       = true;
        isEventStream_ = isSameName(type->substr(0, kType.size()), kType);
        if (isEventStream_) state_.open();
        return true;
    }

    bool take(u16 http, std::string_view piece)
    {
        if (page_.size() < kMostPage) page_ += piece.substr(0, kMostPage - page_.size());
        if (http != kOk || (isTyped_ && !isEventStream_)) return page_.size() < kMostPage;
        state_.take(piece);
        lastByte_ = lastSign_ = Clock::now();  // a reader that slept is not a BMC that was silent
        return !state_.isStopped();
    }

    bool goesOn()
    {
        if (state_.isStopped()) return false;
        const auto now = Clock::now();
        if (options_.silence.count() != 0 && now - lastByte_ >= options_.silence) loss_ = Loss::silence;
        if (loss_ == Loss::none && options_.probe.count() != 0 && now - lastSign_ >= options_.probe) probe();
        return loss_ == Loss::none;
    }

    /** Asks for what only this session may see: a BMC that was born again does not know it. */
    void probe()
    {
        Request request;
        request.path         = core_.sessionPath(*session_);
        request.options.room = kMostPage;
        request.goesOn       = [this] { return !state_.isStopped(); };
        Attempt attempt;
        attempt.run(request, *session_, kOpenLimit);
        isRefused_       = attempt.status == OXA_SUCCESS && attempt.response.http == kUnauthorized;
        const bool lives = attempt.status == OXA_SUCCESS || attempt.status == QVRFUTIL_BUFFER_TOO_SMALL;
        if (!lives || isRefused_) loss_ = Loss::reconnected;
        lastSign_ = Clock::now();
    }

    static constexpr std::string_view kType = "text/event-stream";

    Core&                core_;
    StreamState&         state_;
    const StreamOptions& options_;
    const Opened*        session_ = nullptr;
    Attempt              attempt_;
    Clock::time_point    begun_, lastByte_, lastSign_;
    Clock::duration      stood_{0};
    std::string          page_;  // what a page that is no stream begins with
    Loss                 loss_          = Loss::none;
    bool                 isTyped_       = false;
    bool                 isEventStream_ = false;
    bool                 isRefused_     = false;
};

/** The stream's own thread: begins it as often as it takes. Owns all that it uses. */
class StreamKeeper {
public:
    StreamKeeper(std::shared_ptr<Core> core, std::shared_ptr<StreamState> state, StreamOptions options)
        : core_(std::move(core)), state_(std::move(state)), options_(std::move(options))
    {
    }

    void run() noexcept
    {
        contained(
            [&] {
                while (!state_->isStopped() && once()) {
                }
            },
            [&] { state_->finish(Error("follow " + options_.path, QVRFUTIL_OUT_OF_MEMORY)); });
    }

private:
    enum class Next { again, renew, giveUp };

    /** One connection from its beginning to the pause behind it. @return whether another one follows */
    bool once()
    {
        const auto       begun   = Clock::now();
        const OpenedCopy session = core_->session();
        if (!session) return giveUp(Core::noSession("follow " + options_.path)) != Next::giveUp;
        StreamConnection connection(*core_, *state_, options_);
        connection.run(*session);
        if (state_->isStopped()) return false;
        if (connection.stood() >= kSteady) failures_ = 0;
        switch (judged(connection)) {
            case Next::giveUp: return false;
            case Next::again: return wait(connection.answer());
            case Next::renew: break;
        }
        return renew(session->epoch(), begun) && (failures_++ == 0 || wait(connection.answer()));
    }

    /** @return whether the stream goes on */
    bool renew(std::uint64_t epoch, Clock::time_point begun)
    {
        core_->listener().tell("GET " + options_.path);
        const Done renewed = core_->renew(epoch, begun, {}, &state_->stopping());
        isRefused_         = isRefused_ && renewed;  // otherwise the next refusal is that of the same session
        if (renewed || (options_.reconnect && renewed.error().status != QVRFUTIL_NO_SESSION_DETAILS)) return true;
        return giveUp(renewed.error()) != Next::giveUp;
    }

    /** What the end of a connection means. */
    Next judged(const StreamConnection& connection)
    {
        const bool wasRefused = std::exchange(isRefused_, connection.isRefused());
        if (connection.loss() != Loss::none) return gone(connection);
        if (connection.isRefused()) return wasRefused ? giveUp(refusedTwice()) : Next::renew;
        if (connection.isStream()) return ended(connection);
        return notStream(connection);
    }

    Next gone(const StreamConnection& connection)
    {
        if (!options_.reconnect)
            return giveUp(Error("follow " + options_.path, QVRFUTIL_EVENT_STREAM_BROKEN, "the BMC went silent",
                                statusText(QVRFUTIL_EVENT_STREAM_BROKEN).remedy));
        state_->addGap(connection.loss());
        return connection.isRefused() ? Next::renew : Next::again;
    }

    Next ended(const StreamConnection& connection)
    {
        if (!options_.reconnect) return giveUp(itsEnd(connection));
        state_->addGap(Loss::reconnected);
        return Next::again;
    }

    Next notStream(const StreamConnection& connection)
    {
        const bool mayBegin = options_.reconnect || failures_ < kMostBeginnings;
        const u16  http     = connection.http();
        if (http == 0) return neverStood(connection);
        if (isPassing(http) && mayBegin) return again(notAStream(connection));
        return giveUp(notAStream(connection));
    }

    /** No answer came: the gap before it was told. */
    Next neverStood(const StreamConnection& connection)
    {
        const bool isPassingOne = connection.attempt().status == QVRFUTIL_CURL_FAILED;
        if (options_.reconnect && isPassingOne) return again(itsEnd(connection));
        Request request;
        request.path = options_.path;
        if (isPassingOne) return giveUp(itsEnd(connection));
        return giveUp(unfit(request).value_or(failureOf(request, connection.attempt())));
    }

    /** Statuses that say "later". */
    static bool isPassing(u16 http) noexcept { return http == 408 || http == kTooManyRequests || http >= 500; }

    Error refusedTwice() const
    {
        return Error("follow " + options_.path, QVRFUTIL_SESSION_FAILURE,
                     "the BMC refuses it to a session that it has just opened",
                     "check the privilege of the session's user", kUnauthorized);
    }
    Error notAStream(const StreamConnection& connection) const
    {
        const u16   http    = connection.http();
        std::string meaning = "the answer is no event stream";
        if (http == 204) meaning = "the BMC has no events for this stream";
        if (http >= 300 && http < 400)
            meaning = "the BMC points to another place: " + connection.answer().header("Location");
        if (isPassing(http)) meaning = "the BMC does not serve the stream now";
        if (const std::string message = redfishMessage(connection.page()); !message.empty()) meaning += ": " + message;
        Error error("follow " + options_.path, 0, meaning,
                    "check the path; /redfish/v1/EventService names the stream as ServerSentEventUri", http);
        error.page = connection.page();
        return error;
    }
    Error itsEnd(const StreamConnection& connection) const
    {
        Error error("follow " + options_.path, QVRFUTIL_EVENT_STREAM_BROKEN);
        if (connection.attempt().status != OXA_SUCCESS || connection.http() == 0) return error;
        error.status  = 0;
        error.http    = connection.http();
        error.meaning = "the BMC ended the event stream";
        return error;
    }
    Next again(Error trouble)
    {
        state_->close(std::move(trouble));
        return Next::again;
    }
    Next giveUp(Error error)
    {
        state_->finish(std::move(error));
        return Next::giveUp;
    }

    /** What the BMC asks for counts within bounds: neither a flood of connections nor a stream that never comes back.
     */
    Duration asked(const Response& answer) const
    {
        std::optional<Duration> wanted = retryAfter(answer);
        if (!wanted) wanted = state_->received().retry;
        if (!wanted) return std::max(std::min(options_.firstPause, options_.mostPause), Duration(1));
        return std::max(std::min(*wanted, options_.mostPause), kLeastPause);
    }

    bool wait(const Response& answer)
    {
        const int  doublings = std::min(failures_++, 10);
        const auto pause     = std::min(asked(answer) * (1 << doublings), options_.mostPause);
        // Not all listeners of a BMC that restarts come back at once: the clock's last digits differ.
        const auto third  = pause.count() / 3;
        const auto jitter = third == 0 ? 0 : Clock::now().time_since_epoch().count() / 1000 % (2 * third) - third;
        return state_->pause(pause + Duration(jitter));
    }

    static constexpr int      kMostBeginnings = 5;  // of one that is not to be begun anew
    static constexpr Duration kSteady{10000};       // a stream that stood as long had no trouble

    std::shared_ptr<Core>        core_;
    std::shared_ptr<StreamState> state_;
    StreamOptions                options_;
    int                          failures_  = 0;
    bool                         isRefused_ = false;  // the last one, by a session that may have ended
};

}  // namespace detail
}  // namespace qvrfutil

#endif
