/** @file thread.cpp  Threads that are stopped by waiting for their end. */
#include <pthread.h>

#include <cerrno>
#include <memory>
#include <new>

#include "smsupport.h"

extern "C" void* SMThreadStart(SMThreadProc procedure, void* argument)
{
    if (procedure == nullptr) return nullptr;
    std::unique_ptr<pthread_t> thread(new (std::nothrow) pthread_t);
    if (!thread || pthread_create(thread.get(), nullptr, procedure, argument) != 0) return nullptr;
    return thread.release();
}

extern "C" s32 SMThreadStop(void* handle)
{
    if (handle == nullptr) return EINVAL;
    // The thread was told to end in its owner's own way; killing it would leave its locks and memory behind.
    const std::unique_ptr<pthread_t> thread(static_cast<pthread_t*>(handle));
    if (pthread_equal(*thread, pthread_self())) return pthread_detach(*thread);  // joining oneself never ends
    return pthread_join(*thread, nullptr);
}
