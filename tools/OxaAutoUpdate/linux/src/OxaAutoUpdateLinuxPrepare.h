/** @file OxaAutoUpdateLinuxPrepare.h  The steps that preparation and installation of an update are made of. */
#ifndef OXAAUTOUPDATELINUXPREPARE_H
#define OXAAUTOUPDATELINUXPREPARE_H

#include "qvtypes.h"

namespace qvrf {

/** Fills pOXAInstallPath from the platform where nobody has done so. @return false when memory is out */
bool knowInstallPath() noexcept;

/** The agent's installation path; the fixed one where pOXAInstallPath holds none. */
const astring* installDirectory() noexcept;

/**
 * Claims the host for this process until it ends, by a lock on @p lockFile. Where there can be no lock file, the run
 * goes on without a lock.
 * @return false when another update has the lock, or the installer of one that was killed
 */
bool AutoUpdateCheckForAnotherInstance(astring* lockFile) noexcept;

/** DownloadOxaAutoUpdateFile for this system's files alone, which nobody else may read or change. */
s32 downloadOwnPackage(astring* directory) noexcept;

/** The name of an unpacked package's installer. */
inline constexpr char kInstaller[] = "setup.sh";

/** Checks a package against its signature and the key in @p downloadDirectory. @return 0 good; 1 not; 9 out of memory
 */
s32 Signaturevalidate(const astring* downloadDirectory, const astring* package) noexcept;

}  // namespace qvrf

#endif
