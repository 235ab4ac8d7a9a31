/** @file environment.cpp  Checks and set-up, in the order in which the library's operations need each other. */
#include "environment.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "interrupts.h"
#include "updatelock.h"

namespace qvoxasync {
namespace {

namespace fs = std::filesystem;

constexpr char kRegistration[] = "/opt/zelmar/kappel/Oxa/etc/qvoxareg.cfg";
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

enum class Kind { file, directory };

/**
 * Why this user had better not write there: somebody else may have laid it out. NULL: nothing is wrong. A file of the
 * user's own in a directory's place is replaced by the library; nobody replaces what is in a file's place.
 */
const char* whyForeign(const std::string& path, Kind kind)
{
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return nullptr;
    if (S_ISLNK(status.st_mode)) return " is a link";
    if (status.st_uid != ::geteuid()) return " belongs to somebody else";
    return kind == Kind::file && !S_ISREG(status.st_mode) ? " is no file" : nullptr;
}

void refuseForeign(const std::string& path, Kind kind)
{
    if (const char* why = whyForeign(path, kind); why != nullptr)
        throw Failure(kExitUnsafe, path + why, "find out who made it, and remove it");
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

/** The directories that came to be only because their names have backslashes; not when something else is in them. */
void removeEscapedParents(fs::path directory)
{
    while (directory.string().find("\\ ") != std::string::npos && ::rmdir(directory.c_str()) == 0)
        directory = directory.parent_path();
}

}  // namespace

Environment::Environment(Action action, std::string program)
{
    std::string path = programPath(std::move(program));
    if (const s32 status = SetExecutionDirectory(path.data()); status != 0) throw libraryFailure(action, status);
    if (needsRoot(action)) {
        if (const s32 status = AutoUpdateCheckUserPrivilege(); status != 0) throw libraryFailure(action, status);
    }
    if (action == Action::update)
        for (const char* directory : {kDownloadDirectory, kVerifierDirectory})
            refuseForeign(directory, Kind::directory);
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

    if (needsRoot(action)) refuseForeign(kPrivateFile, Kind::file);
    if (whyForeign(kPrivateFile, Kind::file) != nullptr) return;  // what only reads goes without the files
    const bool hasFile = exists(kPrivateFile), hasIpc = exists(ipcDirectory());
    // Somebody's own configuration is used as it is, not replaced.
    if (hasFile && textOf(kPrivateFile) != "suptlib.vardatapath=" + currentDirectory() + '\n') return;

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
