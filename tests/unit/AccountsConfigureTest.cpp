/** @file AccountsConfigureTest.cpp  Whole BMC accounts: their order of steps and how they are taken back. */
#include "BmcOnTheBench.h"
#include "oxarfutilHelper.h"
#include "qvstatus.h"

namespace {

const std::string kSlot = "vorsk set torvo.users.5.";

/** One configuration: commands without the slot's prefix; a leading '!' marks one that the BMC refuses. */
struct Case {
    const char*              name;
    u8                       enable;
    std::vector<const char*> commands;
    s32                      status;
    const char*              error;  // one line of the error log, without the operation's name
};

class AccountsConfigure : public BmcOnTheBench, public testing::WithParamInterface<Case> {
protected:
    void script(const std::vector<const char*>& commands)
    {
        for (const std::string command : commands) {
            const bool refused = command[0] == '!';
            bmc.expectUserSet(kSlot + command.substr(refused ? 1 : 0)).fails(refused ? 7 : 0);
        }
    }
};

TEST_P(AccountsConfigure, RunsItsStepsAndTakesThemBack)
{
    script(GetParam().commands);
    EXPECT_EQ(OXAConfigureBMCUser(5, "bob", "pw", "op", GetParam().enable), GetParam().status);
    expectTrace("OXAConfigureBMCUser: Entry \n");
    expectTrace("OXAConfigureBMCUser: Exit.\n");
    if (*GetParam().error) expectError(std::string("OXAConfigureBMCUser: ") + GetParam().error);
}

#define NO_NAME     "username \"\""
#define NO_PASSWORD "password \"\""

INSTANTIATE_TEST_SUITE_P(
    Enabling, AccountsConfigure,
    testing::Values(
        Case{"AllWell", 1, {"username bob", "password pw", "privilege 0x1f3", "enable 1"}, OXA_SUCCESS, ""},
        Case{"NameRefused",
             1,
             {"!username bob"},
             OXA_BMC_CMD_SET_USER_NAME_FAILED,
             "vorsk command failed vorsk set torvo.users.5.username with status 100010 \n"},
        Case{"PasswordRefused",
             1,
             {"username bob", "!password pw", NO_NAME},
             OXA_SUCCESS,
             "vorsk command failed vorsk set torvo.users.5.password with status 100011 \n"},
        Case{"PasswordAndClearRefused",
             1,
             {"username bob", "!password pw", "!" NO_NAME},
             OXA_BMC_CMD_SET_USER_NAME_FAILED,
             "Username delete failed with 100010.\n"},
        Case{"PrivilegeRefused",
             1,
             {"username bob", "password pw", "!privilege 0x1f3", NO_PASSWORD, NO_NAME},
             OXA_SUCCESS,
             "vorsk command failed vorsk set torvo.users.5.privilege with status 100012 \n"},
        Case{"PrivilegeAndFirstClearRefused",
             1,
             {"username bob", "password pw", "!privilege 0x1f3", "!" NO_PASSWORD, NO_NAME},
             OXA_SUCCESS,
             "Password delete failed with 100011.\n"},
        Case{"EnableRefused",
             1,
             {"username bob", "password pw", "privilege 0x1f3", "!enable 1", "privilege 0x0", NO_PASSWORD, NO_NAME},
             OXA_SUCCESS,
             "failed to enable user\n"},
        Case{"EnableAndRevokeRefused",
             1,
             {"username bob", "password pw", "privilege 0x1f3", "!enable 1", "!privilege 0x0", NO_PASSWORD, NO_NAME},
             OXA_SUCCESS,
             "Unset user privilege failed with 100012.\n"},
        Case{"EnableAndEveryClearRefused",
             1,
             {"username bob", "password pw", "privilege 0x1f3", "!enable 1", "!privilege 0x0", "!" NO_PASSWORD,
              "!" NO_NAME},
             OXA_BMC_CMD_SET_USER_NAME_FAILED,
             "Username delete failed with 100010.\n"}),
    NameOfCase{});

INSTANTIATE_TEST_SUITE_P(
    Disabling, AccountsConfigure,
    testing::Values(Case{"AllWell", 0, {"enable 0", "username bob", "password pw", "privilege 0x1f3"}, OXA_SUCCESS, ""},
                    Case{"DisableRefused",
                         0,
                         {"!enable 0", "privilege 0x0", NO_PASSWORD, NO_NAME},
                         OXA_SUCCESS,
                         "failed to enable user\n"},
                    Case{"DisableAndClearRefused",
                         0,
                         {"!enable 0", "privilege 0x0", NO_PASSWORD, "!" NO_NAME},
                         OXA_BMC_CMD_SET_USER_NAME_FAILED,
                         "Username delete failed with 100010.\n"},
                    Case{"NameRefused",
                         0,
                         {"enable 0", "!username bob"},
                         OXA_BMC_CMD_SET_USER_NAME_FAILED,
                         "vorsk command failed vorsk set torvo.users.5.username \n"},
                    Case{"PasswordRefused",
                         0,
                         {"enable 0", "username bob", "!password pw", NO_NAME},
                         OXA_SUCCESS,
                         "vorsk command failed vorsk set torvo.users.5.password \n"},
                    Case{"PrivilegeRefused",
                         0,
                         {"enable 0", "username bob", "password pw", "!privilege 0x1f3", NO_PASSWORD, NO_NAME},
                         OXA_SUCCESS,
                         "vorsk command failed vorsk set torvo.users.5.privilege \n"}),
    NameOfCase{});

INSTANTIATE_TEST_SUITE_P(Otherwise, AccountsConfigure,
                         testing::Values(Case{"Two", 2, {}, OXA_SUCCESS, "Invalid value for enable.\n"},
                                         Case{"MinusOne", 255, {}, OXA_SUCCESS, "Invalid value for enable.\n"}),
                         NameOfCase{});

class Account : public BmcOnTheBench {
protected:
    void TearDown() override
    {
        SMFreeMem(password);
        BmcOnTheBench::TearDown();
    }
    s32 generate() { return GenerateTorvoUser("bob", "ro", &password); }
    /** The commands that make the account, with whatever password comes. */
    void expectCreation(u32 slot)
    {
        const auto sets = bmc.callsOf("BMCUserSetValueInUserDB");
        ASSERT_EQ(sets.size(), 4U);
        const std::string prefix = "BMCUserSetValueInUserDB vorsk set torvo.users." + std::to_string(slot) + ".";
        EXPECT_EQ(sets[0], prefix + "username bob");
        EXPECT_EQ(sets[1], prefix + "password " + password);
        EXPECT_EQ(sets[2], prefix + "privilege 0x1");
        EXPECT_EQ(sets[3], prefix + "enable 1");
    }
    void scriptCreation(u32 slot)
    {
        const std::string prefix = "vorsk set torvo.users." + std::to_string(slot) + ".";
        bmc.expectUserSet(prefix + "username bob");
        bmc.expectUserSet(prefix + "password **");
        bmc.expectUserSet(prefix + "privilege 0x1");
        bmc.expectUserSet(prefix + "enable 1");
    }

