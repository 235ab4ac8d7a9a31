/** @file eventreader.h  Reads an event stream as a subscriber would, and notes what came, when, and at what cost. */
#ifndef EVENTREADER_H
#define EVENTREADER_H

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "figures.h"

namespace bench {

/** Fed from one thread; awaited from another. */
class EventReader {
public:
    /** @param count  events to come @param consecutive  whether their numbers follow one another without a gap */
    EventReader(std::uint64_t count, bool consecutive) : expected_(count), consecutive_(consecutive) {}

    /** The next bytes of the stream. */
    void feed(std::string_view bytes);

    /** Waits until all came, or none for some seconds. */
    void awaitAll();

    // After awaitAll().
    std::uint64_t  came() const noexcept { return came_; }
    std::uint64_t  lost() const noexcept { return expected_ - came_ + outOfOrder_; }
    const Samples& delaysUs() const noexcept { return delaysUs_; }
    double         seconds() const noexcept { return seconds_; }        ///< from the first event to the last
    double         cpuSeconds() const noexcept { return cpuSeconds_; }  ///< of the feeding thread, in that time

private:
    void line(std::string_view text);
    void event();

    const std::uint64_t expected_;
    const bool          consecutive_;
    std::string         partial_;  // a line whose end has not come yet
    std::uint64_t       id_         = 0;
    std::uint64_t       lastId_     = 0;
    std::int64_t        sentNs_     = 0;
    std::uint64_t       came_       = 0;
    std::uint64_t       outOfOrder_ = 0;
    double              seconds_    = 0;
    double              cpuSeconds_ = 0;
    Samples             delaysUs_;

    std::mutex              mutex_;
    std::condition_variable moved_;
    std::uint64_t           told_ = 0;
};

}  // namespace bench

#endif
