/** @file interrupts.cpp  The thread that waits for signals. */
#include "interrupts.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <initializer_list>

#include "progress.h"

namespace qvrfctl {
namespace {

/** Tells the waiting thread that the work is done. Not one of the signals that end() lets through. */
constexpr int kOver = SIGUSR1;

sigset_t setOf(std::initializer_list<int> signals) noexcept
{
    sigset_t set;
    ::sigemptyset(&set);
    for (const int signal : signals) ::sigaddset(&set, signal);
    return set;
}
const sigset_t kEnding = setOf({SIGINT, SIGTERM, SIGHUP});
const sigset_t kCaught = setOf({SIGINT, SIGTERM, SIGHUP, kOver});

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

void Interrupts::wait() noexcept
{
    for (;;) {
        int signal = 0;
        if (::sigwait(&kCaught, &signal) != 0) continue;
        if (over_) return;
        if (!isIgnored(signal)) end(signal);
    }
}

void Interrupts::end(int signal) noexcept
{
    ::pthread_sigmask(SIG_UNBLOCK, &kEnding, nullptr);  // the next one has its usual effect
    sayBesideProgress("qvrfctl: interrupted, closing what is open", true);
    turn_.lock();  // for good: the work does not go on
    try {
        if (stop_) stop_();
        if (close_) close_();
    } catch (...) {
        std::fputs("qvrfctl: the session could not be closed\n", stderr);
    }
    if (!file_.empty()) ::unlink(file_.c_str());
    ::_exit(128 + signal);
}

}  // namespace qvrfctl
