/** @file curlLxSignal.h  Keeps libcurl's hands off the host's SIGPIPE. */
#ifndef CURLLXSIGNAL_H
#define CURLLXSIGNAL_H

#include <csignal>

namespace qvrf {

/**
 * Around whatever may write to a socket. libcurl ignores SIGPIPE for the whole process during a transfer and then puts
 * back what it found. With transfers on several threads one of them would find what another one set, and the host's
 * handler would be lost; a third could find itself without protection, and a BMC that cuts the connection would end
 * the process. So the first of overlapping holds puts the host's handler aside and the last one puts it back: in
 * between libcurl finds the signal ignored, and leaves it so. The signal is blocked in this thread besides.
 */
class PipeSignalHeld {
public:
    PipeSignalHeld() noexcept;
    ~PipeSignalHeld();
    PipeSignalHeld(PipeSignalHeld&&) = delete;

private:
    sigset_t pipe_;
    sigset_t before_;
    bool     pendingBefore_;
};

}  // namespace qvrf

#endif
