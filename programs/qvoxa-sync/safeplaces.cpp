/** @file safeplaces.cpp  Judges files and directories by their owners and modes. */
#include "safeplaces.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace qvoxasync {
namespace {

namespace fs = std::filesystem;

bool isForeign(const struct stat& status)
{
    return status.st_uid != 0 && status.st_uid != ::geteuid();
}

bool othersMayWrite(const struct stat& status)
{
    return (status.st_mode & S_IWOTH) != 0 || ((status.st_mode & S_IWGRP) != 0 && status.st_gid != 0);
}

std::string whyUnsafePlace(const fs::path& place, bool above)
{
    struct stat status {};
    if (::stat(place.c_str(), &status) != 0) return place.string() + " cannot be looked at";
    return whyUnsafe(status, place.string(), above);
}

}  // namespace

std::string whyUnsafe(const struct stat& status, const std::string& name, bool above)
{
    if (isForeign(status)) return name + " belongs to somebody else";
    const bool sticky = (status.st_mode & S_ISVTX) != 0;
    return othersMayWrite(status) && !(above && sticky) ? name + " can be written by others" : "";
}

std::string whyUnsafeFile(const std::string& path)
{
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return {};
    if (S_ISLNK(status.st_mode)) return path + " is a link";
    if (isForeign(status)) return path + " belongs to somebody else";
    if (!S_ISREG(status.st_mode)) return path + " is no file";
    if (status.st_nlink != 1) return path + " has another name elsewhere";
    return othersMayWrite(status) ? path + " can be written by others" : "";
}

std::string whyUnsafeDirectory(const std::string& path)
{
    std::error_code error;
    fs::path        place = fs::weakly_canonical(fs::absolute(path, error), error);
    bool            above = false;
    if (error) return path + " cannot be looked at";
    for (; !fs::exists(place, error) && place.has_relative_path(); place = place.parent_path()) above = true;
    for (;; place = place.parent_path(), above = true)
        if (std::string why = whyUnsafePlace(place, above); !why.empty() || !place.has_relative_path()) return why;
}

}  // namespace qvoxasync
