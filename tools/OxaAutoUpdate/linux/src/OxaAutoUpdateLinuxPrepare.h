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
 * @param installer  of an update before this one, should it still run
 * @return false when another process holds the lock, or that installer is at work
 */
bool AutoUpdateCheckForAnotherInstance(astring* lockFile, const astring* installer) noexcept;

/** Does another process of this user run @p program, itself or as its interpreter? */
bool isAtWork(const astring* program) noexcept;

/**
 * An empty directory of our own at a path where anybody may have put something: a run that was killed, or somebody who
 * wants to be root. Whatever is there goes.
 */
bool freshDirectory(astring* path, mode_t mode) noexcept;

/** The name of an unpacked package's installer. */
inline constexpr char kInstaller[] = "setup.sh";

/** Checks a package against its signature and the key in @p downloadDirectory. @return 0 good; 1 not; 9 out of memory
 */
s32 Signaturevalidate(const astring* downloadDirectory, const astring* package) noexcept;

}  // namespace qvrf

#endif
