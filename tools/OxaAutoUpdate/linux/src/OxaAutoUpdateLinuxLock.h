/** @file OxaAutoUpdateLinuxLock.h  The lock that keeps a second update off the host. */
#ifndef OXAAUTOUPDATELINUXLOCK_H
#define OXAAUTOUPDATELINUXLOCK_H

#include "owners.h"

namespace qvrf {

enum class HostClaim {
    ours,     ///< until this process ends
    refused,  ///< another update's, or that of an installer whose update was killed
    none      ///< there is no lock file to be had
};

/**
 * Claims the host by the file @p path, which is made readable to this user alone. Locks of processes that are neither
 * root's nor this user's refuse nothing: every user who could once open the file can hold some.
 */
HostClaim claimHost(const char* path) noexcept;

/**
 * While it lives, the commands that this process starts keep the host claimed beyond its end: an installer goes on
 * without its update.
 */
class ClaimInherited {
public:
    ClaimInherited() noexcept;
    ClaimInherited(ClaimInherited&&) = delete;
    ~ClaimInherited();
};

}  // namespace qvrf

#endif
