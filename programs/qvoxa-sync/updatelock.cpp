/** @file updatelock.cpp  Asks for the record lock that the library takes. */
#include "updatelock.h"

#include <fcntl.h>
#include <unistd.h>

namespace qvoxasync {

bool otherHoldsLock(const char* lockFile) noexcept
{
    const int    fd = ::open(lockFile, O_RDWR | O_CLOEXEC);
    struct flock whole {};
    whole.l_type   = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fd >= 0 && ::fcntl(fd, F_GETLK, &whole) == 0 && whole.l_type != F_UNLCK;
}

}  // namespace qvoxasync
