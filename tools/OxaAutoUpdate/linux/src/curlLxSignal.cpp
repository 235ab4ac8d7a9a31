/** @file curlLxSignal.cpp  One owner of SIGPIPE for the process, while transfers run. */
#include "curlLxSignal.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>
#include <mutex>

namespace qvrf {
namespace {

std::mutex       g_guard;
unsigned         g_holds = 0;
struct sigaction g_hosts;  // what the host had set before the first hold

bool isIgnored(const struct sigaction& action) noexcept
{
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

/** A handler that the host set while transfers ran is newer than the one put aside, and stays. */
void putBack() noexcept
{
    struct sigaction now {};
    sigaction(SIGPIPE, &g_hosts, &now);
    if (!isIgnored(now)) sigaction(SIGPIPE, &now, nullptr);
}

void putAside() noexcept
{
    struct sigaction ignored {};
    ignored.sa_handler = SIG_IGN;
    sigemptyset(&ignored.sa_mask);
    sigaction(SIGPIPE, &ignored, &g_hosts);
}

void lockForFork() noexcept
{
    g_guard.lock();
}

void unlockInParent() noexcept
{
    g_guard.unlock();
}

/** The threads that transferred stayed in the parent. */
void startAnewInChild() noexcept
{
    if (g_holds != 0) putBack();
    g_holds = 0;
    g_guard.unlock();
}

bool isPending() noexcept
{
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

/** A signal that waited for the host's thread before is the host's still; ignoring it made the kernel forget it. */
void raiseAgain() noexcept
{
    if (!isPending()) pthread_kill(pthread_self(), SIGPIPE);
}

void takeBack(const sigset_t& pipe) noexcept
{
    const timespec noWait{};
    while (sigtimedwait(&pipe, nullptr, &noWait) == -1 && errno == EINTR) {
    }
}

void watchForks() noexcept
{
    pthread_atfork(lockForFork, unlockInParent, startAnewInChild);
}

void hold() noexcept
{
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, watchForks);
    const std::lock_guard<std::mutex> lock(g_guard);
    if (g_holds++ == 0) putAside();
}

void letGo() noexcept
{
    const std::lock_guard<std::mutex> lock(g_guard);
    if (g_holds != 0 && --g_holds == 0) putBack();  // none: forked inside a transfer's callback
}

}  // namespace

PipeSignalBlocked::PipeSignalBlocked() noexcept
{
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    wasPending_ = sigismember(&before_, SIGPIPE) == 1 && isPending();  // only a blocked one can wait
}

PipeSignalBlocked::~PipeSignalBlocked()
{
    if (!wasPending_) takeBack(pipe_);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

PipeSignalAside::PipeSignalAside() noexcept
{
    hold();
}

PipeSignalAside::~PipeSignalAside()
{
    letGo();
}

PipeSignalHeld::~PipeSignalHeld()
{
    aside_.reset();
    if (blocked_.wasPending()) raiseAgain();
}

}  // namespace qvrf
