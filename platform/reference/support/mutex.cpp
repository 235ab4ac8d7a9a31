/** @file mutex.cpp  Mutexes that are waited for with a limit and that report misuse instead of hanging. */
#include <pthread.h>

#include <cerrno>
#include <ctime>
#include <memory>
#include <new>

#include "smsupport.h"

namespace {

// The call that waits on the monotonic clock came with glibc 2.30; before it, setting the clock bends the wait. GCC's
// thread sanitizer does not know that call and would take every lock for missing.
#if __GLIBC_PREREQ(2, 30) && !defined(__SANITIZE_THREAD__)
constexpr clockid_t kWaitClock = CLOCK_MONOTONIC;
int                 lockUntil(pthread_mutex_t* mutex, const timespec& end)
{
    return pthread_mutex_clocklock(mutex, kWaitClock, &end);
}
#else
constexpr clockid_t kWaitClock = CLOCK_REALTIME;
int                 lockUntil(pthread_mutex_t* mutex, const timespec& end)
{
    return pthread_mutex_timedlock(mutex, &end);
}
#endif

timespec later(s32 milliseconds)
{
    timespec end{};
    clock_gettime(kWaitClock, &end);
    end.tv_sec += milliseconds / 1000;
    end.tv_nsec += (milliseconds % 1000) * 1000000L;
    if (end.tv_nsec >= 1000000000L) {
        ++end.tv_sec;
        end.tv_nsec -= 1000000000L;
    }
    return end;
}

pthread_mutex_t* nativeOf(void* mutex)
{
    return static_cast<pthread_mutex_t*>(mutex);
}

}  // namespace

extern "C" void* SMMutexCreate(u32)
{
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) return nullptr;
    std::unique_ptr<pthread_mutex_t> mutex(new (std::nothrow) pthread_mutex_t);
    const bool made = mutex && pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK) == 0 &&
                      pthread_mutex_init(mutex.get(), &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return made ? mutex.release() : nullptr;
}

extern "C" s32 SMMutexLock(void* mutex, s32 waitMs)
{
    if (mutex == nullptr || waitMs < 0) return EINVAL;
    return lockUntil(nativeOf(mutex), later(waitMs));
}

extern "C" s32 SMMutexUnLock(void* mutex)
{
    return mutex == nullptr ? EINVAL : pthread_mutex_unlock(nativeOf(mutex));
}

extern "C" s32 SMMutexDestroy(void* mutex)
{
    if (mutex == nullptr) return EINVAL;
    // A mutex that somebody holds says EBUSY; its memory then stays, because the holder will still unlock it.
    const int status = pthread_mutex_destroy(nativeOf(mutex));
    if (status == 0) delete nativeOf(mutex);
    return status;
}
