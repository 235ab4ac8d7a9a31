/** @file AccountsAttributeTest.cpp  Single attributes of a BMC account. */
#include "BmcOnTheBench.h"
#include "oxarfutilHelper.h"
#include "oxarfutilHelperParts.h"
#include "qvstatus.h"

namespace {

struct Setter {
    const char* name;
    s32 (*set)(u32, const astring*);
    const char* op;
    const char* attribute;
    s32         refused;
    const char* noMemory;
};
constexpr Setter kSetters[] = {
    {"Name", OXASetBMCUsername, "OXASetBMCUsername", "username", OXA_BMC_CMD_SET_USER_NAME_FAILED,
     "OXASetBMCUsername: failed to alloc memory pTBuf1 == NULL\n"},
    {"Password", OXASetBMCUserPassword, "OXASetBMCUserPassword", "password", OXA_BMC_CMD_SET_USER_PASSWORD_FAILED,
     "OXASetBMCUserPassword: failed to alloc memory pTBuf1 == NULL.\n"},
};

class AccountsText : public BmcOnTheBench, public testing::WithParamInterface<Setter> {
protected:
    const Setter& setter = GetParam();
    std::string   line(const std::string& text) const { return std::string(setter.op) + ": " + text; }
    std::string   command(const std::string& slot, const std::string& value) const
    {
        return "vorsk set torvo.users." + slot + "." + setter.attribute + " " + value;
    }
};

TEST_P(AccountsText, IsOneCommand)
{
    bmc.expectUserSet(command("16", "bob"));
    EXPECT_EQ(setter.set(16, "bob"), OXA_SUCCESS);
    expectTrace(line("Entry.\n"));
    expectTrace(line("pCommand " + command("16", "bob") + "\n"));
    expectTrace(line("Exit.\n"));
    EXPECT_EQ(bmc.allocations(), std::vector<u32>{256});
}

TEST_P(AccountsText, HasOneCodeForWhateverTheServiceSays)
{
    for (const s32 status : {1, -1, 99}) {
        bmc.expectUserSet(command("3", "bob")).fails(status);
        EXPECT_EQ(setter.set(3, "bob"), setter.refused);
    }
    const bool secret = setter.set == OXASetBMCUserPassword;
    expectError(line("vorsk command failed " + command("3", secret ? "" : "bob ") + "\n"));
}

TEST_P(AccountsText, IsGoneFromMemoryAfterwards)
{
    const std::string value = "a-secret" + std::string(255, 'x');
    bmc.mustBeWiped("a-secret");
    bmc.expectUserSet(command("3", "a-secret"));
    EXPECT_EQ(setter.set(3, "a-secret"), OXA_SUCCESS);
    bmc.expectUserSet(command("3", "a-secret")).fails();
    EXPECT_EQ(setter.set(3, "a-secret"), setter.refused);
    EXPECT_EQ(setter.set(3, value.c_str()), OXA_INTERNAL_ERROR);  // cut short: wiped all the same
}

TEST_P(AccountsText, MustBeThere)
{
    EXPECT_EQ(setter.set(3, nullptr), OXA_INTERNAL_ERROR);
    expectError(line(std::string(setter.attribute) + " is NULL.\n"));
}

TEST_P(AccountsText, NeedsMemory)
{
    bmc.failAllocation(1);
    EXPECT_EQ(setter.set(3, "bob"), OXA_INTERNAL_ERROR);
    expectError(setter.noMemory);
}

TEST_P(AccountsText, FitsTheCommandOrIsNotSent)
{
    const std::size_t room = 255 - command("3", "").size();
    bmc.expectUserSet(command("3", std::string(room, 'x')));
    EXPECT_EQ(setter.set(3, std::string(room, 'x').c_str()), OXA_SUCCESS);
    EXPECT_EQ(setter.set(3, std::string(room + 1, 'x').c_str()), OXA_INTERNAL_ERROR);
}

INSTANTIATE_TEST_SUITE_P(Setters, AccountsText, testing::ValuesIn(kSetters), NameOfCase{});

struct PrivilegeCase {
    const char* name;
    const char* privilege;
    const char* bitmask;
    u32         role;
};
class AccountsPrivilege : public BmcOnTheBench, public testing::WithParamInterface<PrivilegeCase> {};

TEST_P(AccountsPrivilege, HasABitmaskAndARole)
{
    bmc.expectUserSet(std::string("vorsk set torvo.users.4.privilege ") + GetParam().bitmask);
    EXPECT_EQ(OXASetBMCUserPrivilege(4, GetParam().privilege), OXA_SUCCESS);
    EXPECT_EQ(qvrf::privilegeOf(GetParam().privilege).role, GetParam().role);
}

INSTANTIATE_TEST_SUITE_P(
    Names, AccountsPrivilege,
    testing::Values(PrivilegeCase{"ReadOnly", "ro", "0x1", 1}, PrivilegeCase{"Operator", "op", "0x1f3", 2},
                    PrivilegeCase{"Root", "root", "0x1ff", 4}, PrivilegeCase{"Revoked", "d", "0x0", 0},
                    PrivilegeCase{"OtherCase", "RO", "0x0", 0}, PrivilegeCase{"Capital", "Root", "0x0", 0},
                    PrivilegeCase{"Longer", "roo", "0x0", 0}, PrivilegeCase{"Shorter", "r", "0x0", 0},
                    PrivilegeCase{"Empty", "", "0x0", 0}),
    NameOfCase{});

using Accounts = BmcOnTheBench;

TEST_F(Accounts, PrivilegeFailures)
{
    EXPECT_EQ(OXASetBMCUserPrivilege(4, nullptr), OXA_INVALID_PARAM);
    expectError("OXASetBMCUserPrivilege: Invalid input parameters.\n");
    bmc.expectUserSet("vorsk set torvo.users.4.privilege 0x1").fails();
    EXPECT_EQ(OXASetBMCUserPrivilege(4, "ro"), OXA_BMC_CMD_SET_USER_PRIVILEGE_FAILED);
    expectError("OXASetBMCUserPrivilege: failed to set privilege in db \n");
    bmc.failAllocation(1);
    EXPECT_EQ(OXASetBMCUserPrivilege(4, "ro"), OXA_INTERNAL_ERROR);
}

struct Service {
    const char* name;
    s32 (*get)(astring*);
    const char* command;
    const char* success;
    const char* failure;
};
constexpr Service kServices[] = {
    {"Webserver", OXAGetTorvoWebserver, "vorsk get torvo.webserver.enable",
     "OXAGetTorvoWebserver: pTorvoWebServer: Disabled.\n",
     "OXAGetTorvoWebserver: vorsk command failed vorsk get torvo.webserver.enable \n"},
    {"Redfish", OXAGetTorvoRedfish, "vorsk get torvo.redfish.enable", "OXAGetTorvoRedfish: pTorvoRedfish: Disabled.\n",
     "OXAGetTorvoRedfish: vorsk command failed vorsk get torvo.redfish.enable \n"},
};
class AccountsService : public BmcOnTheBench, public testing::WithParamInterface<Service> {
protected:
    astring state[9] = "";
};

TEST_P(AccountsService, StateIsTheBmcsWord)
{
    bmc.expectValue(GetParam().command).replies("Disabled");
    EXPECT_EQ(GetParam().get(state), OXA_SUCCESS);
    EXPECT_STREQ(state, "Disabled");
    expectTrace(GetParam().success);
}

TEST_P(AccountsService, MapsTheTwoKnownFailures)
{
    const std::pair<s32, s32> codes[] = {
        {1, OXA_BMC_CMD_IPMI_ACCESS_FAILED}, {2, OXA_BMC_CMD_IPMI_RESPONSE_ERROR}, {3, 3}, {-1, -1}};
    for (const auto& [status, code] : codes) {
        bmc.expectValue(GetParam().command).fails(status);
        EXPECT_EQ(GetParam().get(state), code);
    }
    expectError(GetParam().failure);
}

TEST_P(AccountsService, NeedsMemoryAndAnOutput)
{
    EXPECT_EQ(GetParam().get(nullptr), OXA_INTERNAL_ERROR);
    bmc.failAllocation(1);
    EXPECT_EQ(GetParam().get(state), OXA_INTERNAL_ERROR);
}

INSTANTIATE_TEST_SUITE_P(Services, AccountsService, testing::ValuesIn(kServices), NameOfCase{});

}  // namespace
