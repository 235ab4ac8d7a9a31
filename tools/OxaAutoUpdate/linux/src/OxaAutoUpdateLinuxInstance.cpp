/** @file OxaAutoUpdateLinuxInstance.cpp  One update at a time on a host: the installation path and the lock in it. */
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

constexpr char kDefaultInstallPath[] = "/opt/zelmar/kappel/Oxa";
constexpr u32  kPathSize             = 4096;

constexpr const char* op = "AutoUpdateCheckForAnotherInstance";

void touch(const astring* file) noexcept
{
    const SmOwned<astring> quoted  = shellQuoted(file);
    const SmOwned<astring> command = quoted ? smFormat("touch %s", quoted.get()) : nullptr;
    if (!command || runShell(op, command.get()) != 0)
        __SysDbgPrint3("[AUFPI]AutoUpdateCheckForAnotherInstance: File creation %s failed.\n", file);
}

/** Takes away what stands in the lock file's place and is no file of ours. A file of ours may be somebody's lock. */
void dropForeign(const astring* lockFile) noexcept
{
    struct stat status {};
    if (::lstat(lockFile, &status) != 0 || (S_ISREG(status.st_mode) && status.st_uid == ::geteuid())) return;
    ::unlink(lockFile);
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

bool AutoUpdateCheckForAnotherInstance(astring* lockFile) noexcept
{
    const TraceScope trace(op, kUpdateTrace);
    dropForeign(lockFile);
    if (FileCheck(lockFile) != 0) touch(lockFile);
    if (claimHost(lockFile) == Claim::refused) {
        __SysDbgPrint3("[AUFPI]%s: %s is locked by an update or an installer.\n", op, lockFile);
        std::puts("Another instance of Oxa qvoxa-sync is already running.");
        return false;
    }
    // Said with the lock as well as without; the log's readers know it as the line behind which a run begins.
    __SysDbgPrint3("[AUFPI]%s: Another instance of AutoUpdate running.\n", op);
    return true;
}

}  // namespace qvrf
