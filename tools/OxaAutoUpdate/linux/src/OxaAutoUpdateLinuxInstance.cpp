/** @file OxaAutoUpdateLinuxInstance.cpp  One update at a time on a host: the installation path and the lock in it. */
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxPrepare.h"
#include "OxaAutoUpdateLinuxShell.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsText.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr char kDefaultInstallPath[] = "/opt/zelmar/kappel/Oxa";
constexpr u32  kPathSize             = 4096;

/** Kept open for the rest of the process: the lock goes with it, and with any other descriptor of the file. */
Descriptor g_lock;

/** Made for this user alone: whoever can open the file can hold a lock that stops every update. */
void touch(const astring* file) noexcept
{
    const SmOwned<astring> quoted  = shellQuoted(file);
    const SmOwned<astring> command = quoted ? smFormat("umask 077; touch %s", quoted.get()) : nullptr;
    if (!command || runShell(command.get()) != 0)
        __SysDbgPrint3("[AUFPI]AutoUpdateCheckForAnotherInstance: File creation %s failed.\n", file);
}

bool isOpenAs(const Descriptor& fd, const astring* path) noexcept
{
    struct stat ours {};
    struct stat there {};
    return fd && ::fstat(fd.get(), &ours) == 0 && ::stat(path, &there) == 0 && ours.st_dev == there.st_dev &&
           ours.st_ino == there.st_ino;
}

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

bool lockWhole(const Descriptor& fd) noexcept
{
    struct flock whole = wholeFile();
    return ::fcntl(fd.get(), F_SETLK, &whole) == 0;
}

/** Updates take write locks; a read lock is a stranger's who may open the file. */
bool updateHolds(const Descriptor& fd) noexcept
{
    struct flock whole = wholeFile();
    return fd && ::fcntl(fd.get(), F_GETLK, &whole) == 0 && whole.l_type == F_WRLCK;
}

/** Takes a lock file away that others can open, or that is something else, so that a safe one is made. */
void dropUnsafe(const astring* lockFile) noexcept
{
    struct stat status {};
    if (::lstat(lockFile, &status) != 0 || isOpenAs(g_lock, lockFile)) return;
    const bool mine = S_ISREG(status.st_mode) && status.st_uid == ::geteuid() && status.st_nlink == 1;
    if (mine && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0) return;
    if (mine && updateHolds(Descriptor(::open(lockFile, O_RDWR | O_NOFOLLOW | O_CLOEXEC)))) return;
    ::unlink(lockFile);
}

bool refuse() noexcept
{
    std::puts("Another instance of Oxa qvoxa-sync is already running.");
    return false;
}

}  // namespace

bool knowInstallPath() noexcept
{
    if (pOXAInstallPath == nullptr) pOXAInstallPath = smText(kPathSize).release();
    if (pOXAInstallPath == nullptr) return false;
    if (pOXAInstallPath[0] == '\0' && AutoUpdateGetOxaInstallPath(pOXAInstallPath) != 0) pOXAInstallPath[0] = '\0';
    return true;
}

const astring* installDirectory() noexcept
{
    return *orEmpty(pOXAInstallPath) != '\0' ? pOXAInstallPath : kDefaultInstallPath;
}

bool AutoUpdateCheckForAnotherInstance(astring* lockFile, const astring* installer) noexcept
{
    const TraceScope trace("AutoUpdateCheckForAnotherInstance", kUpdateTrace);
    dropUnsafe(lockFile);
    if (FileCheck(lockFile) != 0) touch(lockFile);
    // Opening and closing the file once more would give up the lock of an earlier run in this process.
    if (!isOpenAs(g_lock, lockFile)) g_lock = Descriptor(::open(lockFile, O_RDWR | O_CLOEXEC));
    if (g_lock && !lockWhole(g_lock)) return refuse();
    // The lock goes with its process. The installer of an update that was killed goes on without.
    if (isAtWork(installer)) {
        __SysDbgPrint3("[AUFPI]AutoUpdateCheckForAnotherInstance: %s of an earlier run is still at work.\n", installer);
        return refuse();
    }
    // Said with the lock as well as without; the log's readers know it as the line behind which a run begins.
    __SysDbgPrint3("[AUFPI]AutoUpdateCheckForAnotherInstance: Another instance of AutoUpdate running.\n");
    return true;
}

}  // namespace qvrf
