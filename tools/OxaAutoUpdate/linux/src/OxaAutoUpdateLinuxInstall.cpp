/** @file OxaAutoUpdateLinuxInstall.cpp  Runs the installer of a prepared update and reports how that went. */
#include <cstdio>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxLock.h"
#include "OxaAutoUpdateLinuxPrepare.h"
#include "OxaAutoUpdateLinuxReason.h"
#include "OxaAutoUpdateLinuxShell.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsPaths.h"
#include "OxaAutoUpdateUtilsText.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr const char* op = "OXAAutoUpdateNow";

s32 outOfMemory(const char* what) noexcept
{
    __SysDbgPrint3("[AUFPI]%s: failed to alloc memory for %s.\n", op, what);
    return OXA_UPDATE_OUT_OF_MEMORY;
}

/**
 * The directory that the package is unpacked to, gone when the installation ends. What that takes is there from the
 * start: an installation that runs out of memory leaves nothing behind.
 */
class Staging {
public:
    Staging() noexcept : path_(smFormat("%s/%s", installDirectory(), kStaging))
    {
        const SmOwned<astring> file = path_ ? smFormat("%s/%s", path_.get(), kInstaller) : nullptr;
        const SmOwned<astring> word = file ? shellQuoted(path_.get()) : nullptr;
        removal_                    = word ? smFormat("rm -rf %s ", word.get()) : nullptr;
        installer_                  = removal_ ? shellQuoted(file.get()) : nullptr;
    }
    ~Staging()
    {
        if (!installer_ || IsDirExist(path_.get()) != 0 || !mine_ || runShell(op, removal_.get()) == 0) return;
        __SysDbgPrint3("[AUFPI]OXAAutoUpdateNow: could not delete %s directory.\n", path_.get());
    }
    Staging(Staging&&) = delete;

    explicit operator bool() const noexcept { return static_cast<bool>(installer_); }

    s32 prepare(booln force) noexcept
    {
        const s32 status = PrepareOXAAutoUpdate(force, path_.get());
        mine_            = status != OXA_UPDATE_ANOTHER_INSTANCE;  // the other one may be installing from it
        return status;
    }
    /** The installer as the shell takes it. */
    const astring* installer() const noexcept { return installer_.get(); }

private:
    SmOwned<astring> path_;
    SmOwned<astring> removal_;
    SmOwned<astring> installer_;
    bool             mine_ = false;
};

/** Runs the package's installer. When this process is killed meanwhile, the installer keeps the host claimed. */
int runInstaller(const astring* command) noexcept
{
    const ClaimInherited claim;
    return runShell(op, command);
}

/** Removes the agent that the package manager knows, if any. */
s32 uninstall(const astring* installer) noexcept
{
    const SmOwned<astring> command = smFormat("%s -d ", installer);
    if (!command) return outOfMemory("the uninstaller's command");
    if (runShell(op, "rpm -qa|grep qvoxa > /dev/null 2>&1") != 0) return 0;
    std::puts("Uninstalling of Torvo Service Module is in progress.");
    if (const int status = runInstaller(command.get()); status != 0) {
        __SysDbgPrint3("[AUFPI]%s: the uninstaller failed with status %d.\n", op, status);
        std::printf("Torvo Service Module Uninstallation failed with status %d.\n", status);
        return OXA_UPDATE_FAILED;
    }
    std::puts("Torvo Service Module Uninstalled successfully.");
    return 0;
}

s32 reportInstallation(int status) noexcept
{
    if (status == 0) {
        std::printf("Torvo Service Module updated/installed Successfully to version %s.\n", OxaUpdatedVersion);
        OxaAutoUpdateLogtoOSKS();
        return 0;
    }
    __SysDbgPrint3("[AUFPI]%s: the installer failed with status %d.\n", op, status);
    std::printf(
        "Torvo Service Module update/install is failed with the return code %d. For troubleshooting,refer the Oxa "
        "installation guide.\n",
        status);
    return OXA_UPDATE_FAILED;
}

s32 installUnattended(const astring* installer, const astring* arguments) noexcept
{
    const SmOwned<astring> command = arguments != nullptr
                                         ? smFormat("%s -i -a %s > /dev/null 2>&1", installer, arguments)
                                         : smFormat("%s -i -a > /dev/null 2>&1", installer);
    return command ? reportInstallation(runInstaller(command.get())) : outOfMemory("the installer's command");
}

s32 updateUnattended(Staging& staging, const astring* arguments, booln force) noexcept
{
    if (const s32 status = staging.prepare(force); status != 0) {
        if (status == OXA_UPDATE_NOTHING_TO_DO)
            __SysDbgPrint3("[AUFPI]OXAAutoUpdateNow:Torvo Service Module update not available.\n");
        return status;
    }
    if (force != 0) {
        if (const s32 status = uninstall(staging.installer()); status != 0) return status;
        std::puts("Torvo Service Module install is in progress.");
    } else {
        std::puts("Torvo Service Module update/install is in progress.");
    }
    return installUnattended(staging.installer(), arguments);
}

/** The installer itself talks to the user. */
s32 updateInteractively(Staging& staging) noexcept
{
    std::puts("Torvo Service Module update/install is in progress.");
    if (const s32 status = staging.prepare(0); status != 0) return status;
    return reportInstallation(runInstaller(staging.installer()));
}

s32 updateNow(const astring* arguments, booln force, booln silent) noexcept
{
    forgetReason();
    if (!knowInstallPath()) return outOfMemory("pOXAInstallPath");
    Staging staging;
    if (!staging) return outOfMemory("the staging directory");
    return force != 0 || silent != 0 ? updateUnattended(staging, arguments, force) : updateInteractively(staging);
}

}  // namespace
}  // namespace qvrf

extern "C" s32 OXAAutoUpdateNow(astring* installArgs, booln force, booln silent)
{
    const qvrf::TraceScope trace(qvrf::op, qvrf::kUpdateTrace);
    return qvrf::updateNow(installArgs, force, silent);
}
