/** @file interrupts.cpp  The thread that waits for signals. */
#include "interrupts.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <initializer_list>

#include "progress.h"

namespace qvrfctl {
namespace {

/** For a login that is under way: its session cannot be closed before the BMC has answered. */
constexpr Interrupts::Patience kPatience{20000};
/** Who gave a time does not wait for the BMC on top of it. */
constexpr Interrupts::Patience kTimeIsOver{2500};

/** Tells the waiting thread that the work is done. Not one of the signals that end() lets through. */
constexpr int kOver = SIGUSR1;
/** Tells it that there is a limit now. */
constexpr int kLimited = SIGUSR2;

sigset_t setOf(std::initializer_list<int> signals) noexcept
{
    sigset_t set;
    ::sigemptyset(&set);
    for (const int signal : signals) ::sigaddset(&set, signal);
    return set;
}
const sigset_t kEnding = setOf({SIGINT, SIGTERM, SIGHUP});
const sigset_t kCaught = setOf({SIGINT, SIGTERM, SIGHUP, kOver, kLimited});

/** The caught signals that this process was started to ignore ("nohup"): those stay ignored. */
bool isIgnored(int signal) noexcept
{
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Interrupts::Interrupts()
{
    ::pthread_sigmask(SIG_BLOCK, &kCaught, nullptr);  // before the thread starts: it inherits the mask
    thread_ = std::thread([this] { wait(); });
}

Interrupts::~Interrupts()
{
    over_ = true;
    ::pthread_kill(thread_.native_handle(), kOver);
    thread_.join();
}

void Interrupts::endAfter(std::chrono::seconds time, std::function<int()> tell)
{
    {
        const std::lock_guard<std::mutex> lock(limit_);
        until_ = Clock::now() + time;
        tell_  = std::move(tell);
    }
    ::pthread_kill(thread_.native_handle(), kLimited);
}

Interrupts::Clock::duration Interrupts::left() noexcept
{
    const std::lock_guard<std::mutex> lock(limit_);
    return tell_ ? until_ - Clock::now() : Clock::duration::max();
}

/** @return the next signal; 0: the time is over */
int Interrupts::next() noexcept
{
    const auto left   = this->left();
    int        signal = 0;
    if (left == Clock::duration::max()) return ::sigwait(&kCaught, &signal) == 0 ? signal : kLimited;
    if (left <= Clock::duration::zero()) return 0;
    const auto     seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    const timespec time{seconds.count(), std::chrono::nanoseconds(left - seconds).count()};
    signal = ::sigtimedwait(&kCaught, nullptr, &time);
    return signal > 0 ? signal : kLimited;
}

void Interrupts::wait() noexcept
{
    for (;;) {
        const int signal = next();
        if (over_) return;
        if (signal == 0) endInTime();
        if (signal != kLimited && signal != kOver && !isIgnored(signal)) end(signal);
    }
}

void Interrupts::tidyUp(Patience patience) noexcept
{
    turn_.lock();  // for good: the work does not go on
    try {
        if (stop_) stop_();
        if (close_) close_(patience);
    } catch (...) {
        std::fputs("qvrfctl: the session could not be closed\n", stderr);
    }
    if (!file_.empty()) ::unlink(file_.c_str());
}

void Interrupts::end(int signal) noexcept
{
    ::pthread_sigmask(SIG_UNBLOCK, &kEnding, nullptr);  // the next one has its usual effect
    sayBesideProgress("qvrfctl: interrupted, closing what is open", true);
    tidyUp(kPatience);
    ::_exit(128 + signal);
}

void Interrupts::endInTime() noexcept
{
    ::pthread_sigmask(SIG_UNBLOCK, &kEnding, nullptr);
    const int status = tell_();
    std::fflush(stdout);
    tidyUp(kTimeIsOver);
    ::_exit(status);
}

}  // namespace qvrfctl
