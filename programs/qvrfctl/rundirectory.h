/** @file rundirectory.h  The user's own directory for what lives as long as the host runs: notes and locks. */
#ifndef QVRFCTL_RUNDIRECTORY_H
#define QVRFCTL_RUNDIRECTORY_H

#include <string>

#include "descriptor.h"

namespace qvrfctl {

/** A file that is open, for this user alone. */
class OwnFile {
public:
    OwnFile() = default;
    /** Opens it, never through a link; bool(): whether that worked. */
    OwnFile(const std::string& path, int flags);

    explicit operator bool() const noexcept { return bool(fd_); }
    int      get() const noexcept { return fd_.get(); }
    /** @return whether no other process holds it; given up with the file */
    bool lock() const noexcept;
    void close() noexcept;

private:
    qvtools::Descriptor fd_;
};

/**
 * /run/qvrfctl for root, qvrfctl in XDG_RUNTIME_DIR for others; made where it is missing. Empty: there is none that is
 * nobody else's.
 */
std::string runDirectory();

}  // namespace qvrfctl

#endif
