/** @file oxarfutilHelper.cpp  Writes single attributes of a BMC account. */
#include "oxarfutilHelper.h"

#include <cstring>

#include "oxarfutilHelperParts.h"
#include "qvhipm.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

struct TextAttribute {
    const char* op;
    const char* name;
    bool        secret;
    const char* noMemoryEnd;  // how its line about memory ends
    s32         refused;
};
constexpr TextAttribute kUserName{"OXASetBMCUsername", "username", false, "", OXA_BMC_CMD_SET_USER_NAME_FAILED};
constexpr TextAttribute kPassword{"OXASetBMCUserPassword", "password", true, ".", OXA_BMC_CMD_SET_USER_PASSWORD_FAILED};

s32 setText(const TextAttribute& attribute, u32 slot, const astring* value) noexcept
{
    const char* op = attribute.op;
    TraceScope  trace(op, kPlainTrace);
    if (!value) {
        __SysDbgPrint3("%s: %s is NULL.\n", op, attribute.name);
        return OXA_INTERNAL_ERROR;
    }
    const Command command = newCommand();
    if (!command) {
        __SysDbgPrint3("%s: failed to alloc memory pTBuf1 == NULL%s\n", op, attribute.noMemoryEnd);
        return OXA_INTERNAL_ERROR;
    }
    const int length = sprintf_s(command.get(), kCommandSize, "vorsk set torvo.users.%d.%s %s", static_cast<s32>(slot),
                                 attribute.name, value);
    if (length < 0) {  // a cut command must not reach the BMC
        __SysDbgPrint3("%s: sprintf_s return value is %d.\n", op, length);
        return OXA_INTERNAL_ERROR;
    }
    // The whole command, a password in clear among it: support works with this line.
    __SysDbgPrint4("%s: pCommand %s\n", op, command.get());
    if (BMCUserSetValueInUserDB(command.get()) != 0) {
        // Errors are read by more people than details: the value of a secret is not for them.
        if (attribute.secret) command.get()[static_cast<std::size_t>(length) - std::strlen(value) - 1] = '\0';
        __SysDbgPrint3("%s: vorsk command failed %s \n", op, command.get());
        return attribute.refused;
    }
    return OXA_SUCCESS;
}

s32 setPrivilege(const char* op, u32 slot, const astring* privilege) noexcept
{
    if (!privilege) {
        __SysDbgPrint3("%s: Invalid input parameters.\n", op);
        return OXA_INVALID_PARAM;
    }
    const Command command = newCommand();
    if (!command) {
        __SysDbgPrint3("%s: failed to alloc memory pTBuf1 == NULL\n", op);
        return OXA_INTERNAL_ERROR;
    }
    sprintf_s(command.get(), kCommandSize, "vorsk set torvo.users.%d.%s 0x%x", static_cast<s32>(slot), "privilege",
              privilegeOf(privilege).bitmask);
    if (BMCUserSetValueInUserDB(command.get()) != 0) {
        __SysDbgPrint3("%s: failed to set privilege in db \n", op);
        return OXA_BMC_CMD_SET_USER_PRIVILEGE_FAILED;
    }
    return OXA_SUCCESS;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 OXASetBMCUsername(u32 slot, const astring* username)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::setText(qvrf::kUserName, slot, username);
}

extern "C" s32 OXASetBMCUserPassword(u32 slot, const astring* password)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::setText(qvrf::kPassword, slot, password);
}

extern "C" s32 OXASetBMCUserPrivilege(u32 slot, const astring* privilege)
{
    static constexpr char op[] = "OXASetBMCUserPrivilege";
    qvrf::TraceScope      trace(op, qvrf::kPlainTrace);
    return qvrf::setPrivilege(op, slot, privilege);
}
