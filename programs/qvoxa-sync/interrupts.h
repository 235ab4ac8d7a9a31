/** @file interrupts.h  SIGINT, SIGTERM and SIGHUP: leave no temporary files behind, then end. */
#ifndef QVOXASYNC_INTERRUPTS_H
#define QVOXASYNC_INTERRUPTS_H

#include <string>
#include <vector>

namespace qvoxasync {

struct Leftovers {
    std::vector<std::string> own;        ///< files and directories that are this run's in any case
    std::vector<std::string> underLock;  ///< those that other runs use too: this one's while no other holds the lock
    std::string              lockFile;
};

/**
 * From now on a signal ends the program, after it removed @p leftovers. Called again, it replaces them.
 *
 * While the library waits for a command (tar, the installer), the signal is passed on to that command instead: an
 * installation is not torn apart under its installer, which knows better how to end. The run then goes on by the
 * command's result. Signals that this process was started to ignore ("nohup") stay ignored.
 *
 * For the main thread, before others start; those keep the signals blocked.
 */
void removeOnInterrupt(Leftovers leftovers);

/** A reader of standard output that goes away ("| head") must not end an update half-way. */
void surviveBrokenPipes() noexcept;

}  // namespace qvoxasync

#endif
