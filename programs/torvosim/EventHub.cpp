/** @file EventHub.cpp  The event streams. */
#include "EventHub.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <utility>

namespace torvosim {

namespace {

using Clock = std::chrono::steady_clock;

void signal(int eventFd)
{
    const std::uint64_t            one     = 1;
    [[maybe_unused]] const ssize_t written = ::write(eventFd, &one, sizeof one);  // full means already signalled
}

/** Says when the event left, by the clock that every process on this machine shares: a host can tell its delay. */
std::string burstMessage(const std::string& filler)
{
    const std::chrono::nanoseconds now = Clock::now().time_since_epoch();
    return "Burst at " + std::to_string(now.count()) + (filler.empty() ? "" : ' ' + filler);
}

}  // namespace

/** The life of one stream, on its connection's thread. */
class EventHub::Pump {
public:
    Pump(EventHub& hub, Exchange& exchange, Stats& stats) : hub_(hub), exchange_(exchange), stats_(stats)
    {
        stream_   = hub_.streams_.with([](auto& all) {
            Stream& stream = all.emplace_back();
            stream.wake    = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
            return std::prev(all.end());
        });
        interval_ = std::chrono::milliseconds(hub_.intervalMs_.load());
        nextOwn_  = Clock::now() + interval_;
        ++stats_.streamsOpen;
    }
    ~Pump() { leave(); }
    Pump(const Pump&)            = delete;
    Pump& operator=(const Pump&) = delete;

    void run()
    {
        for (;;) {
            StreamStep step;
            if (!takeStep(step)) {
                if (!waitForWork()) return;
                continue;
            }
            // Whoever sees the end must not find this stream counted beside the one that it begins then.
            if (step.kind == StreamStep::Kind::end || step.kind == StreamStep::Kind::breakOff) leave();
            if (!carryOut(step)) return;
        }
    }

private:
    /** From here on it is not open, and events pass it by. */
    void leave()
    {
        if (!std::exchange(isOpen_, false)) return;
        --stats_.streamsOpen;
        hub_.streams_.with([&](auto& all) { all.erase(stream_); });
    }

    bool takeStep(StreamStep& step)
    {
        return hub_.streams_.with([&](auto&) {
            if (stream_->steps.empty()) return false;
            step = std::move(stream_->steps.front());
            stream_->steps.pop_front();
            return true;
        });
    }

    /** @return false: the peer left, or the simulator stops */
    bool peerStaysFor(Clock::time_point until, bool forWork)
    {
        pollfd     fds[] = {{exchange_.socket(), POLLRDHUP, 0}, {stream_->wake.get(), POLLIN, 0}};
        const auto left  = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        const bool ever  = until == Clock::time_point::max();
        ::poll(fds, forWork ? 2 : 1, ever ? -1 : static_cast<int>(std::max<long>(0, static_cast<long>(left))));
        if (fds[1].revents != 0) {
            std::uint64_t                  drained = 0;
            [[maybe_unused]] const ssize_t got     = ::read(stream_->wake.get(), &drained, sizeof drained);
        }
        return fds[0].revents == 0;
    }

    bool waitForWork()
    {
        const bool hasTimer = interval_.count() != 0;
        if (!peerStaysFor(hasTimer ? nextOwn_ : Clock::time_point::max(), true)) return false;
        if (!hasTimer || Clock::now() < nextOwn_) return true;
        nextOwn_ += interval_;
        return sendEvent("Timer");
    }

    bool sendEvent(std::string_view message)
    {
        ++stats_.eventsSent;
        return exchange_.writeChunk(hub_.makeEvent(message));
    }

    bool carryOut(const StreamStep& step)
    {
        switch (step.kind) {
            case StreamStep::Kind::write: ++stats_.eventsSent; return exchange_.writeChunk(step.bytes);
            case StreamStep::Kind::burst: return burst(step);
            case StreamStep::Kind::end: exchange_.endStream(); return false;
            case StreamStep::Kind::breakOff: exchange_.reset(); return false;
        }
        return false;
    }

    bool burst(const StreamStep& step)
    {
        const auto start = Clock::now();
        for (std::uint64_t i = 0; i < step.count; ++i) {
            if (step.perSecond > 0) {
                const auto due = start + std::chrono::duration_cast<Clock::duration>(
                                             std::chrono::duration<double>(static_cast<double>(i) / step.perSecond));
                if (due > Clock::now() && !peerStaysFor(due, false)) return false;
            }
            if (!sendEvent(burstMessage(step.bytes))) return false;
        }
        return true;
    }

    EventHub&                   hub_;
    Exchange&                   exchange_;
    Stats&                      stats_;
    std::list<Stream>::iterator stream_;
    std::chrono::milliseconds   interval_{0};
    Clock::time_point           nextOwn_;
    bool                        isOpen_ = true;
};

std::size_t EventHub::post(const StreamStep& step)
{
    return streams_.with([&](auto& all) {
        for (Stream& stream : all) {
            stream.steps.push_back(step);
            signal(stream.wake.get());
        }
        return all.size();
    });
}

std::string EventHub::makeEvent(std::string_view message, std::string_view severity, std::string_view origin)
{
    const std::string id = std::to_string(++lastId_);
    const std::string from =
        origin.empty() ? std::string() : ",\"OriginOfCondition\":{\"@odata.id\":" + jsonQuoted(origin) + '}';
    return "id: " + id + "\ndata: {\"@odata.type\":\"#Event.v1_6_0.Event\",\"Id\":\"" + id +
           "\",\"Name\":\"Event Array\",\"Events\":[{\"EventId\":\"" + id + "\",\"EventTimestamp\":\"" +
           isoTime(std::time(nullptr)) + "\",\"EventType\":\"Alert\",\"Severity\":" + jsonQuoted(severity) +
           ",\"Message\":" + jsonQuoted(message) + from + "}]}\n\n";
}

void EventHub::serve(Exchange& exchange, Stats& stats)
{
    Response head;
    head.headers = {{"Content-Type", "text/event-stream"}};
    // In line before the header goes out: an event posted by whoever saw the header is not lost.
    Pump pump(*this, exchange, stats);
    if (exchange.beginStream(head)) pump.run();
}

}  // namespace torvosim
