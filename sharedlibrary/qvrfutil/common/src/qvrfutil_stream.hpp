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
 * BMC does: that thread notices it within about a second, and touches nothing of the caller's any more. The end of the
 * Client waits for it, and for a login that the BMC has not answered, for ClientOptions::settle at most; a process that
 * cannot wait, because it is told to end at once, uses _exit.
 */
#ifndef QVRFUTIL_STREAM_HPP
#define QVRFUTIL_STREAM_HPP

#include <cstddef>
#include <iterator>

#include "qvrfutil.hpp"
#include "qvrfutil_streamkeeper.hpp"

namespace qvrfutil {

/** The events of one stream, for one reader. */
class EventStream {
public:
    /** Looks up the stream where @p options name none. @throws Failure when that fails, or no thread is to be had */
#ifdef __cpp_exceptions
    explicit EventStream(Session& session, StreamOptions options = {})
        : EventStream(begun(session, std::move(options)).orThrow())
    {
    }
#endif
    /** The same without exceptions. */
    static Result<std::unique_ptr<EventStream>> open(Session& session, StreamOptions options = {})
    {
        Result<EventStream> stream = begun(session, std::move(options));
        if (!stream) return stream.error();
        return std::make_unique<EventStream>(*std::move(stream));
    }
    ~EventStream()
    {
        stop();
    }
    EventStream(EventStream&&) noexcept = default;
    EventStream& operator=(EventStream&& other) noexcept
    {
        if (this == &other) return *this;
        stop();
        path_  = std::move(other.path_);
        state_ = std::move(other.state_);
        return *this;
    }

    /** The next event or gap; nothing when @p until passed, the stream was stopped, or it is over (then error()). */
    std::optional<StreamItem> next(std::optional<Clock::time_point> until = {})
    {
        return state_ ? state_->next(until) : std::nullopt;
    }

    /** Why it is over for good, once all that came before was read; nothing while it goes on. */
    std::optional<Error> error() const
    {
        return state_ ? state_->error() : std::nullopt;
    }

    /**
     * Why no try has opened the stream, while it is tried again: no answer yet, or what the last one met, an HTTP
     * status in Error::http. Nothing from the first answer that is an event stream until a later try fails.
     */
    std::optional<Error> trouble() const
    {
        return state_ ? state_->trouble() : std::nullopt;
    }

    /** Any thread; returns at once, and so does a reader that waits. */
    void stop() noexcept
    {
        if (state_) state_->stop();
    }
    /** Any thread. Whoever reads with a time asks it where next() and error() say nothing. */
    bool isStopped() const
    {
        return !state_ || state_->isStopped();
    }

    const std::string& path() const noexcept
    {
        return path_;
    }

    /** For loops over the events and gaps, until the stream is stopped or over: for (StreamItem& item : stream) */
    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type        = StreamItem;
        using difference_type   = std::ptrdiff_t;
        using pointer           = StreamItem*;
        using reference         = StreamItem&;

        Iterator() = default;
        explicit Iterator(EventStream& stream) : stream_(&stream) { ++*this; }
        StreamItem& operator*() { return *item_; }
        StreamItem* operator->() { return &*item_; }
        Iterator&   operator++()
        {
            item_ = stream_->next();
            return *this;
        }
        void operator++(int) { ++*this; }
        bool operator==(const Iterator& other) const noexcept { return item_.has_value() == other.item_.has_value(); }
        bool operator!=(const Iterator& other) const noexcept { return !(*this == other); }

    private:
        EventStream*              stream_ = nullptr;
        std::optional<StreamItem> item_;
    };
    Iterator begin()
    {
        return Iterator(*this);
    }
    Iterator end()
    {
        return {};
    }

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

    EventStream(std::string path, std::shared_ptr<detail::StreamState> state)
        : path_(std::move(path)), state_(std::move(state))
    {
    }

    static Result<EventStream> begun(Session& session, StreamOptions options)
    {
        if (options.path.empty()) {
            Result<std::string> path = announced(session);
            if (!path) return path.error();
            options.path = *std::move(path);
        }
        if (session.core_ == nullptr) return detail::Core::noSession("follow " + options.path);
        const auto state  = detail::StreamState::make(options);
        const auto keeper = std::make_shared<detail::StreamKeeper>(session.core_, state, options);
        if (!detail::startThread([keeper] { keeper->run(); }))
            return Error("follow " + options.path, QVRFUTIL_FAILURE, "there is no thread for it", "end some others");
        return EventStream(options.path, state);
    }

    std::string                          path_;
    std::shared_ptr<detail::StreamState> state_;
};

}  // namespace qvrfutil

#endif
