/** @file qvrfutilLXSession.cpp  Session protocol of the requests: look, claim, renew, release. */
#include "qvrfutilLXSession.h"

#include <pthread.h>

#include <algorithm>
#include <string_view>
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

/** Whether the lock was to be had. */
bool endRenewal() noexcept
{
    const SessionLock lock;
    if (lock) g_isRedfishSessionRequested = FALSE;
    return static_cast<bool>(lock);
}

/** The thread that renews is the parent's: in a forked child nobody would ever clear its flag. */
void endRenewalInChild() noexcept
{
    g_isRedfishSessionRequested = FALSE;
}

void endRenewalsInChildren() noexcept
{
    pthread_atfork(nullptr, nullptr, endRenewalInChild);
}

Claim claim(const char* op, const SessionTexts& texts) noexcept
{
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, endRenewalsInChildren);
    {
        const SessionLock lock;
        if (!lock) return Claim::timedOut;
        if (!std::exchange(g_isRedfishSessionRequested, booln{TRUE})) return Claim::ours;
    }
    __SysDbgPrint3(texts.inProgress, op);
    return Claim::taken;
}

void giveBack(const char* op, const SessionTexts& texts) noexcept
{
    for (int attempt = 0; attempt < kReleaseAttempts; ++attempt) {
        if (endRenewal()) {
            __SysDbgPrint4("%s : setting g_isRedfishSessionRequested to FALSE success .\n", op);
            return;
        }
        __SysDbgPrint3(texts.retryingLock, op);
    }
}

/** Whether the record holds a session, and another one than the copy. */
bool renewedSince(const QVRFUTILSession& copy) noexcept
{
    const QVRFUTILSession& record = g_RedfishSession;
    return !sessionMissing(record) && (std::strncmp(record.SessionID, copy.SessionID, sizeof copy.SessionID) != 0 ||
                                       std::strncmp(record.pb64Text, copy.pb64Text, sizeof copy.pb64Text) != 0);
}

}  // namespace

const SessionTexts kRequestTexts{
    true,
    "%s: Failed to get Session Details.\n",
    "%s:Creating new RF session now\n",
    "%s: Failed to Send GET due to session failure. Please Retry\n",  // whatever the method
    "%s : Calling Session creation.\n",
    "%s : Retrying to acquire lock.\n ",
    "%s: Success ! session created\n",
    "%s: Failed request! Should I retry? or throw error??. Throwing error for now..\n",
    "%s: malloc failed for pDecryptedSessionToken.\n",
    "%s: Decryption failed with status: %d\n",
};

const SessionTexts kTransferTexts{
    false,
    nullptr,
    nullptr,
    "[QVRFUTIL] %s: Failed to Send GET due to session failure. Please Retry\n",
    "[QVRFUTIL] %s : Calling Session creation.\n",
    "[QVRFUTIL] %s : Retrying to acquire lock.\n",
    "[QVRFUTIL] %s: Success ! session created\n",
    "[QVRFUTIL] %s: Failed request! Should I retry? or throw error??. Throwing error for now..\n",
    "[QVRFUTIL] %s: SMAllocMem failed for pDecryptedSessionToken.\n",
    "[QVRFUTIL] %s: Decryption failed with status: %d\n",
};

Claim QVRFUTILAcquireSessionCreationLock() noexcept
{
    static constexpr char op[] = "QVRFUTILAcquireSessionCreationLock";
    const TraceScope      trace(op);
    return claim(op, kRequestTexts);
}

void QVRFUTILReleaseSessionCreationLock() noexcept
{
    static constexpr char op[] = "QVRFUTILReleaseSessionCreationLock";
    const TraceScope      trace(op);
    giveBack(op, kRequestTexts);
}

s32 renewSession(const char* op, const SessionTexts& texts, QVRFUTILSession& session) noexcept
{
    const booln anew = renewedSince(session) ? FALSE : TRUE;
    if (anew == TRUE) __SysDbgPrint4(texts.creating, op);
    const s32 status = QVRFUTILGetRFSessionInfo(&session, anew);
    if (texts.ownSteps)
        QVRFUTILReleaseSessionCreationLock();
    else
        giveBack(op, texts);
    return status;
}

