/** @file updatelock.h  Is another update at work on this host? */
#ifndef QVOXASYNC_UPDATELOCK_H
#define QVOXASYNC_UPDATELOCK_H

namespace qvoxasync {

/**
 * Does another process hold the lock of an update? The lock file stays open until this process ends: closing it would
 * give up a lock of this process's own. Fit for a signal handler.
 */
bool otherHoldsLock(const char* lockFile) noexcept;

}  // namespace qvoxasync

#endif
