/** @file qvrfutilLXSession.cpp  Session protocol of the requests: look, claim, renew, release. */
#include "qvrfutilLXSession.h"

#include <algorithm>
#include <utility>

#include "qvisocppsecurecompat.h"
#include "trace.h"

// The formats are the words of SessionTexts, each with one %s.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace qvrf {
namespace {

constexpr s32         kLockWaitMs      = 500;
constexpr int         kReleaseAttempts = 3;
constexpr std::size_t kMaxPath         = 400;
constexpr char        kTokenHeader[]   = "X-Auth-Token: ";

/** g_SessionCreationLock for a scope, if it can be had in time. */
class SessionLock {
public:
    SessionLock() noexcept : held_(SMMutexLock(g_SessionCreationLock, kLockWaitMs) == 0) {}
    SessionLock(SessionLock&&) = delete;
    ~SessionLock()
    {
        if (held_) SMMutexUnLock(g_SessionCreationLock);
    }
    explicit operator bool() const noexcept { return held_; }

private:
    bool held_;
};

/**
 * Gives the right to renew back. After three failures the flag stays set and later renewals are refused until some
 * thread clears it: accepted, because a mutex that cannot be had for 1.5 s means that the process is in worse trouble.
 */
void releaseRenewal(const SessionTexts& texts) noexcept
{
    static constexpr char op[] = "QVRFUTILReleaseSessionCreationLock";
    const TraceScope      trace(op);
    for (int attempt = 0; attempt < kReleaseAttempts; ++attempt) {
        if (SessionLock lock; lock) {
            g_isRedfishSessionRequested = FALSE;
            __SysDbgPrint4("%s : setting g_isRedfishSessionRequested to FALSE success .\n", op);
            return;
        }
        __SysDbgPrint3(texts.retryingLock, op);
    }
}

}  // namespace

const SessionTexts kRequestTexts{
    "%s: Failed to Send GET due to session failure. Please Retry\n",  // whatever the method
    "%s : Calling Session creation.\n",
    "%s : Retrying to acquire lock.\n ",
    "%s: Success ! session created\n",
    "%s: Failed request! Should I retry? or throw error??. Throwing error for now..\n",
};

const SessionTexts kTransferTexts{
    "[QVRFUTIL] %s: Failed to Send GET due to session failure. Please Retry\n",
    "[QVRFUTIL] %s : Calling Session creation.\n",
    "[QVRFUTIL] %s : Retrying to acquire lock.\n",
    "[QVRFUTIL] %s: Success ! session created\n",
    "[QVRFUTIL] %s: Failed request! Should I retry? or throw error??. Throwing error for now..\n",
};

Claim claimRenewal(const SessionTexts& texts) noexcept
{
    static constexpr char op[] = "QVRFUTILAcquireSessionCreationLock";
    const TraceScope      trace(op);
    {
        const SessionLock lock;
        if (!lock) return Claim::timedOut;
        if (!std::exchange(g_isRedfishSessionRequested, booln{TRUE})) return Claim::ours;
    }
    __SysDbgPrint3(texts.inProgress, op);
    return Claim::taken;
}

s32 renewSession(const char* op, const SessionTexts& texts, QVRFUTILSession& session) noexcept
{
    __SysDbgPrint4(texts.creating, op);
    const s32 status = QVRFUTILGetRFSessionInfo(&session, TRUE);
    releaseRenewal(texts);
    return status;
}

s32 renewAfter401(const char* op, const RenewalRefusals& refusals, QVRFUTILSession& session) noexcept
{
    if (giSServerNewGenAndAbove) {
        __SysDbgPrint3(refusals.newerGeneration, op);
        return QVRFUTIL_SESSION_FAILURE;
    }
    if (claimRenewal(kRequestTexts) != Claim::ours) {
        __SysDbgPrint3(refusals.notOurs, op);
        return QVRFUTIL_SESSION_FAILURE;
    }
    const s32 status = renewSession(op, kRequestTexts, session);
    if (status != OXA_SUCCESS) __SysDbgPrint3("%s : Session creation failed.\n", op);
    return status;
}

bool sessionMissing(const QVRFUTILSession& session) noexcept
{
    const std::size_t length = std::min<std::size_t>(strnlen(session.SessionID, sizeof session.SessionID), 3);
    return std::strncmp(session.SessionID, "-1", length) == 0;
}

s32 Token::decrypt(const QVRFUTILSession& session) noexcept
{
    astring* buffer = text_.get();
    return SMqvoxaPBKDF2Decrypt(session.pb64Key, session.pb64Text, &buffer);
}

bool appendTokenHeader(HeaderList& headers, const Token& token, const char* logFormat) noexcept
{
    astring           line[200] = {};
    const std::size_t bound     = sizeof kTokenHeader - 1 + strnlen(token.get(), SMSECURE_PLAIN_SIZE) + 2;
    sprintf_s(line, bound, "%s%s", kTokenHeader, token.get());
    if (logFormat != nullptr) __SysDbgPrint4(logFormat, line);
    const bool appended = headers.append(line);
    wipe(line, sizeof line);
    return appended;
}

SmOwned<astring> requestUrl(const astring* address, const astring* port, const astring* path) noexcept
{
    const std::size_t size = strnlen(address, sizeof QVRFUTILSession::IPAddress) +
                             strnlen(port, sizeof QVRFUTILSession::Port) + strnlen(path, kMaxPath) + sizeof "https://:";
    SmOwned<astring> url = smText(static_cast<u32>(size));
    if (url) sprintf_s(url.get(), size, "https://%s:%s%s", address, port, path);
    return url;
}

s32 obtainTransferSession(const char* op, const LoggedOut& loggedOut, QVRFUTILSession& session) noexcept
{
    if (QVRFUTILGetRFSessionInfo(&session, FALSE) != OXA_SUCCESS) {
        __SysDbgPrint3("[QVRFUTIL] %s: Failed to get Session Details.\n", op);
        return QVRFUTIL_NO_SESSION_DETAILS;
    }
    if (!sessionMissing(session)) return OXA_SUCCESS;
    if (giSServerNewGenAndAbove) {
        __SysDbgPrint3(loggedOut.text, op);
        return loggedOut.status;
    }
    if (claimRenewal(kTransferTexts) == Claim::taken) return OXA_SUCCESS;
    const s32 status = renewSession(op, kTransferTexts, session);
    if (status == OXA_SUCCESS)
        __SysDbgPrint4(kTransferTexts.created, op);
    else
        __SysDbgPrint3(kTransferTexts.notCreated, op);
    return status;
}

s32 appendDecryptedToken(const char* op, const QVRFUTILSession& session, HeaderList& headers) noexcept
{
    Token token;
    if (!token) {
        __SysDbgPrint3("[QVRFUTIL] %s: SMAllocMem failed for pDecryptedSessionToken.\n", op);
        return QVRFUTIL_NO_SESSION_DETAILS;
    }
    if (s32 st = token.decrypt(session); st != 0) {
        __SysDbgPrint3("[QVRFUTIL] %s: Decryption failed with status: %d\n", op, st);
        return st;
    }
    return appendTokenHeader(headers, token, "[QVRFUTIL] header = %s\n") ? s32{OXA_SUCCESS} : s32{QVRFUTIL_CURL_FAILED};
}

}  // namespace qvrf
