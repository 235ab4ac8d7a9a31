/** @file OxaAutoUpdateLinuxEnvironment.cpp  Where the process runs from and what it may do there. */
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxShell.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsPaths.h"
#include "OxaAutoUpdateUtilsText.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

astring* pExecutionDirectory;
astring* pOXAInstallPath;
booln    standAloneAutoUpdate;
s32      installationType = -1;

namespace qvrf {
namespace {

constexpr mode_t kFileMode = 0644;

constexpr char kPrivateFile[] = "/.qvoxareg.cfg";

constexpr TraceTexts kUnprefixedTrace{"%s: entry\n", "%s: exit\n"};

/**
 * The absolute path of the directory that the program path names. Asked of the file system and not by going there: the
 * current directory belongs to every thread of the process.
 */
bool directoryOf(astring* programPath, astring* directory) noexcept
{
    astring* const slash = programPath != nullptr ? std::strrchr(programPath, '/') : nullptr;
    if (slash == nullptr) return false;
    *slash = '\0';
    struct stat status {};
    if (::realpath(slash == programPath ? "/" : programPath, directory) != nullptr && ::stat(directory, &status) == 0 &&
        S_ISDIR(status.st_mode))
        return true;
    __SysDbgPrint3("[AUFPI]SetExecutionDirectory: no directory %s.\n", programPath);
    return false;
}

s32 findExecutionDirectory(astring* programPath) noexcept
{
    const SmOwned<astring> found = smText(kPathSize);
    if (!found) {
        __SysDbgPrint3("[AUFPI]SetExecutionDirectory:  failed to alloc memory pathSave = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    pExecutionDirectory = smText(kPathSize).release();
    if (pExecutionDirectory == nullptr) {
        __SysDbgPrint3("[AUFPI]SetExecutionDirectory:  failed to alloc memory pExecutionDirectory = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    if (directoryOf(programPath, found.get()))
        strcpy_s(pExecutionDirectory, kPathSize, found.get());
    else if (::getcwd(pExecutionDirectory, kPathSize) == nullptr)
        pExecutionDirectory[0] = '\0';
    FolderPathCorrection(pExecutionDirectory);
    __SysDbgPrint4("SetExecutionDirectory:Absolute path to executable is: %s.\n", pExecutionDirectory);
    return 0;
}

/** A directory as the private file's command takes it: blanks escaped, anything odder in quotes. */
SmOwned<astring> directoryForShell(astring* directory) noexcept
{
    const std::string_view text(directory);
    const auto             harmless = [](char c) { return c == ' ' || kShellPlain.find(c) != kShellPlain.npos; };
    if (std::all_of(text.begin(), text.end(), harmless))
        return FolderPathCorrection(directory) == 0 ? smCopy(directory) : shellQuoted(text);
    SmOwned<astring> quoted = shellQuoted(text);
    FolderPathCorrection(directory);  // for the log
    return quoted;
}

bool isOwnFile(const struct stat& status) noexcept
{
    return S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == ::geteuid();
}

/**
 * Makes the private file before the shell writes it, which would follow a link there to another user's file.
 * @return false when something is there that is not ours. Whatever else prevents the file prevents the shell, too.
 */
bool leadsNowhereElse(const astring* path) noexcept
{
    const Descriptor file(::open(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, kFileMode));
    struct stat      status {};
    if (file) return ::fstat(file.get(), &status) == 0 && isOwnFile(status);
    return ::lstat(path, &status) != 0 || S_ISDIR(status.st_mode) || isOwnFile(status);
}

/** Tells the platform library, in a file of its own, where a standalone copy keeps its variable data. */
s32 writePrivateFile(astring* directory) noexcept
{
    const SmOwned<astring> path = smFormat("%s%s", directory, kPrivateFile);
    const SmOwned<astring> word = path ? directoryForShell(directory) : nullptr;
    const SmOwned<astring> command =
        !word ? nullptr : smFormat("echo suptlib.vardatapath=%s >%s%s", word.get(), word.get(), kPrivateFile);
    if (!command) {
        // The message carries the other operation's name; log readers know it so.
        __SysDbgPrint3("[AUFPI]CleanIPCDirectory:  failed to alloc memory sysCMD = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    if (leadsNowhereElse(path.get()) && runShell("CheckStandaloneAutoUpdate", command.get()) == 0) return 0;
    __SysDbgPrint3("[AUFPI]CheckStandaloneAutoUpdate: system cmd failed : %s.\n", command.get());
    return OXA_UPDATE_FAILED;
}

s32 setUpStandalone() noexcept
{
    if (FileCheck(kUsualRegistration) == 0) {
        __SysDbgPrint4("[AUFPI]CheckStandaloneAutoUpdate: Oxa installed on this Machine.\n");
        return 0;
    }
    const SmOwned<astring> path = smText(kPathSize);
    if (!path) {
        __SysDbgPrint3("[AUFPI]CheckStandaloneAutoUpdate:  failed to alloc memory executionPath = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    // The execution directory carries its backslashes into the name; CleanIPCDirectory removes the same name.
    sprintf_s(path.get(), kPathSize, "%s/ipc", orEmpty(pExecutionDirectory));
    const s32 status = pExecutionDirectory == nullptr ? QVRFUTIL_FAILURE : CreateDirectory(path.get(), kDirectoryMode);
    if (status != 0) {
        __SysDbgPrint3("[AUFPI]CheckStandaloneAutoUpdate:  CreateDirectory failed with status %d.\n", status);
        return OXA_UPDATE_FAILED;
    }
    if (::getcwd(path.get(), kPathSize) == nullptr) return 0;
    return writePrivateFile(path.get());
}

s32 undoStandalone() noexcept
{
    const SmOwned<astring> ipc = smText(kPathSize);
    if (!ipc) {
        __SysDbgPrint3("[AUFPI]CleanIPCDirectory:  failed to alloc memory pExecutionPath = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    const SmOwned<astring> file = smText(kPathSize);
    if (!file) {
        __SysDbgPrint3("[AUFPI]CleanIPCDirectory:  failed to alloc memory pQvoxaConfigPath = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    sprintf_s(ipc.get(), kPathSize, "%s/ipc", orEmpty(pExecutionDirectory));
    if (pExecutionDirectory == nullptr || RemoveDirectory(ipc.get()) != 0)
        __SysDbgPrint3("[AUFPI]CleanIPCDirectory: could not delete %s directory.\n", ipc.get());

    astring current[kPathSize];
    if (::getcwd(current, sizeof current) == nullptr) return 0;
    sprintf_s(file.get(), kPathSize, "%s/%s", current, kPrivateFile);  // two slashes, which do no harm
    if (const int status = std::remove(file.get()); status != 0) {
        __SysDbgPrint3("[AUFPI]CleanIPCDirectory: remove file %s failed with status  : %d.\n", file.get(), status);
        return OXA_UPDATE_FAILED;
    }
    return 0;
}

s32 refuseUpdateDirectory() noexcept
{
    const SmOwned<astring> forbidden = smFormat("%s/%s", orEmpty(pOXAInstallPath), kForbiddenPlace);
    if (!forbidden) {
        __SysDbgPrint3("[AUFPI]CheckBinaryExecutionPath: failed to alloc memory pExpectedExecutionPath = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    const astring* const running = orEmpty(pExecutionDirectory);
    __SysDbgPrint4("[AUFPI]CheckBinaryExecutionPath: pCurrentExecutionPath path %s pExpectedExecutionPath %s.\n",
                   running, forbidden.get());
    if (std::strncmp(running, forbidden.get(), std::strlen(forbidden.get())) != 0) return 0;
    __SysDbgPrint3("[AUFPI]CheckBinaryExecutionPath: Execution qvoxa-sync from invalid path.\n");
    return OXA_UPDATE_FORBIDDEN_PATH;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 AutoUpdateCheckUserPrivilege(void)
{
    const qvrf::Uncancelled uncancelled;
    return ::geteuid() == 0 ? 0 : OXA_UPDATE_NOT_ROOT;
}

extern "C" s32 SetExecutionDirectory(astring* pProgramPath)
{
    const qvrf::TraceScope trace("SetExecutionDirectory", qvrf::kUnprefixedTrace);
    return qvrf::findExecutionDirectory(pProgramPath);
}

extern "C" s32 CheckStandaloneAutoUpdate(void)
{
    const qvrf::TraceScope trace("CheckStandaloneAutoUpdate", qvrf::kUpdateTrace);
    return qvrf::setUpStandalone();
}

extern "C" s32 CleanIPCDirectory(void)
{
    const qvrf::TraceScope trace("CleanIPCDirectory", qvrf::kUpdateTrace);
    return qvrf::undoStandalone();
}

extern "C" s32 CheckBinaryExecutionPath(void)
{
    const qvrf::TraceScope trace("CheckBinaryExecutionPath", qvrf::kUpdateTrace);
    return qvrf::refuseUpdateDirectory();
}
