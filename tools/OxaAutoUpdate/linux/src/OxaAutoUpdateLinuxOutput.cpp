/** @file OxaAutoUpdateLinuxOutput.cpp  Opens files for writing in places that others can write, too. */
#include "OxaAutoUpdateLinuxOutput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string_view>

namespace qvrf {
namespace {

constexpr mode_t kUsualMode   = 0644;
constexpr mode_t kPrivateMode = 0600;
constexpr int    kMostLinks   = 8;

constexpr int kCreate = O_WRONLY | O_CREAT | O_CLOEXEC;
constexpr int kNoTrap = kCreate | O_NOFOLLOW | O_NONBLOCK;  // follows no link and waits for no reader of a pipe

using PathText = std::array<char, PATH_MAX>;

Descriptor refused(int why) noexcept
{
    errno = why;
    return Descriptor();
}

File stream(Descriptor file) noexcept
{
    File opened(file ? ::fdopen(file.get(), "wb") : nullptr);
    if (opened) file.release();
    return opened;
}

bool isForeign(const struct stat& status) noexcept
{
    return status.st_uid != ::geteuid() && status.st_uid != 0;
}

bool othersCanWrite(int directory) noexcept
{
    struct stat status {};
    return ::fstat(directory, &status) != 0 || isForeign(status) || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

/** A path's directory, and its last name behind that. */
Descriptor directoryOf(int from, const char* path, const char*& name) noexcept
{
    const std::string_view text(path);
    const std::size_t      behind = text.rfind('/') + 1;  // 0 without a slash
    PathText               directory{};
    if (behind >= directory.size()) return refused(ENAMETOOLONG);
    (behind == 0 ? std::string_view(".") : text.substr(0, behind)).copy(directory.data(), directory.size() - 1);
    name = path + behind;
    return Descriptor(::openat(from, directory.data(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/**
 * An empty file stays untouched: to some file systems a truncation says that a file is replaced, and its close then
 * waits for the disk.
 */
bool emptied(int file, const struct stat& status) noexcept
{
    return status.st_size == 0 || ::ftruncate(file, 0) == 0;
}

/** What was opened in a directory that others can write, made ready to be written. */
Descriptor judged(Descriptor file) noexcept
{
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) return Descriptor();
    const bool isFile = S_ISREG(status.st_mode);
    if (isFile ? status.st_nlink > 1 : isForeign(status)) return refused(EACCES);
    if (isFile && !emptied(file.get(), status)) return Descriptor();
    return ::fcntl(file.get(), F_SETFL, ::fcntl(file.get(), F_GETFL) & ~O_NONBLOCK) == 0 ? std::move(file)
                                                                                         : Descriptor();
}

Descriptor opened(int from, const char* path, int links) noexcept;

/** What a link in such a directory leads to, when the link is our own. */
Descriptor followed(int directory, const char* name, int links) noexcept
{
    const Descriptor link(::openat(directory, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat      status {};
    PathText         target{};
    if (links == 0 || !link || ::fstat(link.get(), &status) != 0 || isForeign(status)) return refused(EACCES);
    if (::readlinkat(link.get(), "", target.data(), target.size() - 1) < 0) return refused(EACCES);
    return opened(directory, target.data(), links - 1);
}

/** Opens a pipe of our own, which waits for a reader as any pipe does. */
Descriptor awaited(int directory, const char* name) noexcept
{
    struct stat status {};
    const bool  ours = ::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && !isForeign(status);
    if (!ours || !S_ISFIFO(status.st_mode)) return refused(ours ? ENXIO : EACCES);
    Descriptor file(::openat(directory, name, kNoTrap & ~O_NONBLOCK, kUsualMode));
    return file ? judged(std::move(file)) : Descriptor();
}

Descriptor opened(int from, const char* path, int links) noexcept
{
    const char*      name      = path;
    const Descriptor directory = directoryOf(from, path, name);
    if (!directory) return Descriptor();
    if (!othersCanWrite(directory.get()))
        return Descriptor(::openat(directory.get(), name, kCreate | O_TRUNC, kUsualMode));
    Descriptor file(::openat(directory.get(), name, kNoTrap, kUsualMode));
    if (file) return judged(std::move(file));
    if (errno == ELOOP) return followed(directory.get(), name, links);
    return errno == ENXIO ? awaited(directory.get(), name) : Descriptor();
}

}  // namespace

File openForWriting(const char* path) noexcept
{
    return stream(opened(AT_FDCWD, path, kMostLinks));
}

File openPrivate(const char* path) noexcept
{
    Descriptor  file(::open(path, kNoTrap, kPrivateMode));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) return nullptr;
    if (!S_ISREG(status.st_mode) || status.st_nlink != 1 || isForeign(status)) {
        errno = EEXIST;
        return nullptr;
    }
    // Some file systems have no modes to set; who may read there is decided elsewhere.
    if ((status.st_mode & 07777) != kPrivateMode && ::fchmod(file.get(), kPrivateMode) != 0 && errno != EPERM)
        return nullptr;
    return emptied(file.get(), status) ? stream(std::move(file)) : nullptr;
}

}  // namespace qvrf
