/** @file EventHub.h  The event streams: what is sent on them, and by whom. */
#ifndef TORVOSIM_EVENTHUB_H
#define TORVOSIM_EVENTHUB_H

#include <atomic>
#include <deque>
#include <list>
#include <string>

#include "Http.h"
#include "Stats.h"
#include "Support.h"

namespace torvosim {

/** One thing to happen on a stream. */
struct StreamStep {
    enum class Kind { write, burst, end, breakOff };
    Kind          kind = Kind::write;
    std::string   bytes;          ///< of a write: one chunk on the wire; of a burst: the end of each message
    std::uint64_t count     = 0;  ///< of a burst
    double        perSecond = 0;  ///< of a burst; 0: as fast as the peer takes them
};

class EventHub {
public:
    /** An event of its own on every stream, at this interval; 0: none. Holds for streams opened afterwards. */
    void setInterval(unsigned milliseconds) noexcept { intervalMs_ = milliseconds; }

    /** Puts @p step in line on every open stream. @return how many there are */
    std::size_t post(const StreamStep& step);
    /** An event as it travels, its id and a Redfish event with @p message; @p origin is the resource that it is of. */
    std::string makeEvent(std::string_view message, std::string_view severity = "OK", std::string_view origin = {});

    /** Answers @p exchange with a stream, until either side ends it. */
    void serve(Exchange& exchange, Stats& stats);

private:
    struct Stream {
        std::deque<StreamStep> steps;
        Descriptor             wake;  // eventfd
    };
    class Pump;

    std::atomic<unsigned>      intervalMs_{0};
    std::atomic<std::uint64_t> lastId_{0};
    Guarded<std::list<Stream>> streams_;
};

}  // namespace torvosim

#endif
