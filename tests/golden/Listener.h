/** @file Listener.h  A subscriber that counts what it is told and writes it down. */
#ifndef LISTENER_H
#define LISTENER_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "LibraryCalls.h"
#include "Words.h"
#include "qvrfutil.h"
#include "smsupport.h"

namespace golden {

class Listener {
public:
    QVRFUTILHttpCallbackContext context{
        this, [](SSEEventData* event) { static_cast<Listener*>(event->pCallerContext)->take(event); }};
    QVRFUTILHttpCallbackContext deaf{this, nullptr};

    /** Waits for the @p count-th event since the beginning. @return false when it does not come */
    bool await(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(guard_);
        return came_.wait_for(lock, std::chrono::seconds(20), [&] { return events_ >= count; });
    }

private:
    void take(SSEEventData* event)
    {
        const bench::Paused paused;
        bench::note("event " + std::to_string(event->StatusCode) + ", " + std::to_string(event->EventPayloadSize) +
                    "/" + std::to_string(event->ReceivedEventAvailableSize) + " bytes " +
                    (event->pEvent == nullptr ? "none" : inQuotes(event->pEvent)));
        SMFreeMem(event->pEvent);
        SMFreeMem(event);
        const std::lock_guard<std::mutex> lock(guard_);
        ++events_;
        came_.notify_all();
    }

    std::mutex              guard_;
    std::condition_variable came_;
    std::size_t             events_ = 0;
};

}  // namespace golden

#endif