    astring* password = nullptr;
};

TEST_F(Account, NeedsNameAndPassword)
{
    EXPECT_EQ(OXAConfigureBMCUser(5, nullptr, "pw", "op", 1), OXA_INTERNAL_ERROR);
    EXPECT_EQ(OXAConfigureBMCUser(5, "bob", nullptr, "op", 0), OXA_INTERNAL_ERROR);
    expectError("OXAConfigureBMCUser: username or password is NULL.\n");
}

TEST_F(Account, WithoutPrivilegeIsTakenBack)
{
    for (const char* command : {"username bob", "password pw", NO_PASSWORD, NO_NAME})
        bmc.expectUserSet(kSlot + command);
    EXPECT_EQ(OXAConfigureBMCUser(5, "bob", "pw", nullptr, 1), OXA_SUCCESS);
    expectError("OXASetBMCUserPrivilege: Invalid input parameters.\n");
}

TEST_F(Account, ConfigurationLosesNothingWhicheverCallFails)
{
    const u32 calls = walkFailures(
        [&] {
            for (const char* command : {"username bob", "password pw", "privilege 0x1f3", "enable 1"})
                bmc.expectUserSet(kSlot + command);
        },
        [] { return OXAConfigureBMCUser(5, "bob", "pw", "op", 1); });
    EXPECT_EQ(calls, 8U);  // four buffers, four commands
}

TEST_F(Account, IsMadeInAFreeSlot)
{
    bmc.users.freeSlot = 16;
    scriptCreation(16);
    EXPECT_EQ(generate(), OXA_SUCCESS);
    expectCreation(16);
    expectTrace("GenerateTorvoUser: Username does not exist, creating one with bob.!\n");
    expectTrace("GenerateTorvoUser: Free slot: 16.\n");
    expectTrace("GenerateTorvoUser: BMC user created successfully.\n");
}

TEST_F(Account, ThatExistsIsUsedAgain)
{
    bmc.users.slots["bob"] = 3;
    scriptCreation(3);
    EXPECT_EQ(generate(), OXA_SUCCESS);
    expectCreation(3);
    expectTrace("GenerateTorvoUser: Username already exists.\n");
    EXPECT_TRUE(bmc.callsOf("BMCUserGetFreeUserSlotFromDB").empty());
}

TEST_F(Account, NeedsASlotFrom3To16)
{
    for (const u32 slot : {0U, 2U, 17U, 0xFFFFFFFFU}) {
        bmc.restart();
        bmc.users.freeSlot     = slot;
        bmc.users.slots["bob"] = slot;  // which does not count as a presence either
        testing::internal::CaptureStdout();
        EXPECT_EQ(generate(), OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT) << slot;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "BMC user creation failed because no slots are empty.\n");
        ASSERT_NE(password, nullptr);  // stays with the caller
        SMFreeMem(std::exchange(password, nullptr));
    }
}

