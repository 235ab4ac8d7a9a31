/** @file qvrfutilSessionClose.cpp  Closes the process-wide session, on the BMC or in the record alone. */
#include <optional>

#include "owners.h"
#include "oxarfutilHelper.h"
#include "qvrfutilSession.h"
#include "smsecure.h"
#include "steps.h"
#include "trace.h"

namespace {

using namespace qvrf;

constexpr char kDelete[] = "QVRFUTILDeleteSession";

constexpr std::size_t kMostTokenCounted = 100;

/** The user of a session without login token was made for that session: it goes with it. */
s32 deleteTemporaryUser(astring* user) noexcept
{
    const s32 status = OXADeleteTorvoUser(user);
    if (status != OXA_SUCCESS) {
        astring number[12] = {};
        sprintf_s(number, sizeof number, "%d", status);
        __SysDbgPrint3("%s : Unable to delete User. status = %s\n", kDelete, number);
    }
    __SysDbgPrint4("%s:  Torvo User Deletion succeeded.\n", kDelete);  // in either case: log readers look for it
    return status;
}

/** One closing under way, and all that it takes. */
class Closing {
public:
    Closing(astring* user, s32 ipVersion) noexcept : user_(user), ipVersion_(ipVersion) {}

    s32 run() noexcept { return carryOut(*this, kSteps); }

private:
    s32 checkArguments() noexcept
    {
        if (user_ == nullptr) {
            __SysDbgPrint3("%s: Username is null.\n", kDelete);
            return QVRFUTIL_FAILURE;
        }
        if (ipVersion_ == 4 || ipVersion_ == 6) return OXA_SUCCESS;
        __SysDbgPrint3("%s: Invalid ipversion.\n", kDelete);
        return QVRFUTIL_FAILURE;
    }

    s32 decryptToken() noexcept
    {
        decrypted_.emplace(SMSECURE_PLAIN_SIZE);
        if (!*decrypted_) {
            __SysDbgPrint3("%s: malloc failed for pDecryptedSessionToken.\n", kDelete);
            return QVRFUTIL_OUT_OF_MEMORY;
        }
        astring*  buffer = decrypted_->get();
        const s32 status = SMqvoxaPBKDF2Decrypt(g_RedfishSession.pb64Key, g_RedfishSession.pb64Text, &buffer);
        if (status != 0) __SysDbgPrint3("%s: Decryption failed with status: %d\n", kDelete, status);
        return status;
    }

    /** With a NUL behind it: a platform that fills its buffer writes none. */
    s32 copyToken() noexcept
    {
        const std::size_t length = strnlen(decrypted_->get(), decrypted_->size());
        token_.emplace(length + 1);
        if (!*token_) {
            __SysDbgPrint3("%s: Unable to allocate memory.\n", kDelete);
            return QVRFUTIL_FAILURE;
        }
        if (length > 0) strncpy_s(token_->get(), length + 1, decrypted_->get(), length);
        __SysDbgPrint4("%s: Decrypted session token = %s.\n", kDelete, token_->get());
        __SysDbgPrint4("session id = %s\n", g_RedfishSession.SessionID);
        return OXA_SUCCESS;
    }

    s32 logOut() noexcept
    {
        const QVRFUTILSession& session = g_RedfishSession;
        const u32              length  = static_cast<u32>(strnlen(token_->get(), kMostTokenCounted));
        const s32 status = OXADeleteRedfishSession(session.IPAddress, session.Port, static_cast<u8>(ipVersion_),
                                                   token_->get(), length, session.SessionID);
        if (status == 0)
            __SysDbgPrint4("%s: Delete session succeeded.\n", kDelete);
        else
            __SysDbgPrint3("%s: Delete session failed with status: %d.\n", kDelete, status);
        return status;
    }

    /** The session is gone whatever becomes of its user: the library stops in either case. */
    s32 stop() noexcept
    {
        const s32 status = g_RedfishSession.isOAuth ? s32{OXA_SUCCESS} : deleteTemporaryUser(user_);
        QVRFUTILCleanUp();
        return status;
    }

    static constexpr s32 (Closing::*kSteps[])() noexcept = {
        &Closing::checkArguments, &Closing::decryptToken, &Closing::copyToken, &Closing::logOut, &Closing::stop,
    };

    astring*                    user_;
    s32                         ipVersion_;
    std::optional<SecretBuffer> decrypted_;
    std::optional<SecretBuffer> token_;
};

void forgetToken() noexcept
{
    forgetSessionId();
    clear(g_RedfishSession.Port);
    clear(g_RedfishSession.EncryptedSessionToken);
    clear(g_RedfishSession.pb64Text);
    clear(g_RedfishSession.pb64Key);
}

}  // namespace

extern "C" s32 QVRFUTILDeleteSession(astring* pUserName, s32 ipVersion)
{
    const TraceScope trace(kDelete);
    const s32        status = Closing(pUserName, ipVersion).run();
    forgetToken();
    clear(g_RedfishSession.IPAddress);
    return status;
}

extern "C" s32 QVRFUTILDeleteSessionNewGenAndAbove()
{
    const TraceScope trace("QVRFUTILDeleteSessionNewGenAndAbove");
    dropKeptConnections();
    forgetToken();
    return OXA_SUCCESS;
}
