/** @file interrupts.h  SIGINT, SIGTERM and SIGHUP: leave nothing behind on the BMC or on the disk, then end. */
#ifndef QVRFCTL_INTERRUPTS_H
#define QVRFCTL_INTERRUPTS_H

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace qvrfctl {

/**
 * A thread that waits for the signals while another one works. Requests block for up to 100 s in the library, so the
 * work cannot be asked to stop: the waiting thread tidies up in its stead and ends the process. A second signal ends it
 * at once.
 */
class Interrupts {
public:
    using Patience = std::chrono::milliseconds;

    Interrupts();
    ~Interrupts();
    Interrupts(Interrupts&&) = delete;

    /**
     * Keeps the signals waiting while what there is to tidy up changes: while a session is opened or closed, a file
     * made or renamed. Once a signal came, this does not return.
     */
    [[nodiscard]] std::unique_lock<std::mutex> hold() { return std::unique_lock<std::mutex>(turn_); }
    /** For what goes on after a failure: one that comes of the tidying up is none to tell. Does not return then. */
    void stayIfEnding() { static_cast<void>(hold()); }

    // All under hold(); an empty value: nothing to do any more.
    void onInterruptStop(std::function<void()> stop)
    {
        stop_ = std::move(stop);
    }  ///< what runs in the background; first
    void onInterruptClose(std::function<void(Patience)> close) { close_ = std::move(close); }  ///< what the BMC holds
    void onInterruptRemove(std::string path) { file_ = std::move(path); }

    /** Once: ends the process after @p time in the same way, with the status that @p tell returns. Not under hold(). */
    void endAfter(std::chrono::seconds time, std::function<int()> tell);
    /** Tidies up within @p patience as after a signal, for one who then ends the process: hold() does not return. */
    void tidyUp(Patience patience) noexcept;

private:
    using Clock = std::chrono::steady_clock;

    void              wait() noexcept;
    int               next() noexcept;
    [[noreturn]] void end(int signal) noexcept;
    [[noreturn]] void endInTime() noexcept;
    Clock::duration   left() noexcept;

    std::mutex                    turn_;
    std::function<void()>         stop_;
    std::function<void(Patience)> close_;
    std::string                   file_;
    std::mutex                    limit_;
    Clock::time_point             until_ = Clock::time_point::max();
    std::function<int()>          tell_;
    std::atomic<bool>             over_{false};
    std::thread                   thread_;
};

}  // namespace qvrfctl

#endif
