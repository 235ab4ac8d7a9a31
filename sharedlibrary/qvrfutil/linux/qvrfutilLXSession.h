/** @file qvrfutilLXSession.h  How requests get at the session, and how one thread at a time renews it. */
#ifndef QVRFUTILLXSESSION_H
#define QVRFUTILLXSESSION_H

#include <optional>

#include "curlLx.h"
#include "owners.h"
#include "qvrfutil.h"
#include "smsecure.h"

namespace qvrf {

/** The words that requests and subscriptions say these things in. */
struct SessionTexts {
    bool        ownSteps;      ///< claiming and giving back have lines of their own; else they are the operation's
    const char* missing;       ///< %s: there is no session, the first one is made; may be nullptr
    const char* makingFirst;   ///< %s; may be nullptr
    const char* inProgress;    ///< %s: another thread is renewing
    const char* creating;      ///< %s: the renewal begins
    const char* retryingLock;  ///< %s: the flag could not be cleared yet
    const char* created;       ///< %s
    const char* notCreated;    ///< %s
    const char* noTokenRoom;   ///< %s: no memory for the token in the clear
    const char* notDecrypted;  ///< %s, and %d for the platform's status
};
extern const SessionTexts kRequestTexts;   ///< GET, POST, PATCH, DELETE
extern const SessionTexts kTransferTexts;  ///< uploads and subscriptions

/** Who renews the session. */
enum class Claim {
    ours,     ///< this thread; the flag is set
    taken,    ///< another thread is at it
    timedOut  ///< the lock was not to be had in time
};

/** Takes the right to renew, unless another thread has it. */
Claim QVRFUTILAcquireSessionCreationLock() noexcept;

/**
 * Gives the right to renew back. After three failures the flag stays set and later renewals are refused until some
 * thread clears it: accepted, because a mutex that cannot be had for 1.5 s means that the process is in worse trouble.
 */
void QVRFUTILReleaseSessionCreationLock() noexcept;

/**
 * Opens a new session in the place of @p session and gives the right to renew back. Where another thread was faster
 * there is one already: it is taken as it is, or each of the threads that one expiry hits would open a session of its
 * own, until the BMC has none left.
 * @return 0 or the status of the creation
 */
s32 renewSession(const char* op, const SessionTexts& texts, QVRFUTILSession& session) noexcept;

/** An empty identifier, "-" and "-1" all say that there is no session; "-12" is one. */
bool sessionMissing(const QVRFUTILSession& session) noexcept;

/** What an operation says and answers on the newer generation when nobody is logged in. */
struct LoggedOut {
    const char* text   = nullptr;  ///< takes one %s
    s32         status = QVRFUTIL_SESSION_FAILURE;
};

/** How an operation gets at the session. */
struct SessionRules {
    const SessionTexts* texts     = nullptr;
    const char*         notCopied = nullptr;  ///< the record could not be copied; takes one %s
    LoggedOut           loggedOut{};
    bool                usesOldCopy = true;  ///< goes on while another thread makes the first session: the BMC answers
};

/** A copy of the session record; on an older generation the session is made first when there is none. */
s32 obtainSession(const char* op, const SessionRules& rules, QVRFUTILSession& session) noexcept;

/** What an operation says when a 401 does not lead to a new session; each takes one %s. */
struct RenewalRefusals {
    const char* newerGeneration;  ///< the agent makes sessions there
    const char* notOurs;          ///< another thread renews, or the lock was not to be had
};

/**
 * After a 401: makes a new session for the next request. This one is not sent again, so that a caller decides itself
 * whether it may go out twice; what came with the 401 is handed back.
 * @return 0; 104 refused; or the status of the creation
 */
s32 renewAfter401(const char* op, const RenewalRefusals& refusals, QVRFUTILSession& session) noexcept;

/** The session token in the clear, wiped when it goes. */
class Token {
public:
    /** @return 0; 101 out of memory; the platform's status */
    s32            decrypt(const char* op, const SessionTexts& texts, const QVRFUTILSession& session) noexcept;
    const astring* get() const noexcept { return text_->get(); }
    /** Its characters: a platform that fills the buffer leaves no room for a NUL. */
    std::size_t length() const noexcept { return strnlen(text_->get(), text_->size()); }

private:
    std::optional<SecretBuffer> text_;
};

/** Appends "X-Auth-Token: " and the token. @return false when memory is out */
bool appendTokenHeader(const char* op, HeaderList& headers, const Token& token, const char* logFormat) noexcept;

/** The line of an upload's or a subscription's token in the log. */
constexpr char kTokenLine[] = "[QVRFUTIL] header = %s\n";

/** Whether @p path is short enough to be sent (400 characters); logged when not. */
bool pathFits(const char* op, const astring* path) noexcept;

/** "https://address:port/path" of a path that fits; empty when memory is out. */
SmOwned<astring> requestUrl(const astring* address, const astring* port, const astring* path) noexcept;

}  // namespace qvrf

#endif
