/** @file OxaAutoUpdateLinuxTree.h  Directory trees, removed without being led out of them. */
#ifndef OXAAUTOUPDATELINUXTREE_H
#define OXAAUTOUPDATELINUXTREE_H

#include <sys/types.h>

#include "qvtypes.h"

namespace qvrf {

enum class Logging { on, off };

/** RemoveDirectory with or without its log lines. */
s32 removeTree(const astring* path, Logging logging) noexcept;

/**
 * Makes an empty directory of this user's own at a path where anything may be: the remains of a run that was killed, or
 * what another user put there on purpose. Whatever is there is removed.
 */
bool freshDirectory(astring* path, mode_t mode) noexcept;

/** The same, but a directory of this user's own that nobody else can write stays with what is in it. */
bool ownDirectory(astring* path, mode_t mode) noexcept;

/** Removes the update packages from a directory. */
void dropPackages(const astring* directory) noexcept;

}  // namespace qvrf

#endif
