/** @file osprivlegePause.cpp  A sleep() that signals do not shorten. */
#include "osprivlegePause.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace qvrf {

void pauseFor(unsigned int seconds) noexcept
{
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += static_cast<time_t>(seconds);
    const int before = errno;
    // What sleep() says is left lacks the fraction of a second: 0.6 s are none. That a signal ended it shows in errno.
    bool interrupted = false;
    do {
        errno       = 0;
        seconds     = ::sleep(seconds);
        interrupted = interrupted || errno == EINTR;
    } while (seconds > 0);
    while (interrupted && clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) continue;
    errno = before;
}

}  // namespace qvrf
