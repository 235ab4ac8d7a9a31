/** @file debugprint.cpp  __SysDbgPrint3 and __SysDbgPrint4: nearly free while the debug print is off. */
#include <pthread.h>
#include <syslog.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <exception>

#include "debuglog.h"
#include "guarded.h"
#include "settings.h"
#include "smsupport.h"

namespace {

using qvplatform::DebugLog;
using qvplatform::LogLevel;

/** Lines above this are not wanted. Until the settings are read everything passes, to the place that reads them. */
constexpr int    kUnread = 99;
std::atomic<int> g_threshold{kUnread};

DebugLog* g_log = nullptr;  // never destroyed: lines come until the last exit handler has run

void logFork(bool before) noexcept
{
    if (before)
        g_log->mutex().lock();
    else
        g_log->mutex().unlock();
}

DebugLog* openLog()
{
    const qvplatform::Settings& settings = qvplatform::settings();
    std::string                 file     = settings.logFile;
    if (file.empty() && !settings.varDataPath.empty()) file = settings.varDataPath + "/qvplatform.log";
    if (settings.logLevel == LogLevel::off) return nullptr;
    // The system's log is no substitute: other users read it.
    if (file.empty()) throw spdlog::spdlog_ex("suptlib.loglevel wants lines, but suptlib.logfile names no file");
    return new DebugLog(settings.logLevel, file);
}

/** The log, opened by the first line; NULL when the debug print is off or has nowhere to go. */
DebugLog* theLog() noexcept
{
    static DebugLog* const log = []() noexcept {
        DebugLog* opened = nullptr;
        try {
            opened = openLog();
        } catch (const std::exception& e) {
            ::syslog(LOG_DAEMON | LOG_WARNING, "qvplatform: the debug print stays off: %s", e.what());
        }
        g_log = opened;
        if (opened != nullptr) pthread_atfork([] { logFork(true); }, [] { logFork(false); }, [] { logFork(false); });
        g_threshold.store(opened == nullptr ? static_cast<int>(LogLevel::off) : static_cast<int>(opened->threshold()),
                          std::memory_order_relaxed);
        return opened;
    }();
    return log;
}

s32 print(LogLevel level, const astring* format, std::va_list arguments) noexcept
{
    const int callersErrno = errno;
    const s32 status       = qvplatform::guarded<s32>(-1, [&] {
        DebugLog* log = theLog();
        return log == nullptr || log->write(level, format, arguments) ? 0 : -1;
    });
    errno                  = callersErrno;
    return status;
}

bool wanted(LogLevel level) noexcept
{
    return g_threshold.load(std::memory_order_relaxed) >= static_cast<int>(level);
}

}  // namespace

extern "C" s32 __SysDbgPrint3(const astring* format, ...)
{
    if (!wanted(LogLevel::error)) return 0;
    std::va_list arguments;
    va_start(arguments, format);
    const s32 status = print(LogLevel::error, format, arguments);
    va_end(arguments);
    return status;
}

extern "C" s32 __SysDbgPrint4(const astring* format, ...)
{
    if (!wanted(LogLevel::trace)) return 0;
    std::va_list arguments;
    va_start(arguments, format);
    const s32 status = print(LogLevel::trace, format, arguments);
    va_end(arguments);
    return status;
}
