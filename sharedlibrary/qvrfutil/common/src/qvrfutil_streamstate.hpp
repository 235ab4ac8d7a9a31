/**
 * @file qvrfutil_streamstate.hpp
 * What an event stream is to do, and what its thread and its reader share. Included by qvrfutil_stream.hpp; programs
 * have no use for it alone.
 */
#ifndef QVRFUTIL_STREAMSTATE_HPP
#define QVRFUTIL_STREAMSTATE_HPP

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "qvrfutil_core.hpp"
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

/** What the stream's thread and the reader share. */
class StreamState {
public:
    explicit StreamState(const StreamOptions& options)
        : process_(processNumber()),
          parser_(options.mostEventBytes),
          trouble_(Error("follow " + options.path, QVRFUTIL_EVENT_STREAM_BROKEN, "the BMC has not answered yet",
                         statusText(QVRFUTIL_EVENT_STREAM_BROKEN).remedy))
    {
    }

    /** A child that was forked leaves the parent's as it is: it may be locked for good. */
    static std::shared_ptr<StreamState> make(const StreamOptions& options)
    {
        return std::shared_ptr<StreamState>(new StreamState(options), [](StreamState* state) {
            if (!state->isParents()) delete state;
        });
    }
    bool isParents() const noexcept { return process_ != processNumber(); }

    // ---- On the stream's thread ----

    /** A new connection begins; what was left of the last one's event is dropped. */
    void begin()
    {
        const Lock lock(mutex_);
        parser_.restart();
    }
    /** The BMC serves it. */
    void open()
    {
        const Lock lock(mutex_);
        trouble_.reset();
    }
    /** The BMC did not serve it; it is tried again. */
    void close(Error trouble)
    {
        const Lock lock(mutex_);
        trouble_ = std::move(trouble);
    }
    /** Waits while the reader is far behind: the stream's own flow control then holds the BMC back. */
    void take(std::string_view bytes)
    {
        Lock lock(mutex_);
        changed_.wait(lock, [&] { return held_ < kMostHeld || stopped_; });
        if (stopped_) return;
        trouble_.reset();
        for (StreamItem& item : parser_.take(bytes)) add(std::move(item));
        changed_.notify_all();
    }
    void addGap(Loss loss)
    {
        const Lock lock(mutex_);
        add(gap(loss, parser_.lastId()));
        changed_.notify_all();
    }
    /** @return whether the pause was not cut short by a stop */
    bool pause(Duration length)
    {
        Lock lock(mutex_);
        return !changed_.wait_for(lock, length, [&] { return stopped_; });
    }
    void finish(Error error)
    {
        const Lock lock(mutex_);
        if (!error_ && !stopped_) error_ = std::move(error);
        changed_.notify_all();
    }
    struct Received {
        bool                    isStream;
        std::optional<Duration> retry;
        std::string             lastId;
    };
    Received received() const
    {
        const Lock lock(mutex_);
        return {parser_.isStream(), parser_.retry(), parser_.lastId()};
    }

    // ---- On the reader's ----

    std::optional<StreamItem> next(std::optional<Clock::time_point> until)
    {
        if (isParents()) return std::nullopt;
        Lock       lock(mutex_);
        const auto isNews = [&] { return !items_.empty() || error_ || stopped_; };
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
        if (isParents()) return;
        stopping_.pull();
        const Lock lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }
    /** Pulled by stop(). */
    const Cancellation& stopping() const noexcept { return stopping_; }
    bool                isStopped() const
    {
        if (isParents()) return true;
        const Lock lock(mutex_);
        return stopped_;
    }
    std::optional<Error> error() const
    {
        if (isParents()) return Core::childsError("follow the events");
        const Lock lock(mutex_);
        return items_.empty() ? error_ : std::nullopt;
    }
    std::optional<Error> trouble() const
    {
        if (isParents()) return Core::childsError("follow the events");
        const Lock lock(mutex_);
        return trouble_;
    }

private:
    static constexpr std::size_t kMostHeld = 4u * 1024 * 1024;

    static std::size_t weight(const StreamItem& item) noexcept { return sizeof item + item.data.size(); }

    /** Gaps in a row are one. */
    void add(StreamItem item)
    {
        if (!item.isEvent() && !items_.empty() && !items_.back().isEvent()) return;
        held_ += weight(item);
        items_.push_back(std::move(item));
    }

    const unsigned         process_;
    mutable Mutex          mutex_;
    Condition              changed_;
    EventParser            parser_;
    std::deque<StreamItem> items_;
    std::size_t            held_ = 0;
    std::optional<Error>   trouble_;  // it is not open
    std::optional<Error>   error_;    // over for good
    bool                   stopped_ = false;
    Cancellation           stopping_;
};

}  // namespace detail
}  // namespace qvrfutil

#endif
