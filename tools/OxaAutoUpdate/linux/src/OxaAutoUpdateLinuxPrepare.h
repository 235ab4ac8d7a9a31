/** @file OxaAutoUpdateLinuxPrepare.h  The steps that preparation and installation of an update are made of. */
#ifndef OXAAUTOUPDATELINUXPREPARE_H
#define OXAAUTOUPDATELINUXPREPARE_H

#include <sys/types.h>

#include "qvtypes.h"

namespace qvrf {

/** Fills pOXAInstallPath from the platform where nobody has done so. @return false when memory is out */
bool knowInstallPath() noexcept;

/** The agent's installation path; the fixed one where pOXAInstallPath holds none. */
const astring* installDirectory() noexcept;

/**
 * Claims the host for this process until it ends, by a lock on @p lockFile. Where there can be no lock file, the run
 * goes on without a lock.
 * @return false when another process holds the lock
 */
bool claimHost(astring* lockFile) noexcept;

/**
 * An empty directory of our own at a path where anybody may have put something: a run that was killed, or somebody who
 * wants to be root. Whatever is there goes.
 */
bool freshDirectory(astring* path, mode_t mode) noexcept;

/** Checks a package against its signature and the key in @p downloadDirectory. @return 0 good; 1 not; 9 out of memory
 */
s32 validateSignature(const astring* downloadDirectory, const astring* package) noexcept;

}  // namespace qvrf

#endif
