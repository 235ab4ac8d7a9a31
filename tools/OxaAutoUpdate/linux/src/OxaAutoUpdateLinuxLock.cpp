/**
 * @file OxaAutoUpdateLinuxLock.cpp
 * Two locks on one file. A record lock belongs to the process and goes with it: that is the update's. A flock belongs
 * to the open file and goes with the last process that has it open: that is the installer's.
 */
#include "OxaAutoUpdateLinuxLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "OxaAutoUpdateLinuxDecide.h"
#include "smsupport.h"

namespace qvrf {
namespace {

/** Kept open for the rest of the process: the record lock goes with any descriptor of the file that is closed. */
Descriptor g_lock;

struct flock wholeFile() noexcept
{
    struct flock whole {};
    whole.l_type   = F_WRLCK;
    whole.l_whence = SEEK_SET;
    whole.l_start  = 0;
    whole.l_len    = 0;
    whole.l_pid    = ::getpid();
    return whole;
}

bool isOpenAs(const Descriptor& fd, const char* path) noexcept
{
    struct stat ours {};
    struct stat there {};
    return fd && ::fstat(fd.get(), &ours) == 0 && ::stat(path, &there) == 0 && ours.st_dev == there.st_dev &&
           ours.st_ino == there.st_ino;
}

/** Root's or this user's, as its status tells. */
bool isTrusted(const char* process) noexcept
{
    std::array<char, 64> path{};
    std::snprintf(path.data(), path.size(), "/proc/%.16s/status", process);
    const File            status(std::fopen(path.data(), "re"));
    std::array<char, 256> line{};
    while (status && std::fgets(line.data(), static_cast<int>(line.size()), status.get()) != nullptr)
        if (std::strncmp(line.data(), "Uid:", 4) == 0) return isTrustedUser(line.data() + 4, ::geteuid());
    return false;
}

/** Has the process @p pid the lock file open? */
bool hasOpen(int processes, const char* pid, const struct stat& file) noexcept
{
    std::array<char, 32> list{};
    std::snprintf(list.data(), list.size(), "%.16s/fd", pid);
    Descriptor      fds(::openat(processes, list.data(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const Directory open(fds ? ::fdopendir(fds.get()) : nullptr);
    struct stat     status {};
    if (open) fds.release();
    while (const dirent* entry = open ? ::readdir(open.get()) : nullptr)
        if (::fstatat(::dirfd(open.get()), entry->d_name, &status, 0) == 0 && status.st_dev == file.st_dev &&
            status.st_ino == file.st_ino)
            return true;
    return false;
}

/** Whether a process that this one trusts, and not itself, has the lock file open. */
bool trustedOneHasOpen(const Descriptor& lock) noexcept
{
    struct stat     file {};
    const Directory processes(::fstat(lock.get(), &file) == 0 ? ::opendir("/proc") : nullptr);
    if (!processes) return true;  // nobody can tell
    const long self = ::getpid();
    while (const dirent* entry = ::readdir(processes.get())) {
        const long pid = std::strtol(entry->d_name, nullptr, 10);
        if (pid > 0 && pid != self && hasOpen(::dirfd(processes.get()), entry->d_name, file) &&
            isTrusted(entry->d_name))
            return true;
    }
    return false;
}

/**
 * Whether the lock that refused the record lock is a stranger's. An update that went on behind such a lock has the file
 * open for as long as it lives. A process of another container has the number 0 here; a write lock of one takes a file
 * that it may write.
 */
bool isStrangers(const struct flock& held, const Descriptor& lock) noexcept
{
    return (held.l_pid != 0 || held.l_type != F_WRLCK) && !trustedOneHasOpen(lock);
}

/** Takes the record lock, or goes on without where only a stranger refuses it. @return false when it is refused */
bool lockWhole(const Descriptor& lock) noexcept
{
    constexpr int kTries = 3;  // the holder may let go between the two questions
    for (int tries = 0; tries < kTries; ++tries) {
        struct flock whole = wholeFile();
        if (::fcntl(lock.get(), F_SETLK, &whole) == 0) return true;
        if (::fcntl(lock.get(), F_GETLK, &whole) != 0) return false;
        if (whole.l_type != F_UNLCK) return isStrangers(whole, lock);
    }
    return false;
}

/** Whether an installer has the lock of an update that was killed. */
bool installerHolds(const Descriptor& lock) noexcept
{
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) == 0) {
        ::flock(lock.get(), LOCK_UN);
        return false;
    }
    return errno == EWOULDBLOCK && trustedOneHasOpen(lock);
}

/** Others can hold locks, while they can open the file. */
void keepToOurselves(const Descriptor& lock) noexcept
{
    struct stat status {};
    const bool  open = ::fstat(lock.get(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0;
    if (open && ::fchmod(lock.get(), S_IRUSR | S_IWUSR) != 0)
        __SysDbgPrint4("[AUFPI]AutoUpdateCheckForAnotherInstance: the lock file's mode cannot be set.\n");
}

}  // namespace

HostClaim claimHost(const char* path) noexcept
{
    if (!isOpenAs(g_lock, path)) g_lock = Descriptor(::open(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!g_lock) return HostClaim::none;
    keepToOurselves(g_lock);
    return lockWhole(g_lock) && !installerHolds(g_lock) ? HostClaim::ours : HostClaim::refused;
}

ClaimInherited::ClaimInherited() noexcept
{
    if (!g_lock) return;
    ::flock(g_lock.get(), LOCK_EX | LOCK_NB);
    ::fcntl(g_lock.get(), F_SETFD, 0);
}

ClaimInherited::~ClaimInherited()
{
    if (!g_lock) return;
    ::fcntl(g_lock.get(), F_SETFD, FD_CLOEXEC);
    ::flock(g_lock.get(), LOCK_UN);  // what the installer left running has the file open, too
}

}  // namespace qvrf