s32 renewAfter401(const char* op, const RenewalRefusals& refusals, QVRFUTILSession& session) noexcept
{
    if (giSServerNewGenAndAbove) {
        __SysDbgPrint3(refusals.newerGeneration, op);
        return QVRFUTIL_SESSION_FAILURE;
    }
    if (QVRFUTILAcquireSessionCreationLock() != Claim::ours) {
        __SysDbgPrint3(refusals.notOurs, op);
        return QVRFUTIL_SESSION_FAILURE;
    }
    const s32 status = renewSession(op, kRequestTexts, session);
    if (status != OXA_SUCCESS) __SysDbgPrint3("%s : Session creation failed.\n", op);
    return status;
}

/** A lock that cannot be had in time does not keep the first session from being made; only a thread at work does. */
static s32 makeFirstSession(const char* op, const SessionRules& rules, QVRFUTILSession& session) noexcept
{
    const SessionTexts& texts = *rules.texts;
    if (texts.missing != nullptr) __SysDbgPrint3(texts.missing, op);
    if (texts.makingFirst != nullptr) __SysDbgPrint3(texts.makingFirst, op);
    if ((texts.ownSteps ? QVRFUTILAcquireSessionCreationLock() : claim(op, texts)) == Claim::taken)
        return rules.usesOldCopy ? s32{OXA_SUCCESS} : s32{QVRFUTIL_SESSION_FAILURE};
    const s32 status = renewSession(op, texts, session);
    if (status == OXA_SUCCESS)
        __SysDbgPrint4(texts.created, op);
    else
        __SysDbgPrint3(texts.notCreated, op);
    return status;
}

bool sessionMissing(const QVRFUTILSession& session) noexcept
{
    const std::size_t length = std::min<std::size_t>(strnlen(session.SessionID, sizeof session.SessionID), 3);
    return std::strncmp(session.SessionID, "-1", length) == 0;
}

s32 Token::decrypt(const char* op, const SessionTexts& texts, const QVRFUTILSession& session) noexcept
{
    text_.emplace(SMSECURE_PLAIN_SIZE);
    if (!*text_) {
        __SysDbgPrint3(texts.noTokenRoom, op);
        return QVRFUTIL_NO_SESSION_DETAILS;
    }
    astring*  buffer = text_->get();
    const s32 status = SMqvoxaPBKDF2Decrypt(session.pb64Key, session.pb64Text, &buffer);
    if (status != 0) __SysDbgPrint3(texts.notDecrypted, op, status);
    return status;
}

bool appendTokenHeader(const char* op, HeaderList& headers, const Token& token, const char* logFormat) noexcept
{
    astring line[200] = {};
    strncpy_s(line, sizeof line, kTokenHeader, sizeof kTokenHeader - 1);
    strncpy_s(line + sizeof kTokenHeader - 1, sizeof line - sizeof kTokenHeader + 1, token.get(), token.length());
    if (logFormat != nullptr) __SysDbgPrint4(logFormat, line);
    const bool appended = headers.append(op, line);
    wipe(line, sizeof line);
    return appended;
}

bool pathFits(const char* op, const astring* path) noexcept
{
    if (strnlen(path, kMaxPath + 1) <= kMaxPath) return true;
    __SysDbgPrint3("%s: the path is longer than %zu characters.\n", op, kMaxPath);
    return false;
}

SmOwned<astring> requestUrl(const astring* address, const astring* port, const astring* path) noexcept
{
    const std::string_view parts[] = {"https://",
                                      {address, strnlen(address, sizeof QVRFUTILSession::IPAddress)},
                                      ":",
                                      {port, strnlen(port, sizeof QVRFUTILSession::Port)},
                                      {path, strnlen(path, kMaxPath)}};
    std::size_t            size    = 1;
    for (const auto& part : parts) size += part.size();
    SmOwned<astring> url = smText(static_cast<u32>(size));
    astring*         end = url.get();
    for (const auto& part : parts) {
        if (!url || part.empty()) continue;
        OXAmemcpy_s(end, part.size(), part.data(), part.size());
        end += part.size();
    }
    return url;
}

s32 obtainSession(const char* op, const SessionRules& rules, QVRFUTILSession& session) noexcept
{
    if (QVRFUTILGetRFSessionInfo(&session, FALSE) != OXA_SUCCESS) {
        __SysDbgPrint3(rules.notCopied, op);
        return QVRFUTIL_NO_SESSION_DETAILS;
    }
    if (!sessionMissing(session)) return OXA_SUCCESS;
    if (giSServerNewGenAndAbove) {
        __SysDbgPrint3(rules.loggedOut.text, op);
        return rules.loggedOut.status;
    }
    return makeFirstSession(op, rules, session);
}

}  // namespace qvrf
