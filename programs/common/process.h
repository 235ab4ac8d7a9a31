/** @file process.h  What every tool does with the process that it runs in. */
#ifndef QVTOOLS_PROCESS_H
#define QVTOOLS_PROCESS_H

namespace qvtools {

/**
 * Comes first in main(): puts right what a caller may have left odd. Standard descriptors that are closed are opened on
 * /dev/null, or the next file would be taken for one of them; what the tool makes is nobody else's to write (umask
 * 022); proxies and the file for TLS keys are forgotten: traffic to the BMC never leaves the host, nor do its secrets.
 */
void beginProcess() noexcept;

/** For a tool that runs commands as root: they are found in the system's own places, and do what they do everywhere. */
void settleCommands() noexcept;

/** While it lives, what the library and its commands print goes to standard error: standard output is the results'. */
class StdoutToStderr {
public:
    StdoutToStderr();
    ~StdoutToStderr();
    StdoutToStderr(StdoutToStderr&&) = delete;

private:
    int saved_;
};

}  // namespace qvtools

#endif
