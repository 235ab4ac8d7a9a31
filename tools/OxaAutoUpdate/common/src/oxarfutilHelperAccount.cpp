/** @file oxarfutilHelperAccount.cpp  Makes and deletes whole BMC accounts, and takes back what was begun. */
#include <cstdio>

#include "oxarfutilHelper.h"
#include "oxarfutilHelperParts.h"
#include "qvhipm.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr char kEmptyValue[]   = "\"\"";  // clears a name or password
constexpr char kRevoked[]      = "d";
constexpr u8   kDisableAccount = 0;
constexpr u8   kEnableAccount  = 1;

/** The steps of configuring an account, in the order in which they build on each other. */
enum class Step { name, password, privilege, enabled };
constexpr const char* kAttribute[] = {"username", "password", "privilege", "enable"};

// An account opens last and closes first: at no time does it let somebody in who is only half set up.
constexpr Step kEnabling[]  = {Step::name, Step::password, Step::privilege, Step::enabled};
constexpr Step kDisabling[] = {Step::enabled, Step::name, Step::password, Step::privilege};

struct Account {
    const char*    op;
    u32            slot;
    const astring* name;
    const astring* password;
    const astring* privilege;
    u8             enable;
    astring*       command;  // kCommandSize bytes
};

s32 writeEnabled(const Account& account) noexcept
{
    sprintf_s(account.command, kCommandSize, "vorsk set torvo.users.%d.%s %d", static_cast<s32>(account.slot), "enable",
              account.enable);
    return BMCUserSetValueInUserDB(account.command);
}

s32 perform(Step step, const Account& account) noexcept
{
    switch (step) {
        case Step::name: return OXASetBMCUsername(account.slot, account.name);
        case Step::password: return OXASetBMCUserPassword(account.slot, account.password);
        case Step::privilege: return OXASetBMCUserPrivilege(account.slot, account.privilege);
        case Step::enabled: return writeEnabled(account);
    }
    return OXA_INTERNAL_ERROR;
}

void logFailure(Step step, const Account& account, s32 status) noexcept
{
    if (step == Step::enabled) {
        __SysDbgPrint3("%s: failed to enable user\n", account.op);
        return;
    }
    // The command without its value: the setter has logged what it sent.
    sprintf_s(account.command, kCommandSize, "vorsk set torvo.users.%d.%s", static_cast<s32>(account.slot),
              kAttribute[static_cast<std::size_t>(step)]);
    if (account.enable == kEnableAccount)
        __SysDbgPrint3("%s: vorsk command failed %s with status %d \n", account.op, account.command, status);
    else
        __SysDbgPrint3("%s: vorsk command failed %s \n", account.op, account.command);
}

/**
 * Takes back the steps that @p failed builds on, last first. Nothing stops it.
 * @return the result of clearing the name, OXA_SUCCESS when the slot is clean again: callers rely on it
 */
s32 rollBack(Step failed, const Account& account) noexcept
{
    if (failed > Step::privilege)
        if (const s32 status = OXASetBMCUserPrivilege(account.slot, kRevoked); status != OXA_SUCCESS)
            __SysDbgPrint3("%s: Unset user privilege failed with %d.\n", account.op, status);
    if (failed > Step::password)
        if (const s32 status = OXASetBMCUserPassword(account.slot, kEmptyValue); status != OXA_SUCCESS)
            __SysDbgPrint3("%s: Password delete failed with %d.\n", account.op, status);
    const s32 status = OXASetBMCUsername(account.slot, kEmptyValue);
    if (status != OXA_SUCCESS) __SysDbgPrint3("%s: Username delete failed with %d.\n", account.op, status);
    return status;
}

s32 run(const Step (&steps)[4], const Account& account) noexcept
{
    for (const Step step : steps) {
        const s32 status = perform(step, account);
        if (status == OXA_SUCCESS) continue;
        logFailure(step, account, status);
        // Without a name nothing was begun; when disabling, the slot stays disabled.
        return step == Step::name ? status : rollBack(step, account);
    }
    return OXA_SUCCESS;
}

