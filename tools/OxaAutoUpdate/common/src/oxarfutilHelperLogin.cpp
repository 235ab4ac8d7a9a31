/** @file oxarfutilHelperLogin.cpp  What a client logs in with: generated passwords and login tokens. */
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "oxarfutilHelper.h"
#include "oxarfutilHelperParts.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "smsecure.h"
#include "trace.h"

namespace qvrf {
namespace {

// The swapped pairs are part of the contract: from a seed, every release makes the same password.
constexpr std::string_view kClasses[] = {
    "abcdefghijklmnoqprstuvwyzx",
    "ABCDEFGHIJKLMNOQPRSTUYWVZX",
    "0123456789",
    "!@#$^&*?",
};

std::size_t drawBelow(std::size_t bound) noexcept
{
    return static_cast<std::size_t>(std::rand()) % bound;
}

s32 newPassword(const char* op, astring** password) noexcept
{
    if (!password) {
        __SysDbgPrint3("%s: pPassword is NULL.\n", op);
        return OXA_INTERNAL_ERROR;
    }
    SmOwned<astring> text = smText(OXA_PASSWORD_LENGTH + 1);
    if (!text) {
        __SysDbgPrint3("%s: failed to alloc memory pTemp == NULL.\n", op);
        return OXA_INTERNAL_ERROR;
    }
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    // No class must occur: a password of digits alone is a valid one.
    std::size_t next = drawBelow(std::size(kClasses));
    for (std::size_t i = 0; i < OXA_PASSWORD_LENGTH; ++i) {
        const std::string_view characters = kClasses[next];
        text.get()[i]                     = characters[drawBelow(characters.size())];
        next                              = drawBelow(std::size(kClasses));
    }
    *password = text.release();
    // Where the password went, not the password.
    astring where[2 * sizeof(void*) + 3] = "";
    sprintf_s(where, sizeof where, "%p", static_cast<void*>(password));
    __SysDbgPrint4("%s: pass : %s.\n", op, where);
    return OXA_SUCCESS;
}

s32 loginToken(const char* op, const astring* user, const astring* privilege, astring** token, u32* length) noexcept
{
    if (!user || !privilege || !token || !length) {
        __SysDbgPrint3("%s: an argument is NULL.\n", op);
        return OXA_REDFISH_TOKEN_GENERATION_FAILED;
    }
    if (const s32 status = SMSecureGenerateBMCLoginToken(0, user, privilegeOf(privilege).role); status != 0) {
        __SysDbgPrint3("%s: SMSecureGenerateBMCLoginToken() failed with %d.\n", op, status);
        return OXA_REDFISH_TOKEN_GENERATION_FAILED;
    }
    if (const s32 status = SMSecureGetBMCLoginToken(token, length); status != 0) {
        __SysDbgPrint3("%s: SMSecureGetBMCLoginToken() failed with status: %d.\n", op, status);
        return OXA_REDFISH_TOKEN_GENERATION_FAILED;
    }
    __SysDbgPrint4("%s: JWT Length:%d\n JWT: %s.\n", op, static_cast<s32>(*length), *token ? *token : "");
    return OXA_SUCCESS;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 OXAPasswordGenerator(astring** pPassword)
{
    static constexpr char op[] = "OXAPasswordGenerator";
    qvrf::TraceScope      trace(op, qvrf::kPlainTrace);
    return qvrf::newPassword(op, pPassword);
}

extern "C" s32 GenerateOAuthToken(const astring* pUsername, astring* pPrivilege, astring** pJWT, u32* pTokenLength)
{
    static constexpr char op[] = "GenerateOAuthToken";
    qvrf::TraceScope      trace(op, qvrf::kPlainTrace);
    return qvrf::loginToken(op, pUsername, pPrivilege, pJWT, pTokenLength);
}
