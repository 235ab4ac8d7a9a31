/** @file trust.h  Whether a file that settings, keys or lines go through is in nobody else's hands. */
#ifndef TRUST_H
#define TRUST_H

#include <sys/stat.h>
#include <unistd.h>

namespace qvplatform {

constexpr mode_t kWritableByOthers = S_IWGRP | S_IWOTH;
constexpr mode_t kOpenToOthers     = S_IRWXG | S_IRWXO;

/** Root trusts root alone; everybody else trusts root and himself. */
inline bool isForeign(const struct stat& status) noexcept
{
    return status.st_uid != 0 && status.st_uid != ::geteuid();
}

/**
 * What speaks against a file that was opened, in words; nullptr: nothing. A second name means that somebody who may not
 * write the file could still have chosen where it stands.
 * @param forbidden  kWritableByOthers or kOpenToOthers
 */
inline const char* objectionTo(const struct stat& file, mode_t forbidden) noexcept
{
    if (!S_ISREG(file.st_mode)) return "not a regular file";
    if (file.st_nlink != 1) return "it has more than one name";
    if (isForeign(file)) return "it belongs to another user";
    if ((file.st_mode & forbidden & kWritableByOthers) != 0) return "other users can write it (chmod go-w)";
    if ((file.st_mode & forbidden) != 0) return "other users can read it (chmod go-rwx)";
    return nullptr;
}

}  // namespace qvplatform

#endif
