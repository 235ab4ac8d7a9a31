/**
 * @file librarylog.cpp
 * Stands between the library and the platform's debug print.
 *
 * The library reports statuses that stand for many causes; the cause itself (an HTTP status, an errno) is a line of the
 * debug print, which is off on most hosts. The program's own definition of the two functions comes first in the dynamic
 * linker's search, whatever platform is installed, and hands each line on to the platform's.
 */
#include "librarylog.h"

#include <dlfcn.h>
#include <string.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <deque>
#include <mutex>

#include "secrets.h"
#include "smsupport.h"

namespace qvrfctl {
namespace {

constexpr std::size_t kMostErrors = 64;
constexpr std::size_t kMostTrace  = 4u * 1024 * 1024;
constexpr std::size_t kLongest    = 16u * 1024;

struct Lines {
    std::mutex              mutex;
    std::deque<std::string> errors;
    std::string             trace;
    bool                    traces = false;
};

/** Never destroyed: lines come until the last exit handler has run. */
Lines& lines()
{
    static Lines& all = *new Lines;
    return all;
}

void keep(Lines& all, bool isError, const std::string& line)
{
    const std::lock_guard<std::mutex> lock(all.mutex);
    if (all.traces && all.trace.size() < kMostTrace) all.trace += line;
    if (!isError) return;
    if (all.errors.size() == kMostErrors) all.errors.pop_front();
    all.errors.push_back(withoutSecrets(line.substr(0, line.find_last_not_of(" \r\n") + 1)));
}

using Print = s32 (*)(const astring*, ...);

Print next(const char* name) noexcept
{
    return reinterpret_cast<Print>(::dlsym(RTLD_NEXT, name));
}

s32 pass(Print platforms, bool isError, const astring* format, std::va_list arguments) noexcept
try {
    std::string line(kLongest, '\0');
    const int   length = std::vsnprintf(line.data(), line.size(), format, arguments);
    if (length < 0) return -1;
    line.resize(std::min(static_cast<std::size_t>(length), line.size() - 1));
    keep(lines(), isError, line);
    const s32 status = platforms != nullptr ? platforms("%s", line.c_str()) : 0;
    ::explicit_bzero(line.data(), line.size());  // trace lines carry tokens
    return status;
} catch (...) {
    return -1;
}

}  // namespace

std::vector<std::string> libraryErrors()
{
    const std::lock_guard<std::mutex> lock(lines().mutex);
    return {lines().errors.begin(), lines().errors.end()};
}

std::string newestLibraryError(const std::string& opening)
{
    const auto all = libraryErrors();
    for (auto line = all.rbegin(); line != all.rend(); ++line)
        if (line->compare(0, opening.size(), opening) == 0) return line->substr(opening.size());
    return {};
}

LibraryTrace::LibraryTrace()
{
    const std::lock_guard<std::mutex> lock(lines().mutex);
    lines().traces = true;
}

LibraryTrace::~LibraryTrace()
{
    const std::lock_guard<std::mutex> lock(lines().mutex);
    lines().traces = false;
    ::explicit_bzero(lines().trace.data(), lines().trace.size());
    lines().trace.clear();
}

std::string LibraryTrace::text() const
{
    const std::lock_guard<std::mutex> lock(lines().mutex);
    return lines().trace;
}

}  // namespace qvrfctl

#define STANDS_BEFORE_THE_PLATFORMS(print, isError)                                         \
    extern "C" __attribute__((visibility("default"))) s32 print(const astring* format, ...) \
    {                                                                                       \
        static const qvrfctl::Print platforms = qvrfctl::next(#print);                      \
        std::va_list                arguments;                                              \
        va_start(arguments, format);                                                        \
        const s32 status = qvrfctl::pass(platforms, isError, format, arguments);            \
        va_end(arguments);                                                                  \
        return status;                                                                      \
    }
STANDS_BEFORE_THE_PLATFORMS(__SysDbgPrint3, true)
STANDS_BEFORE_THE_PLATFORMS(__SysDbgPrint4, false)
