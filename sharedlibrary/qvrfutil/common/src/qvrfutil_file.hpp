/**
 * @file qvrfutil_file.hpp
 * The file that a download goes to: whole or not there. Included by qvrfutil.hpp; programs have no use for it alone.
 *
 * A regular file is replaced by one that was written beside it; what is no regular file is written in place. Root
 * downloads into directories that others can write too, so who owns what is there counts: a file, pipe, device or link
 * of another user's is refused, root's own excepted. A link of one's own is followed.
 */
#ifndef QVRFUTIL_FILE_HPP
#define QVRFUTIL_FILE_HPP

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "qvrfutil_threads.hpp"

namespace qvrfutil {
namespace detail {

/** A file descriptor. */
class Descriptor {
public:
    explicit Descriptor(int fd = -1) noexcept : fd_(fd) {}
    ~Descriptor() { reset(-1); }
    Descriptor(Descriptor&&) = delete;
    void reset(int fd) noexcept
    {
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
    }
    explicit operator bool() const noexcept { return fd_ >= 0; }
    int      get() const noexcept { return fd_; }

private:
    int fd_;
};

/** The place a body is written to beside the wanted file, which it replaces when the body is complete. */
class PartFile {
public:
    explicit PartFile(std::string wanted) : wanted_(std::move(wanted)) {}
    ~PartFile()
    {
        if (isBeside_) ::unlink(path_.c_str());
    }
    PartFile(PartFile&&) = delete;

    /** @return 0, or the errno of what keeps the file from being written */
    int make()
    {
        if (const int error = followLink(); error != 0) return error;
        struct stat there {};
        const bool  exists = ::lstat(wanted_.c_str(), &there) == 0;
        if (exists && S_ISDIR(there.st_mode)) return EISDIR;
        if (exists && !S_ISREG(there.st_mode)) return openInPlace();
        if (exists && there.st_uid != ::geteuid()) return EPERM;
        if (exists && ::access(wanted_.c_str(), W_OK) != 0) return errno;
        clearLeftOvers();
        if (const int error = openBeside(); error != 0) return error;
        return exists ? takeOverMode(there) : 0;
    }
    /** @return false: see error() */
    bool write(std::string_view bytes) noexcept
    {
        while (!bytes.empty()) {
            const ssize_t count = ::write(file_.get(), bytes.data(), bytes.size());
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) error_ = errno;
            if (count < 0) return false;
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }
    int error() const noexcept { return error_; }
    /** Puts it in the wanted file's place, once it is on the disk. @return 0 or an errno */
    int keep()
    {
        if (!isBeside_) return 0;
        if (::fsync(file_.get()) != 0) return errno;
        if (::rename(path_.c_str(), wanted_.c_str()) != 0) return errno;
        isBeside_ = false;
        return 0;
    }
    /** Where the body grows. */
    const std::string& path() const noexcept { return path_; }

private:
    static constexpr char kEnding[]  = ".part";
    static constexpr int  kMostTries = 100;
    static constexpr int  kMostLinks = 40;

    static bool isTrusted(uid_t owner) noexcept { return owner == ::geteuid() || owner == 0; }

    /** A link of one's own, or root's, as /dev/stdout is, stands for what it points at. */
    int followLink()
    {
        struct stat there {};
        for (int links = 0; ::lstat(wanted_.c_str(), &there) == 0 && S_ISLNK(there.st_mode); ++links) {
            if (links == kMostLinks) return ELOOP;
            if (!isTrusted(there.st_uid)) return EPERM;
            char          text[PATH_MAX];
            const ssize_t length = ::readlink(wanted_.c_str(), text, sizeof text);
            if (length < 0) return errno;
            const std::string_view target(text, static_cast<std::size_t>(length));
            // What stands behind a descriptor in /proc is reached through the link alone.
            if (target.empty() || (target.front() != '/' && target.find(":[") != target.npos)) return 0;
            struct stat behind {};
            if (wanted_.rfind("/proc/", 0) == 0 && ::stat(wanted_.c_str(), &behind) == 0 && !S_ISREG(behind.st_mode))
                return 0;
            wanted_ = target.front() == '/' ? std::string(target) : directory() + std::string(target);
        }
        return 0;
    }

    /** With its last slash; empty for the current one. */
    std::string directory() const { return wanted_.substr(0, wanted_.rfind('/') + 1); }

    /** By a handle of what was looked at, so that nothing else can be put in its place in between. */
    int openInPlace()
    {
        path_ = wanted_;
        const Descriptor handle(::open(wanted_.c_str(), O_PATH | O_CLOEXEC));
        struct stat      about {};
        if (!handle || ::fstat(handle.get(), &about) != 0) return errno;
        if (!isTrusted(about.st_uid)) return EPERM;
        file_.reset(::open(("/proc/self/fd/" + std::to_string(handle.get())).c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
        return file_ ? 0 : errno;
    }

    int openBeside()
    {
        constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
        for (int tries = 0; tries < kMostTries; ++tries) {
            path_ = wanted_ + '.' + std::to_string(Clock::now().time_since_epoch().count()) + kEnding;
            file_.reset(::open(path_.c_str(), kFlags, 0666));
            if (!file_ && errno != EEXIST) return errno;
            if (!file_) continue;
            isBeside_ = true;
            // Held as long as this process lives: see clearLeftOvers.
            return ::flock(file_.get(), LOCK_EX | LOCK_NB) == 0 || errno == ENOLCK || errno == EOPNOTSUPP ? 0 : errno;
        }
        return EEXIST;
    }

    /** Never more for group and others than the file had, which another group may have been meant by. */
    int takeOverMode(const struct stat& there)
    {
        mode_t mode = there.st_mode & 0777;
        if (::fchown(file_.get(), static_cast<uid_t>(-1), there.st_gid) != 0) mode &= ~static_cast<mode_t>(0070);
        return ::fchmod(file_.get(), mode) == 0 ? 0 : errno;
    }

    struct ClosesDirectory {
        void operator()(DIR* directory) const noexcept { ::closedir(directory); }
    };
    /** What killed processes left of downloads to the same place: nobody holds it any more. */
    void clearLeftOvers() const
    {
        const std::string                           where = directory();
        const std::string                           name  = wanted_.substr(where.size()) + '.';
        const std::unique_ptr<DIR, ClosesDirectory> all(::opendir(where.empty() ? "." : where.c_str()));
        while (const dirent* const entry = all ? ::readdir(all.get()) : nullptr)
            if (isLeftOver(entry->d_name, name)) clear(where + entry->d_name);
    }
    static bool isLeftOver(std::string_view entry, std::string_view name) noexcept
    {
        constexpr std::string_view ending = kEnding;
        if (entry.size() <= name.size() + ending.size() || entry.substr(0, name.size()) != name) return false;
        if (entry.substr(entry.size() - ending.size()) != ending) return false;
        entry = entry.substr(name.size(), entry.size() - name.size() - ending.size());
        return entry.find_first_not_of("0123456789") == entry.npos;
    }
    static void clear(const std::string& path)
    {
        const Descriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct stat      about {};
        if (!file || ::fstat(file.get(), &about) != 0 || !S_ISREG(about.st_mode) || about.st_uid != ::geteuid()) return;
        if (::flock(file.get(), LOCK_EX | LOCK_NB) == 0) ::unlink(path.c_str());
    }

    std::string wanted_;
    std::string path_;
    Descriptor  file_;
    bool        isBeside_ = false;
    int         error_    = 0;
};

}  // namespace detail
}  // namespace qvrfutil

#endif
