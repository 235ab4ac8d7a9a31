/** @file rundirectory.cpp  Finds the directory and opens what is in it. */
#include "rundirectory.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qvrfctl {
namespace {

constexpr mode_t kOthersMayWrite = S_IWGRP | S_IWOTH;

bool isOwn(const char* directory, mode_t forbidden) noexcept
{
    struct stat about {};
    return ::lstat(directory, &about) == 0 && S_ISDIR(about.st_mode) && about.st_uid == ::geteuid() &&
           (about.st_mode & forbidden) == 0;
}

}  // namespace

OwnFile::OwnFile(const std::string& path, int flags)
    : fd_(::open(path.c_str(), flags | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, S_IRUSR | S_IWUSR))
{
}

bool OwnFile::lock() const noexcept
{
    return ::flock(fd_.get(), LOCK_EX | LOCK_NB) == 0;
}

void OwnFile::close() noexcept
{
    fd_ = qvtools::Descriptor();
}

std::string runDirectory()
{
    const char* above = ::geteuid() == 0 ? "/run" : ::secure_getenv("XDG_RUNTIME_DIR");
    if (above == nullptr || *above != '/' || !isOwn(above, kOthersMayWrite)) return {};
    const std::string directory = std::string(above) + "/qvrfctl";
    ::mkdir(directory.c_str(), S_IRWXU);
    return isOwn(directory.c_str(), S_IRWXG | S_IRWXO) ? directory : std::string();
}

}  // namespace qvrfctl