TEST_F(Account, PassesAFailedConfigurationOn)
{
    bmc.users.freeSlot = 4;
    bmc.expectUserSet("vorsk set torvo.users.4.username bob").fails();
    EXPECT_EQ(generate(), OXA_BMC_CMD_SET_USER_NAME_FAILED);
    EXPECT_NE(password, nullptr);
    expectError("GenerateTorvoUser: BMC user creation failed with 100010.\n");
}

TEST_F(Account, WithoutPasswordIsNotMade)
{
    bmc.failAllocation(1);
    EXPECT_EQ(generate(), OXA_INTERNAL_ERROR);
    expectError("GenerateTorvoUser: Password generation failed with status: 100002.\n");
    EXPECT_TRUE(bmc.calls().empty());
    EXPECT_EQ(GenerateTorvoUser(nullptr, "ro", &password), OXA_INTERNAL_ERROR);
    EXPECT_EQ(GenerateTorvoUser("bob", "ro", nullptr), OXA_INTERNAL_ERROR);
}

TEST_F(Account, IsDisabledFirstAndThenCleared)
{
    astring name[]         = "bob";
    bmc.users.slots["bob"] = 5;
    for (const char* command : {"enable 0", NO_NAME, NO_PASSWORD, "privilege 0x0"}) bmc.expectUserSet(kSlot + command);
    EXPECT_EQ(OXADeleteTorvoUser(name), OXA_SUCCESS);
    expectTrace("OXADeleteTorvoUser: Username already exists.\n");
    expectTrace("OXADeleteTorvoUser: BMC user deleted successfully.\n");
}

TEST_F(Account, ThatCannotBeDeletedSaysSo)
{
    astring name[]         = "bob";
    bmc.users.slots["bob"] = 5;
    bmc.expectUserSet(kSlot + "enable 0");
    bmc.expectUserSet(kSlot + NO_NAME).fails();
    EXPECT_EQ(OXADeleteTorvoUser(name), OXA_BMC_CMD_SET_USER_NAME_FAILED);
    expectError("OXADeleteTorvoUser: BMC user deletion failed with 100010.\n");
}

TEST_F(Account, ThatIsUnknownNeedsNoDeletion)
{
    astring name[] = "bob";
    for (const u32 slot : {0U, 2U, 17U}) {
        bmc.users.slots["bob"] = slot;
        EXPECT_EQ(OXADeleteTorvoUser(name), OXA_SUCCESS);
    }
    EXPECT_EQ(OXADeleteTorvoUser(nullptr), OXA_INTERNAL_ERROR);
}

}  // namespace
