/** @file process.h  What every tool does with the process that it runs in. */
#ifndef QVTOOLS_PROCESS_H
#define QVTOOLS_PROCESS_H

#include <string>

#include "descriptor.h"

namespace qvtools {

/**
 * Comes first in main(): puts right what a caller may have left odd, on purpose or not.
 * - Standard descriptors that are closed are opened on /dev/null, or the next file would be taken for one of them.
 * - What the tool makes is nobody else's to write (umask 022 at least).
 * - Proxies, the file for TLS keys and what leads OpenSSL to other settings or modules are forgotten: traffic to the
 * BMC never leaves the host, nor do its secrets.
 * - The commands that library and tool run are found in the system's own places and do what they do everywhere; their
 *   ends are heard of, also where the caller ignored SIGCHLD.
 */
void settleProcess() noexcept;

/** The caller closed standard output: what is written there goes nowhere. */
bool hasNoOutput() noexcept;

/**
 * Why standard output does not take what is written, as far as that shows before it is: the caller closed it, or who
 * read it has gone. Empty: nothing is known.
 */
std::string whyUnwritable();

/** While it lives, what the library and its commands print goes to standard error: standard output is the results'. */
class StdoutToStderr {
public:
    StdoutToStderr();
    ~StdoutToStderr();
    StdoutToStderr(StdoutToStderr&&) = delete;

private:
    Descriptor saved_;
};

}  // namespace qvtools

#endif
