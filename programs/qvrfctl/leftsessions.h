/** @file leftsessions.h  Sessions that a killed command left on the BMC: the next command closes them. */
#ifndef QVRFCTL_LEFTSESSIONS_H
#define QVRFCTL_LEFTSESSIONS_H

#include <string>
#include <vector>

#include "qvrfutil.h"
#include "rundirectory.h"

namespace qvrfctl {

/**
 * A note of this process's session, for the case that the process is killed: in the user's run-time directory (for root
 * /run/qvrfctl), for him alone, gone with the session. It holds the session's own token, so that only the session that
 * it was written for can be closed with it, not one that got the same number after the BMC's restart; and so that this
 * needs no other session. Whoever may read it may ask the BMC for login tokens just as well.
 *
 * Without a directory that is nobody else's there are no notes.
 */
class SessionNote {
public:
    SessionNote() = default;
    ~SessionNote() { remove(); }
    SessionNote(SessionNote&&) = delete;

    /** Writes it, or anew where the session was renewed. A failure is none: the BMC ends idle sessions by itself. */
    void write(const QVRFUTILSession& session, bool isNewer) noexcept;
    /** The session is closed. */
    void remove() noexcept;

private:
    bool begin();

    std::string path_;
    std::string id_;  ///< of the session that is noted
    OwnFile     file_;
};

/** The identifiers of the sessions that killed commands left, as far as they have not been closed. */
std::vector<std::string> leftSessionIds();

/**
 * Closes those at @p address, as it stands in a URL, and @p port, where a BMC has just answered. For a process that has
 * no session and no frame of the library. @return how many were closed
 */
unsigned closeLeftSessions(const std::string& address, const std::string& port);

}  // namespace qvrfctl

#endif
