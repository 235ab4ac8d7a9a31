/** @file debuglog.cpp  A private, rotating log on spdlog. */
#include "debuglog.h"

#include <fcntl.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <vector>

#include "owners.h"
#include "trust.h"

namespace qvplatform {
namespace {

/** The one file that a name stood for. */
struct Identity {
    dev_t device = 0;
    ino_t inode  = 0;
};

/**
 * Makes the file before spdlog opens it, so that it never exists with a wider mode than its own. One that somebody else
 * made, or that has a second name, is not ours to write into.
 */
Identity makePrivate(const std::string& file)
{
    const qvrf::Descriptor made(::open(file.c_str(),
                                       O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY,
                                       S_IRUSR | S_IWUSR));
    struct stat            status {};
    if (!made || ::fstat(made.get(), &status) != 0) throw spdlog::spdlog_ex("cannot open " + file, errno);
    if (const char* objection = objectionTo(status, 0)) throw spdlog::spdlog_ex(file + ": " + objection);
    if (::fchmod(made.get(), S_IRUSR | S_IWUSR) != 0)
        throw spdlog::spdlog_ex("cannot make " + file + " private", errno);
    return {status.st_dev, status.st_ino};
}

/** Installers and network tools that this process starts have no business with the log. */
void keepToItself(const std::string& file, std::FILE* opened, const Identity& made)
{
    struct stat status {};
    const int   descriptor = ::fileno(opened);
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    const bool same = ::fstat(descriptor, &status) == 0 && status.st_dev == made.device && status.st_ino == made.inode;
    if (!same) throw spdlog::spdlog_ex(file + " was replaced while it was opened");
}

spdlog::sink_ptr sinkFor(const std::string& file, const LogLimits& limits)
{
    if (file == "stderr") return std::make_shared<spdlog::sinks::stderr_sink_st>();
    spdlog::file_event_handlers events;
    const auto                  made = std::make_shared<Identity>();
    events.before_open               = [made](const std::string& name) { *made = makePrivate(name); };
    events.after_open = [made](const std::string& name, std::FILE* opened) { keepToItself(name, opened, *made); };
    return std::make_shared<spdlog::sinks::rotating_file_sink_st>(file, limits.fileBytes, limits.oldFiles, false,
                                                                  events);
}

/** spdlog would tell the standard error stream, which belongs to the process and not to a library. */
void reportOnce(const std::string& problem)
{
    static std::atomic<bool> reported{false};
    if (!reported.exchange(true)) ::syslog(LOG_DAEMON | LOG_WARNING, "qvplatform: debug log: %s", problem.c_str());
}

}  // namespace

DebugLog::DebugLog(LogLevel threshold, const std::string& file, const LogLimits& limits)
    : threshold_(threshold), logger_("qvplatform", sinkFor(file, limits))
{
    logger_.set_level(spdlog::level::trace);
    logger_.flush_on(spdlog::level::trace);  // what is in the file survives a crash, and is not doubled by fork()
    logger_.set_pattern("%Y-%m-%d %H:%M:%S.%e %P:%t %l: %v");
    logger_.set_error_handler(reportOnce);
}

bool DebugLog::write(LogLevel level, const char* format, std::va_list arguments)
{
    if (format == nullptr) return false;
    if (level > threshold_) return true;

    std::array<char, 512> brief;
    std::va_list          again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(brief.data(), brief.size(), format, arguments);
    if (length >= 0 && static_cast<std::size_t>(length) < brief.size()) {
        put(level, {brief.data(), static_cast<std::size_t>(length)});
    } else if (length >= 0) {
        std::vector<char> whole(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(whole.data(), whole.size(), format, again);
        put(level, {whole.data(), static_cast<std::size_t>(length)});
    }
    va_end(again);
    return length >= 0;
}

void DebugLog::put(LogLevel level, std::string_view line)
{
    while (!line.empty() && line.back() == '\n') line.remove_suffix(1);  // the log ends every line itself
    const std::lock_guard<std::mutex> held(mutex_);
    logger_.log(level == LogLevel::error ? spdlog::level::err : spdlog::level::trace,
                spdlog::string_view_t(line.data(), line.size()));
}

}  // namespace qvplatform
