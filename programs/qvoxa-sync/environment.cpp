/** @file environment.cpp  Checks and set-up, in the order in which the library's operations need each other. */
#include "environment.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "interrupts.h"
#include "safeplaces.h"
#include "updatelock.h"

namespace qvoxasync {
namespace {

namespace fs = std::filesystem;

constexpr char kRegistration[] = "/opt/zelmar/kappel/Oxa/etc/qvoxareg.cfg";
constexpr char kUsualLock[]    = "/opt/zelmar/kappel/Oxa/.autoupdate";
constexpr char kPrivateFile[]  = ".qvoxareg.cfg";
constexpr s32  kFailure        = 1;

bool needsRoot(Action action)
{
    return action == Action::update || action == Action::setupLink;
}

/** The library takes a program without '/' for one in the current directory; one found by $PATH is elsewhere. */
std::string programPath(std::string asStarted)
{
    std::error_code error;
    const fs::path  path = fs::read_symlink("/proc/self/exe", error);
    return error ? std::move(asStarted) : path.string();
}

std::string textOf(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool exists(const std::string& path)
{
    return ::access(path.c_str(), F_OK) == 0;
}

std::string currentDirectory()
{
    std::error_code error;
    return fs::current_path(error).string();
}

std::string installation()
{
    return pOXAInstallPath != nullptr ? pOXAInstallPath : "";
}

std::string lockFile()
{
    return installation() + "/.autoupdate";
}

/** With a backslash before each blank, also in the name of the directory that is made: that is where it is removed. */
std::string ipcDirectory()
{
    return std::string(pExecutionDirectory != nullptr ? pExecutionDirectory : "") + "/ipc";
}

std::string privateText()
{
    return "suptlib.vardatapath=" + currentDirectory() + '\n';
}

/** Why the files of a standalone copy must not be made here. */
std::string whyNotHere()
{
    std::string why = whyUnsafeFile(kPrivateFile);
    if (why.empty()) why = whyUnsafeDirectory(currentDirectory());
    return why.empty() ? whyUnsafeDirectory(fs::path(programPath({})).parent_path().string()) : why;
}

/** A standalone run that was killed while it installed left a file that would outrank the installation's. */
void forgetKilledRun()
{
    const bool left = exists(kRegistration) && exists(kPrivateFile) && whyUnsafeFile(kPrivateFile).empty() &&
                      textOf(kPrivateFile) == privateText();
    if (left && !otherHoldsLock(kUsualLock)) ::unlink(kPrivateFile);
}

/** The directories that came to be only because their names have backslashes; not when something else is in them. */
void removeEscapedParents(fs::path directory)
{
    while (directory.string().find("\\ ") != std::string::npos && ::rmdir(directory.c_str()) == 0)
        directory = directory.parent_path();
}

}  // namespace

Environment::Environment(Action action, std::string program)
{
    forgetKilledRun();  // before the library reads its configuration
    std::string path = programPath(std::move(program));
    if (const s32 status = SetExecutionDirectory(path.data()); status != 0) throw libraryFailure(action, status);
    if (needsRoot(action)) {
        if (const s32 status = AutoUpdateCheckUserPrivilege(); status != 0) throw libraryFailure(action, status);
    }
    try {
        setUpStandalone(action);
        if (const s32 status = InitOxaAutoUpdateLog(); status == kStatusNoMemory)
            throw libraryFailure(action, status);  // any other failure: the agent's usual place is used
        checkExecutionPath(action);
        planForInterrupts(action);
    } catch (...) {
        removeOwnFiles();
        throw;
    }
}

Environment::~Environment()
{
    removeOwnFiles();
}

void Environment::setUpStandalone(Action action)
{
    if (FileCheck(kRegistration) == 0) return;
    standAloneAutoUpdate = TRUE;

    if (const std::string why = whyNotHere(); !why.empty()) {
        if (!needsRoot(action)) return;  // what only reads goes without the files
        throw Failure(kExitUnsafe, why, "start a copy of the program from a directory of root's, in one of root's");
    }
    const bool hasFile = exists(kPrivateFile), hasIpc = exists(ipcDirectory());
    // Somebody's own configuration is used as it is, not replaced.
    if (hasFile && textOf(kPrivateFile) != privateText()) return;

    std::error_code error;
    wereHere_        = hasFile;
    ownsFile_        = true;
    ownsIpc_         = !hasIpc || hasFile || fs::is_empty(ipcDirectory(), error);
    const s32 status = CheckStandaloneAutoUpdate();
    if (status != 0 && (needsRoot(action) || status != kFailure))
        throw status == kFailure ? Failure(kExitFailed, "the files of a standalone copy cannot be made",
                                           "start it where it may write: from " + currentDirectory() + " it made '" +
                                               kPrivateFile + "', beside the program the directory 'ipc'",
                                           status)
                                 : libraryFailure(action, status);
}

void Environment::removeOwnFiles() noexcept
try {
    if (wereHere_ && otherHoldsLock(lockFile().c_str())) return;  // they are that one's
    if (ownsFile_ && ownsIpc_)
        CleanIPCDirectory();
    else if (ownsFile_)
        ::unlink(kPrivateFile);
    if (ownsIpc_ && pExecutionDirectory != nullptr) removeEscapedParents(pExecutionDirectory);
    ownsFile_ = ownsIpc_ = false;
} catch (...) {
    // Memory is out: the next run removes them.
}

void Environment::checkExecutionPath(Action action) const
{
    if (const s32 status = CheckBinaryExecutionPath(); status != 0) throw libraryFailure(action, status);
}

void Environment::planForInterrupts(Action action) const
{
    Leftovers leftovers;
    leftovers.lockFile = lockFile();
    if (action == Action::update)
        leftovers.underLock = {kDownloadDirectory, kVerifierDirectory, installation() + "/.OXAAutoUpdate"};
    std::vector<std::string>& standalone = wereHere_ ? leftovers.underLock : leftovers.own;
    if (ownsFile_) standalone.push_back(currentDirectory() + '/' + kPrivateFile);
    if (ownsIpc_) standalone.push_back(ipcDirectory());
    removeOnInterrupt(std::move(leftovers));
}

}  // namespace qvoxasync
