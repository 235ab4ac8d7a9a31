/** @file OxaAutoUpdateLinuxOneInstance.cpp  One update at a time on a host. */
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxLock.h"
#include "OxaAutoUpdateLinuxPrepare.h"
#include "OxaAutoUpdateLinuxShell.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsText.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr const char* op = "AutoUpdateCheckForAnotherInstance";

void touch(const astring* file) noexcept
{
    const SmOwned<astring> quoted  = shellQuoted(file);
    const SmOwned<astring> command = quoted ? smFormat("touch %s", quoted.get()) : nullptr;
    if (!command || runShell(op, command.get()) != 0)
        __SysDbgPrint3("[AUFPI]AutoUpdateCheckForAnotherInstance: File creation %s failed.\n", file);
}

/** Removes a lock file that is not a regular file of this user's. One that is may be locked by another update. */
void dropForeign(const astring* lockFile) noexcept
{
    struct stat status {};
    if (::lstat(lockFile, &status) != 0 || (S_ISREG(status.st_mode) && status.st_uid == ::geteuid())) return;
    ::unlink(lockFile);
}

}  // namespace

bool AutoUpdateCheckForAnotherInstance(astring* lockFile) noexcept
{
    const TraceScope trace(op, kUpdateTrace);
    dropForeign(lockFile);
    if (FileCheck(lockFile) != 0) touch(lockFile);
    if (claimHost(lockFile) == HostClaim::refused) {
        __SysDbgPrint3("[AUFPI]%s: %s is locked by an update or an installer.\n", op, lockFile);
        std::puts("Another instance of Oxa qvoxa-sync is already running.");
        return false;
    }
    // Logged with the lock as well as without: readers of the log know it as the line that begins a run.
    __SysDbgPrint3("[AUFPI]%s: Another instance of AutoUpdate running.\n", op);
    return true;
}

}  // namespace qvrf
