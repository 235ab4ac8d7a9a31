/** @file OxaAutoUpdateLinuxProcesses.cpp  Is an installer at work whose update was killed? */
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "OxaAutoUpdateLinuxPrepare.h"
#include "owners.h"

namespace qvrf {
namespace {

using CommandLine = std::array<char, 8192>;
using Namespace   = std::array<char, 64>;

/** The file system that a process of /proc sees; a container's has the same paths and other files. */
Namespace mounts(int processes, const char* pid) noexcept
{
    std::array<char, 32> link{};
    Namespace            name{};
    std::snprintf(link.data(), link.size(), "%.16s/ns/mnt", pid);
    if (::readlinkat(processes, link.data(), name.data(), name.size() - 1) < 0) name[0] = '\0';
    return name;
}

/** The words of a process's command line, a NUL behind each; none of another user's, who may write what he likes there.
 */
std::string_view commandLine(int processes, const char* pid, CommandLine& text) noexcept
{
    std::array<char, 32> file{};
    std::snprintf(file.data(), file.size(), "%.16s/cmdline", pid);
    const Descriptor fd(::openat(processes, file.data(), O_RDONLY | O_CLOEXEC));
    struct stat      status {};
    if (!fd || ::fstat(fd.get(), &status) != 0 || status.st_uid != ::geteuid()) return {};
    const ssize_t size = ::read(fd.get(), text.data(), text.size());
    return {text.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

bool hasWord(std::string_view words, std::string_view wanted) noexcept
{
    while (!words.empty()) {
        const std::string_view word = words.substr(0, words.find('\0'));
        if (word == wanted) return true;
        words.remove_prefix(std::min(word.size() + 1, words.size()));
    }
    return false;
}

}  // namespace

bool isAtWork(const astring* program) noexcept
{
    const Directory processes(::opendir("/proc"));
    const int       proc = processes ? ::dirfd(processes.get()) : -1;
    CommandLine     text;
    while (const dirent* entry = processes ? ::readdir(processes.get()) : nullptr) {
        const long pid = std::strtol(entry->d_name, nullptr, 10);
        if (pid > 0 && pid != ::getpid() && hasWord(commandLine(proc, entry->d_name, text), program) &&
            mounts(proc, entry->d_name) == mounts(proc, "self"))
            return true;
    }
    return false;
}

}  // namespace qvrf
