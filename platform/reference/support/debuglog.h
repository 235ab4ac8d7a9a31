/** @file debuglog.h  The file that debug lines go to. */
#ifndef DEBUGLOG_H
#define DEBUGLOG_H

#include <spdlog/logger.h>

#include <cstdarg>
#include <cstddef>
#include <mutex>
#include <string>

#include "settings.h"

namespace qvplatform {

/** How big a log grows before it is put aside, and how many of those are kept. */
struct LogLimits {
    std::size_t fileBytes = 8 * 1024 * 1024;
    std::size_t oldFiles  = 3;
};

/** A rotating log that its owner alone can read: trace lines carry commands with passwords in them. */
class DebugLog {
public:
    /** Throws spdlog_ex when @p file cannot be a private log. "stderr" stands for the standard error stream. */
    DebugLog(LogLevel threshold, const std::string& file, const LogLimits& limits = {});

    /** Formats like printf, whatever the length. @return false when the format is unusable. Any thread. */
    bool write(LogLevel level, const char* format, std::va_list arguments);

    LogLevel threshold() const noexcept { return threshold_; }

    /** Held across fork(), so that a child does not inherit a lock which another thread held. */
    std::mutex& mutex() noexcept { return mutex_; }

private:
    void put(LogLevel level, std::string_view line);

    const LogLevel threshold_;
    std::mutex     mutex_;
    spdlog::logger logger_;
};

}  // namespace qvplatform

#endif
