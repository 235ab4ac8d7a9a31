/** @file OxaAutoUpdateLinuxLock.h  The lock that keeps a second update off the host. */
#ifndef OXAAUTOUPDATELINUXLOCK_H
#define OXAAUTOUPDATELINUXLOCK_H

#include "owners.h"

namespace qvrf {

enum class Claim {
    ours,     ///< until this process ends
    refused,  ///< another update's, or that of an installer whose update was killed
    none      ///< there is no lock file to be had
};

/**
 * Claims the host by the file @p path, which is made readable to this user alone. Locks of processes that are not
 * root's refuse nothing: whoever could read the file once can hold some.
 */
Claim claimHost(const char* path) noexcept;

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
