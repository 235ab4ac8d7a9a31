/** @file SignalsBlocked.h  For the start of a thread of ours: it inherits that no signal ends in it. */
#ifndef TORVOSIM_SIGNALSBLOCKED_H
#define TORVOSIM_SIGNALSBLOCKED_H

#include <signal.h>

namespace torvosim {

/** Signals stay with the host program's threads: SIGTERM must not end in one of ours, SIGPIPE must not kill anybody. */
class SignalsBlocked {
public:
    SignalsBlocked() noexcept
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&)            = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_{};
};

}  // namespace torvosim

#endif
