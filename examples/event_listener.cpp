/**
 * @file event_listener.cpp
 * Follows an event stream of the BMC (older generation, found over IPMI) and prints what comes. A stream that breaks is
 * registered again.
 *
 *     event_listener [PATH [PIECES]]
 *
 * Ends on Ctrl-C, or after PIECES pieces of the stream.
 */
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "qvrfutil.h"
#include "smsupport.h"

namespace {

constexpr auto kLook  = std::chrono::milliseconds(100);
constexpr auto kPause = std::chrono::seconds(2);  // before a broken stream is registered again

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void onInterrupt(int)
{
    g_interrupted = 1;
}

/** What the callback tells the main thread. */
struct Stream {
    std::atomic<long> pieces{0};
    std::atomic<bool> broken{false};
};

/** Runs on the subscription's own thread. The event and its bytes are the callback's to give back. */
extern "C" void onEvent(SSEEventData* event)
{
    auto& stream = *static_cast<Stream*>(event->pCallerContext);
    if (event->StatusCode == 0) {
        // A piece as it came from the BMC: part of an event, one, or several. A blank line ends an event.
        std::fwrite(event->pEvent, 1, static_cast<std::size_t>(event->EventPayloadSize), stdout);
        std::fflush(stdout);
        ++stream.pieces;
    } else {
        stream.broken = true;  // 273: registering again is the main thread's, never the callback's
    }
    SMFreeMem(event->pEvent);
    SMFreeMem(event);
}

s32 listen(const char* path, long most)
{
    Stream                      stream;
    QVRFUTILHttpCallbackContext context{&stream, onEvent};  // both stay until the stream is unregistered
    const auto                  isOver = [&] { return g_interrupted != 0 || (most > 0 && stream.pieces >= most); };
    while (!isOver()) {
        void* handle  = nullptr;
        stream.broken = false;
        if (const s32 status = QVRFUTILRegisterSSE(path, &context, &handle); status != 0) return status;
        while (!isOver() && !stream.broken) std::this_thread::sleep_for(kLook);
        QVRFUTILUnregisterSSE(&handle);  // no callback runs any more when it returns
        if (isOver()) break;
        std::fprintf(stderr, "the stream broke: registering again\n");
        std::this_thread::sleep_for(kPause);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    const char* path = argc > 1 ? argv[1] : "/redfish/v1/SSE";
    const long  most = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 0;
    std::string user = "root", privilege = "root";

    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    QVRFUTILInit(FALSE);
    giSServerNewGenAndAbove = FALSE;  // found over IPMI; with TRUE, QVRFUTILSetIPAddress names it
    s32 status              = QVRFUTILCreateSession(user.data(), privilege.data(), 4);
    if (status == 0) {
        status = listen(path, most);
        QVRFUTILDeleteSession(user.data(), 4);  // ends with QVRFUTILCleanUp
    } else {
        QVRFUTILCleanUp();
    }
    if (status != 0) std::fprintf(stderr, "status %d: see docs/status-codes.md\n", static_cast<int>(status));
    return status == 0 ? 0 : 1;
}
