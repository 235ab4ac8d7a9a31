/** @file BenchSupport.cpp  The support services on the bench: memory, mutexes, threads, debug print, paths, logs. */
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

#include "BenchPlatform.h"

namespace {

struct BenchMutex {
    std::timed_mutex mutex;
    std::mutex       guard;
    bool             held = false;
    std::thread::id  holder;
};

std::string formatted(const char* format, std::va_list arguments)
{
    std::va_list again;
    va_copy(again, arguments);
    const int   length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

}  // namespace

using namespace rig;

extern "C" {

void* SMAllocMem(u32 size)
{
    const Paused paused;
    return fails("SMAllocMem") ? nullptr : platform().allocate(size);
}

void SMFreeMem(void* memory)
{
    const Paused paused;
    platform().release(memory);
}

void* SMMutexCreate(u32 reserved)
{
    const Paused paused;
    if (refused("SMMutexCreate", reserved)) return nullptr;
    auto* const mutex = new BenchMutex;
    acquired(mutex, "SMMutexCreate");
    return mutex;
}

s32 SMMutexLock(void* mutex, s32 waitMs)
{
    const Paused paused;
    if (refused("SMMutexLock", waitMs) || !mutex || platform().takesTimeout()) return 1;
    auto* m = static_cast<BenchMutex*>(mutex);
    // The system clock, because the thread sanitizer does not know the steady one's lock.
    if (!m->mutex.try_lock_until(std::chrono::system_clock::now() + std::chrono::milliseconds(waitMs))) return 1;
    std::lock_guard<std::mutex> lock(m->guard);
    platform().countHeld(1);
    m->held   = true;
    m->holder = std::this_thread::get_id();
    return 0;
}

s32 SMMutexUnLock(void* mutex)
{
    const Paused paused;
    note("SMMutexUnLock");
    auto* m = static_cast<BenchMutex*>(mutex);
    if (!m) return 1;
    {
        std::lock_guard<std::mutex> lock(m->guard);
        if (!m->held || m->holder != std::this_thread::get_id()) {
            platform().complain("a mutex was given up by a thread that does not hold it");
            return 1;
        }
        m->held = false;
        platform().countHeld(-1);
    }
    m->mutex.unlock();
    return 0;
}

s32 SMMutexDestroy(void* mutex)
{
    const Paused paused;
    note("SMMutexDestroy");
    auto* m = static_cast<BenchMutex*>(mutex);
    if (!m) return 1;
    {
        std::lock_guard<std::mutex> lock(m->guard);
        if (m->held) platform().complain("a mutex was destroyed while a thread holds it");
    }
    released(m);
    delete m;
    return 0;
}

void* SMThreadStart(SMThreadProc procedure, void* argument)
{
    const Paused paused;
    if (refused("SMThreadStart")) return nullptr;
    platform().countThread(1);
    const Place place = here() == Place::outside ? Place::outside : Place::worker;
    return new std::thread([=] {
        const Inside inside(place);
        procedure(argument);
    });
}

s32 SMThreadStop(void* thread)
{
    const Paused paused;
    note("SMThreadStop");
    auto* t = static_cast<std::thread*>(thread);
    if (!t) return 1;
    t->join();  // the procedure must have been told to end
    delete t;
    platform().countThread(-1);
    return 0;
}

#define PRINT(name, level)                                          \
    s32 name(const astring* format, ...)                            \
    {                                                               \
        const Paused paused;                                        \
        std::va_list arguments;                                     \
        va_start(arguments, format);                                \
        platform().print(level " " + formatted(format, arguments)); \
        va_end(arguments);                                          \
        return 0;                                                   \
    }
PRINT(__SysDbgPrint3, "3")
PRINT(__SysDbgPrint4, "4")

s32 SMGetPathByProductIDandType(u32 productId, u32 pathType, astring* path, u32* size)
{
    const Paused paused;
    if (refused("SMGetPathByProductIDandType", productId, pathType)) return 1;
    const auto found = platform().paths.find({productId, pathType});
    if (found == platform().paths.end()) {
        std::memcpy(path, "?", 2);  // what a failure leaves behind is nobody's path
        return 1;
    }
    const u32 needed = static_cast<u32>(found->second.size() + 1);
    if (*size < needed) return 2;
    std::memcpy(path, found->second.c_str(), needed);
    *size = needed;
    return 0;
}

s32 SMAppendToOSSysLog(u32 logType, u32 severity, u32 eventId, const astring* source, const astring* message,
                       const astring* messageId, u32 /*dataSize*/, void* /*data*/)
{
    const Paused paused;
    const bool   fails =
        refused("SMAppendToOSSysLog", logType, severity, eventId, textOf(source), textOf(message), textOf(messageId));
    return fails ? 1 : platform().osLogStatus;
}

s32 SMHOSMIExportLogKSL(const astring* messageId, u32 argumentCount, astring** arguments)
{
    const Paused paused;
    std::string  all;
    for (u32 i = 0; i < argumentCount; ++i) all += " " + textOf(arguments[i]);
    return refused("SMHOSMIExportLogKSL", textOf(messageId) + all) ? 1 : platform().nextKsLogStatus();
}

}  // extern "C"