s32 configure(Account account) noexcept
{
    if (!account.name || !account.password) {
        __SysDbgPrint3("%s: username or password is NULL.\n", account.op);
        return OXA_INTERNAL_ERROR;
    }
    const Command command = newCommand();
    if (!command) {
        __SysDbgPrint3("%s: failed to alloc memory pTBuf1 == NULL\n", account.op);
        return OXA_INTERNAL_ERROR;
    }
    account.command = command.get();
    if (account.enable == kEnableAccount) return run(kEnabling, account);
    if (account.enable == kDisableAccount) return run(kDisabling, account);
    __SysDbgPrint3("%s: Invalid value for enable.\n", account.op);
    return OXA_SUCCESS;  // the slot is as it was, which is what callers take success for here
}

s32 generate(const char* op, const astring* name, const astring* privilege, astring** password) noexcept
{
    if (!name || !password) {
        __SysDbgPrint3("%s: pUsername or pPassword is NULL.\n", op);
        return OXA_INTERNAL_ERROR;
    }
    if (const s32 status = OXAPasswordGenerator(password); status != OXA_SUCCESS) {
        __SysDbgPrint3("%s: Password generation failed with status: %d.\n", op, status);
        return status;
    }
    u32 slot = BMCUserGetUserPresence(name);
    if (isUserSlot(slot)) {
        __SysDbgPrint4("%s: Username already exists.\n", op);
    } else {
        __SysDbgPrint4("%s: Username does not exist, creating one with %s.!\n", op, name);
        slot = BMCUserGetFreeUserSlotFromDB();
        __SysDbgPrint4("%s: Free slot: %d.\n", op, static_cast<s32>(slot));
        if (!isUserSlot(slot)) {
            std::puts("BMC user creation failed because no slots are empty.");
            return OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT;
        }
    }
    const s32 status = OXAConfigureBMCUser(slot, name, *password, privilege, kEnableAccount);
    if (status != OXA_SUCCESS)
        __SysDbgPrint3("%s: BMC user creation failed with %d.\n", op, status);
    else
        __SysDbgPrint4("%s: BMC user created successfully.\n", op);
    return status;
}

s32 erase(const char* op, const astring* name) noexcept
{
    if (!name) {
        __SysDbgPrint3("%s: pUserName is NULL.\n", op);
        return OXA_INTERNAL_ERROR;
    }
    const u32 slot = BMCUserGetUserPresence(name);
    if (!isUserSlot(slot)) return OXA_SUCCESS;
    __SysDbgPrint4("%s: Username already exists.\n", op);
    const s32 status = OXAConfigureBMCUser(slot, kEmptyValue, kEmptyValue, kRevoked, kDisableAccount);
    if (status != OXA_SUCCESS)
        __SysDbgPrint3("%s: BMC user deletion failed with %d.\n", op, status);
    else
        __SysDbgPrint4("%s: BMC user deleted successfully.\n", op);
    return status;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 OXAConfigureBMCUser(u32 slot, const astring* username, const astring* password, const astring* privilege,
                                   u8 enable)
{
    static constexpr char op[] = "OXAConfigureBMCUser";
    qvrf::TraceScope      trace(op, qvrf::kBareEntryTrace);
    return qvrf::configure({op, slot, username, password, privilege, enable, nullptr});
}

extern "C" s32 GenerateTorvoUser(const astring* pUsername, const astring* pPrivilege, astring** pPassword)
{
    static constexpr char op[] = "GenerateTorvoUser";
    qvrf::TraceScope      trace(op, qvrf::kPlainTrace);
    return qvrf::generate(op, pUsername, pPrivilege, pPassword);
}

extern "C" s32 OXADeleteTorvoUser(astring* pUserName)
{
    static constexpr char op[] = "OXADeleteTorvoUser";
    qvrf::TraceScope      trace(op, qvrf::kPlainTrace);
    return qvrf::erase(op, pUserName);
}
