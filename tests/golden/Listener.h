/** @file Listener.h  A subscriber that counts what it is told and writes it down. */
#ifndef LISTENER_H
#define LISTENER_H

#include <atomic>

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

    std::size_t events() const { return events_; }

private:
    void take(SSEEventData* event)
    {
        const bench::Paused paused;
        bench::note("event " + std::to_string(event->StatusCode) + ", " + std::to_string(event->EventPayloadSize) +
                    "/" + std::to_string(event->ReceivedEventAvailableSize) + " bytes " +
                    (event->pEvent == nullptr ? "none" : inQuotes(event->pEvent)));
        SMFreeMem(event->pEvent);
        SMFreeMem(event);
        ++events_;
    }

    std::atomic<std::size_t> events_{0};
};

}  // namespace golden

#endif
