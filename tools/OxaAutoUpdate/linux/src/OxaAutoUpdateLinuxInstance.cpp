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

void touch(const astring* file) noexcept
{
    const SmOwned<astring> quoted  = shellQuoted(file);
    const SmOwned<astring> command = quoted ? smFormat("touch %s", quoted.get()) : nullptr;
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

bool lockWhole(const Descriptor& fd) noexcept
{
    struct flock whole {};
    whole.l_type   = F_WRLCK;
    whole.l_whence = SEEK_SET;
    whole.l_start  = 0;
    whole.l_len    = 0;
    whole.l_pid    = ::getpid();
    return ::fcntl(fd.get(), F_SETLK, &whole) == 0;
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

bool claimHost(astring* lockFile) noexcept
{
    const TraceScope trace("AutoUpdateCheckForAnotherInstance", kUpdateTrace);
    if (FileCheck(lockFile) != 0) touch(lockFile);
    // Opening and closing the file once more would give up the lock of an earlier run in this process.
    if (!isOpenAs(g_lock, lockFile)) g_lock = Descriptor(::open(lockFile, O_RDWR | O_CLOEXEC));
    if (g_lock && !lockWhole(g_lock)) {
        std::puts("Another instance of Oxa qvoxa-sync is already running.");
        return false;
    }
    // Said with the lock as well as without; the log's readers know it as the line behind which a run begins.
    __SysDbgPrint3("[AUFPI]AutoUpdateCheckForAnotherInstance: Another instance of AutoUpdate running.\n");
    return true;
}

}  // namespace qvrf
