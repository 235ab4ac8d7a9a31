/** @file OxaAutoUpdateLinuxPrepare.h  The steps that preparation and installation of an update are made of. */
#ifndef OXAAUTOUPDATELINUXPREPARE_H
#define OXAAUTOUPDATELINUXPREPARE_H

#include "qvtypes.h"

namespace qvrf {

/**
 * Claims the host for this process until it ends, by a lock on @p lockFile. Where there can be no lock file, the run
 * goes on without a lock.
 * @return false when another update has the lock, or the installer of one that was killed
 */
bool AutoUpdateCheckForAnotherInstance(astring* lockFile) noexcept;

/** The name of an unpacked package's installer. */
inline constexpr char kInstaller[] = "setup.sh";

/** Checks a package against its signature and the key beside it. @return 0 good; 1 not; 9 out of memory */
s32 Signaturevalidate(const astring* downloadDirectory, const astring* package) noexcept;

}  // namespace qvrf

#endif
