/** @file BenchSupport.cpp  The support services on the bench: memory, mutexes, threads, debug print, paths, logs. */
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

#include "BenchPlatform.h"
#include "LibraryCalls.h"

namespace {

bench::Platform& platform()
{
    return bench::Platform::instance();
}

std::string textOf(const astring* text)
{
    return text ? text : "";
}

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

extern "C" {

void* SMAllocMem(u32 size)
{
    const bench::Paused paused;
    return platform().allocate(size, true);
}

void SMFreeMem(void* memory)
{
    const bench::Paused paused;
    platform().release(memory);
}

void* SMMutexCreate(u32 reserved)
{
    const bench::Paused paused;
    platform().record("SMMutexCreate " + std::to_string(reserved));
    if (platform().failsNow("SMMutexCreate")) return nullptr;
    platform().countMutex(1);
    return new BenchMutex;
}

s32 SMMutexLock(void* mutex, s32 waitMs)
{
    const bench::Paused paused;
    platform().record("SMMutexLock " + std::to_string(waitMs));
    if (!mutex || platform().failsNow("SMMutexLock") || platform().takesTimeout()) return 1;
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
    const bench::Paused paused;
    platform().record("SMMutexUnLock");
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
    const bench::Paused paused;
    platform().record("SMMutexDestroy");
    auto* m = static_cast<BenchMutex*>(mutex);
    if (!m) return 1;
    {
        std::lock_guard<std::mutex> lock(m->guard);
        if (m->held) platform().complain("a mutex was destroyed while a thread holds it");
    }
    platform().countMutex(-1);
    delete m;
    return 0;
}

void* SMThreadStart(SMThreadProc procedure, void* argument)
{
    const bench::Paused paused;
    platform().record("SMThreadStart");
    if (platform().failsNow("SMThreadStart")) return nullptr;
    platform().countThread(1);
    const bench::Place place = bench::here() == bench::Place::outside ? bench::Place::outside : bench::Place::worker;
    return new std::thread([=] {
        const bench::Inside inside(place);
        procedure(argument);
    });
}

s32 SMThreadStop(void* thread)
{
    const bench::Paused paused;
    platform().record("SMThreadStop");
    auto* t = static_cast<std::thread*>(thread);
    if (!t) return 1;
    t->join();  // the procedure must have been told to end
    delete t;
    platform().countThread(-1);
    return 0;
}

s32 __SysDbgPrint3(const astring* format, ...)
{
    const bench::Paused paused;
    std::va_list        arguments;
    va_start(arguments, format);
    platform().print(bench::Level::error, formatted(format, arguments));
    va_end(arguments);
    return 0;
}

s32 __SysDbgPrint4(const astring* format, ...)
{
    const bench::Paused paused;
    std::va_list        arguments;
    va_start(arguments, format);
    platform().print(bench::Level::trace, formatted(format, arguments));
    va_end(arguments);
    return 0;
}

s32 SMGetPathByProductIDandType(u32 productId, u32 pathType, astring* path, u32* size)
{
    const bench::Paused paused;
    platform().record("SMGetPathByProductIDandType " + std::to_string(productId) + " " + std::to_string(pathType));
    if (platform().failsNow("SMGetPathByProductIDandType")) return 1;
    const auto found = platform().paths.find({productId, pathType});
    if (found == platform().paths.end()) return 1;
    const u32 needed = static_cast<u32>(found->second.size() + 1);
    if (*size < needed) return 2;
    std::memcpy(path, found->second.c_str(), needed);
    *size = needed;
    return 0;
}

s32 SMAppendToOSSysLog(u32 logType, u32 severity, u32 eventId, const astring* source, const astring* message,
                       const astring* messageId, u32 /*dataSize*/, void* /*data*/)
{
    const bench::Paused paused;
    platform().record("SMAppendToOSSysLog " + textOf(message));
    platform().keep(bench::OsLogEntry{logType, severity, eventId, textOf(source), textOf(message), textOf(messageId)});
    return platform().failsNow("SMAppendToOSSysLog") ? 1 : platform().osLogStatus;
}

s32 SMHOSMIExportLogKSL(const astring* messageId, u32 argumentCount, astring** arguments)
{
    const bench::Paused paused;
    bench::KsLogEntry   entry{textOf(messageId), {}};
    for (u32 i = 0; i < argumentCount; ++i) entry.arguments.push_back(textOf(arguments[i]));
    platform().record("SMHOSMIExportLogKSL " + entry.messageId);
    platform().keep(entry);
    return platform().failsNow("SMHOSMIExportLogKSL") ? 1 : platform().nextKsLogStatus();
}

}  // extern "C"
