/** @file OxaAutoUpdateLinuxUtilsDirectories.cpp  Directories: made, tested, removed, and their paths escaped. */
#include "OxaAutoUpdateLinuxUtils.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "OxaAutoUpdateLinuxTree.h"
#include "OxaAutoUpdateUtilsPaths.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr s32 kFailure = QVRFUTIL_FAILURE;

bool isDirectory(const astring* path, bool& exists) noexcept
{
    struct stat status {};
    exists = ::stat(path, &status) == 0;
    return exists && S_ISDIR(status.st_mode);
}

/** Sees to one directory of a path; all before it exist. */
bool provide(const astring* path, mode_t mode) noexcept
{
    bool exists = false;
    if (isDirectory(path, exists)) return true;
    if (exists) {
        __SysDbgPrint3("[AUFPI]CreateDirectory:  specified is not a directory path. \n");
        return false;
    }
    // Another process may have created it in the meantime.
    if (::mkdir(path, mode) == 0 || (errno == EEXIST && isDirectory(path, exists))) return true;
    __SysDbgPrint3("[AUFPI]CreateDirectory:  Directory creation failed. \n");
    return false;
}

s32 createPath(const astring* given, mode_t mode) noexcept
{
    if (given == nullptr) {
        __SysDbgPrint3("[AUFPI]CreateDirectory: Directory path is null. \n");
        return kFailure;
    }
    astring     path[kPathSize]{};
    std::size_t length = ::strnlen(given, kPathSize);
    if (length >= kPathSize) {
        __SysDbgPrint3("[AUFPI]CreateDirectory: Directory path is empty. \n");  // too long, in truth
        return kFailure;
    }
    strncpy_s(path, sizeof path, given, length);
    if (length > 0 && path[length - 1] == '/') path[--length] = '\0';
    for (std::size_t at = 1; at < length; ++at) {
        if (path[at] != '/') continue;
        path[at] = '\0';
        if (!provide(path, mode)) return kFailure;
        path[at] = '/';
    }
    return provide(path, mode) ? 0 : kFailure;
}

s32 isExistingDirectory(const astring* path) noexcept
{
    if (path == nullptr) {
        __SysDbgPrint3("[AUFPI]IsDirExist: Directory path is null.\n");
        return kFailure;
    }
    bool exists = false;
    if (isDirectory(path, exists)) {
        __SysDbgPrint4("[AUFPI]IsDirExist:  %s  is a directory. \n", path);
        return 0;
    }
    __SysDbgPrint3("[AUFPI]IsDirExist:  %s is not a directory.\n", path);
    return kFailure;
}

s32 escapeBlanks(astring* path) noexcept
{
    if (path == nullptr) {
        __SysDbgPrint3("[AUFPI]FolderPathCorrection: Directory path is pDirPath = null \n");
        return kFailure;
    }
    astring          escaped[kPathSize]{};
    u16              at    = 0;
    bool             found = false;
    std::string_view text(path, ::strnlen(path, kPathSize));
    for (const char c : text) {
        if (at + (c == ' ' ? 2U : 1U) >= kPathSize) {
            __SysDbgPrint3("[AUFPI]FolderPathCorrection: no room for the escaped path.\n");
            return kFailure;
        }
        if (c == ' ') {
            escaped[at++] = '\\';
            found         = true;
        }
        escaped[at++] = c;
    }
    if (found) strncpy_s(path, kPathSize, escaped, kPathSize - 1);
    __SysDbgPrint4("[AUFPI]Modified Directory Path %s: \n", path);
    return 0;
}

s32 removeDirectory(const astring* path) noexcept
{
    if (path != nullptr) return removeTree(path, Logging::on);
    __SysDbgPrint3("[AUFPI]DeleteDirectory: Directory path is pDirName = null \n");
    return kFailure;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 CreateDirectory(astring* pDirPath, mode_t mode)
{
    const qvrf::TraceScope trace("CreateDirectory", qvrf::kUpdateTrace);
    return qvrf::createPath(pDirPath, mode);
}

extern "C" s32 IsDirExist(const astring* pDirPath)
{
    const qvrf::TraceScope trace("IsDirExist", qvrf::kUpdateTrace);
    return qvrf::isExistingDirectory(pDirPath);
}

extern "C" s32 FolderPathCorrection(astring* pDirPath)
{
    const qvrf::TraceScope trace("FolderPathCorrection", qvrf::kUpdateTrace);
    return qvrf::escapeBlanks(pDirPath);
}

extern "C" s32 RemoveDirectory(astring* pDirName)
{
    const qvrf::TraceScope trace("RemoveDirectory", qvrf::kUpdateTrace);
    return qvrf::removeDirectory(pDirName);
}
