/** @file curlLxSignal.h  Keeps libcurl's hands off the host's SIGPIPE. */
#ifndef CURLLXSIGNAL_H
#define CURLLXSIGNAL_H

#include <csignal>
#include <optional>

namespace qvrf {

/**
 * Blocks SIGPIPE in this thread, and takes back one that came meanwhile. All that it takes around a transfer with
 * CURLOPT_NOSIGNAL. It does not look whether the host ignores the signal anyway: another thread's libcurl may just be
 * the one that does, and stop in the middle of this transfer.
 */
class PipeSignalBlocked {
public:
    PipeSignalBlocked() noexcept;
    ~PipeSignalBlocked();
    PipeSignalBlocked(PipeSignalBlocked&&) = delete;
    /** One that the host's thread had waiting before is the host's still. */
    bool wasPending() const noexcept { return wasPending_; }

private:
    sigset_t pipe_;
    sigset_t before_;
    bool     wasPending_;
};

/**
 * libcurl ignores SIGPIPE for the whole process during a transfer and then puts back what it found. With transfers on
 * several threads one of them would find what another one set, and the host's handler would be lost; a third could find
 * itself without protection, and a BMC that cuts the connection would end the process. So the first of these that
 * overlap puts the host's handler aside and the last one puts it back: in between libcurl finds the signal ignored, and
 * leaves it so. For threads that have the signal blocked.
 */
class PipeSignalAside {
public:
    PipeSignalAside() noexcept;
    ~PipeSignalAside();
    PipeSignalAside(PipeSignalAside&&) = delete;
};

/** Both: around whatever may write to a socket while libcurl looks after signals itself. */
class PipeSignalHeld {
public:
    PipeSignalHeld() noexcept { aside_.emplace(); }
    ~PipeSignalHeld();
    PipeSignalHeld(PipeSignalHeld&&) = delete;

private:
    PipeSignalBlocked              blocked_;
    std::optional<PipeSignalAside> aside_;
};

}  // namespace qvrf

#endif
