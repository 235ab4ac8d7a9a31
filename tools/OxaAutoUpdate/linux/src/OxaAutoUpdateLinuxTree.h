/** @file OxaAutoUpdateLinuxTree.h  Directory trees, removed without being led out of them. */
#ifndef OXAAUTOUPDATELINUXTREE_H
#define OXAAUTOUPDATELINUXTREE_H

#include <sys/types.h>

#include "qvtypes.h"

namespace qvrf {

enum class Logging { on, off };

/** RemoveDirectory, and the same for somebody who makes room on the quiet. */
s32 removeTree(const astring* path, Logging logging) noexcept;

/**
 * An empty directory of our own at a path where anybody may have put something: a run that was killed, or somebody who
 * wants to be root. Whatever is there goes.
 */
bool freshDirectory(astring* path, mode_t mode) noexcept;

}  // namespace qvrf

#endif
