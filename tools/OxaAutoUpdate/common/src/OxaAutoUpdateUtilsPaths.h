/** @file OxaAutoUpdateUtilsPaths.h  Where the agent lives; what the paths of an update have in common. */
#ifndef OXAAUTOUPDATEUTILSPATHS_H
#define OXAAUTOUPDATEUTILSPATHS_H

#include <sys/types.h>

#include "qvtypes.h"

namespace qvrf {

/** Room for a path or a command, in bytes, NUL included. */
inline constexpr u32 kPathSize = 4096;

/** What directories are made with, less the process's mask. */
inline constexpr mode_t kDirectoryMode = 0755;

/** Where an agent is installed whose place the platform does not know. */
inline constexpr char kUsualInstallPath[] = "/opt/zelmar/kappel/Oxa";

/** The agent's registration, below its installation; and there where an agent usually is. */
inline constexpr char kRegistration[]      = "etc/qvoxareg.cfg";
inline constexpr char kUsualRegistration[] = "/opt/zelmar/kappel/Oxa/etc/qvoxareg.cfg";

/** Below the installation, too: the lock, the unpacked package, and a place that no update may be started from. */
inline constexpr char kLockFile[]       = ".autoupdate";
inline constexpr char kStaging[]        = ".OXAAutoUpdate";
inline constexpr char kForbiddenPlace[] = ".update";

/** Asks the platform for the agent's installation path, into kPathSize bytes. @return the platform's status */
s32 askInstallPath(astring* path) noexcept;

/** Fills pOXAInstallPath from the platform where nobody has done so. @return false when memory is out */
bool knowInstallPath() noexcept;

/** The agent's installation path; the usual one where pOXAInstallPath holds none. */
const astring* installDirectory() noexcept;

}  // namespace qvrf

#endif
