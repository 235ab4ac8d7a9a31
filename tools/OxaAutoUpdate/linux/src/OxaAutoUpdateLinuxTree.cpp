/** @file OxaAutoUpdateLinuxTree.cpp  Removes directory trees; makes fresh directories in public places. */
#include "OxaAutoUpdateLinuxTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string_view>

#include "OxaAutoUpdateLinuxDecide.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtilsPaths.h"
#include "owners.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr s32 kFailure = QVRFUTIL_FAILURE;

bool isDirectoryEntry(int parent, const dirent& entry) noexcept
{
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
    struct stat status {};  // some file systems do not tell
    return ::fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

Directory openedAt(int parent, const char* name) noexcept
{
    Descriptor fd(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    Directory  directory(fd ? ::fdopendir(fd.get()) : nullptr);
    if (directory) fd.release();
    return directory;
}

/**
 * One removal. Goes by descriptors, so that nobody who may write somewhere in the tree can lead it out of there by
 * putting a link into its way; the path is for the log.
 */
class Removal {
public:
    explicit Removal(Logging logging) noexcept : logging_(logging) {}

    void           begin(std::string_view path) noexcept { extend("", path); }
    const astring* path() const noexcept { return path_; }

    /** Removes what is in a directory. @param shown  its path in the log  @return false when it cannot be opened */
    bool emptyOut(int parent, const char* name, const char* shown) noexcept
    {
        const Directory directory = openedAt(parent, name);
        if (!directory) {
            if (logging_ == Logging::on) __SysDbgPrint3("[AUFPI]RemoveDirectory:open directory %s failed.\n", shown);
            return false;
        }
        while (const dirent* entry = ::readdir(directory.get())) {
            const std::string_view child(entry->d_name);
            if (child != "." && child != "..") removeEntry(::dirfd(directory.get()), *entry);
        }
        return true;
    }

private:
    void removeEntry(int parent, const dirent& entry) noexcept
    {
        if (!isDirectoryEntry(parent, entry)) {
            ::unlinkat(parent, entry.d_name, 0);
            return;
        }
        const std::size_t before = length_;
        if (!extend("/", entry.d_name)) return;
        std::optional<TraceScope> trace;
        if (logging_ == Logging::on) trace.emplace("RemoveDirectory", kUpdateTrace);
        emptyOut(parent, entry.d_name, path_);
        ::unlinkat(parent, entry.d_name, AT_REMOVEDIR);
        path_[length_ = before] = '\0';
    }

    bool extend(std::string_view separator, std::string_view name) noexcept
    {
        if (length_ + separator.size() + name.size() >= sizeof path_) return false;
        for (const std::string_view part : {separator, name}) length_ += part.copy(path_ + length_, part.size());
        path_[length_] = '\0';
        return true;
    }

    Logging     logging_;
    astring     path_[kPathSize]{};
    std::size_t length_ = 0;
};

/** A '/' behind a link would lead to what the link names. */
std::string_view withoutSlashes(std::string_view path) noexcept
{
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    return path;
}

void makeRoom(const astring* path) noexcept
{
    struct stat status {};
    if (::lstat(path, &status) == 0 && S_ISDIR(status.st_mode)) removeTree(path, Logging::off);
    ::unlink(path);
}

/** @param forbidden  mode bits that it must not have */
bool isOwnDirectory(const astring* path, mode_t forbidden = 0) noexcept
{
    struct stat status {};
    return ::lstat(path, &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
           (status.st_mode & forbidden) == 0;
}

}  // namespace

s32 removeTree(const astring* path, Logging logging) noexcept
{
    Removal removal(logging);
    // A path that does not fit stays empty, and an empty one names nothing.
    removal.begin(withoutSlashes({path, ::strnlen(path, kPathSize)}));
    if (!removal.emptyOut(AT_FDCWD, removal.path(), path)) return kFailure;
    ::rmdir(removal.path());
    return 0;
}

bool freshDirectory(astring* path, mode_t mode) noexcept
{
    constexpr int kTries = 5;  // another user may put something there between the two steps
    for (int tries = 0; tries < kTries; ++tries) {
        makeRoom(path);
        if (CreateDirectory(path, mode) == 0 && isOwnDirectory(path)) return true;
    }
    return false;
}

bool ownDirectory(astring* path, mode_t mode) noexcept
{
    constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;
    return isOwnDirectory(path, kOthersWrite) ? CreateDirectory(path, mode) == 0 : freshDirectory(path, mode);
}

void dropPackages(const astring* directory) noexcept
{
    const Directory entries = openedAt(AT_FDCWD, directory);
    while (const dirent* entry = entries ? ::readdir(entries.get()) : nullptr)
        if (classify(entry->d_name) == DownloadedFile::package) ::unlinkat(::dirfd(entries.get()), entry->d_name, 0);
}

}  // namespace qvrf
