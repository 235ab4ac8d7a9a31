/** @file uncancelled.h  Keeps pthread_cancel out of a call. */
#ifndef UNCANCELLED_H
#define UNCANCELLED_H

#include <pthread.h>

namespace qvrf {

/**
 * While one lives, this thread cannot be cancelled. A cancellation unwinds the stack like an exception that nobody may
 * keep, so one in the middle of a call would end the whole process at the first function that must not throw. Every
 * exported operation begins with one, alone or in a TraceScope: who is cancelled in a call ends behind it.
 */
class Uncancelled {
public:
    Uncancelled() noexcept { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    /** A thread that may be cancelled at any instruction ends in here, unwinding from an operation that allows it. */
    ~Uncancelled() noexcept(false) { ::pthread_setcancelstate(before_, &before_); }
    Uncancelled(Uncancelled&&) = delete;  // and with it every copy

private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace qvrf

#endif
