/** @file environment.h  Where the tool runs from, and what has to stand there while it runs. */
#ifndef QVOXASYNC_ENVIRONMENT_H
#define QVOXASYNC_ENVIRONMENT_H

#include <string>
#include <vector>

#include "outcome.h"

namespace qvoxasync {

/** The directories that an update works in, beside the installation. */
inline constexpr char kDownloadDirectory[] = "/tmp/.AutoUpdate";
inline constexpr char kVerifierDirectory[] = "/tmp/.signature";

/**
 * The checks before an action and the files of a copy that runs where no agent is installed; those are removed when it
 * goes. The current directory must stay the same as long as it lives.
 */
class Environment {
public:
    /** @param program  as it was started; @throws Failure when the action must not run here */
    Environment(Action action, std::string program);
    ~Environment();
    Environment(Environment&&) = delete;

private:
    void setUpStandalone(Action action);
    void removeOwnFiles() noexcept;
    void checkExecutionPath(Action action) const;
    void planForInterrupts(Action action) const;

    bool ownsFile_ = false;  ///< .qvoxareg.cfg in the current directory
    bool ownsIpc_  = false;  ///< ipc in the execution directory
    bool wereHere_ = false;  ///< left by a run that was killed, or by one that is at work
};

}  // namespace qvoxasync

#endif
