/** @file AccountsLoginTest.cpp  Generated passwords and login tokens. */
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>

#include "BmcOnTheBench.h"
#include "oxarfutilHelper.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"

namespace {

/** The second that the clock shows to the library; nothing: the real one. Linked with --wrap=time. */
std::optional<std::time_t> g_now;

class Password : public BmcOnTheBench {
protected:
    void TearDown() override
    {
        g_now.reset();
        BmcOnTheBench::TearDown();
    }
};

/** What a generator seeded with @p seed must make, and the number that rand() gives after it. */
std::pair<std::string, int> passwordOf(unsigned seed)
{
    static const std::string classes[] = {"abcdefghijklmnoqprstuvwyzx", "ABCDEFGHIJKLMNOQPRSTUYWVZX", "0123456789",
                                          "!@#$^&*?"};
    std::srand(seed);
    std::string text;
    int         next = std::rand() % 4;
    while (text.size() < 20) {
        const std::string& letters = classes[next];
        text += letters[static_cast<std::size_t>(std::rand()) % letters.size()];
        next = std::rand() % 4;
    }
    return {text, std::rand()};
}

TEST_F(Password, ComesFromTheClockAndFortyOneDraws)
{
    for (unsigned second = 1700000000; second < 1700000100; ++second) {
        g_now             = second;
        astring* password = nullptr;
        ASSERT_EQ(OXAPasswordGenerator(&password), OXA_SUCCESS);
        const int afterwards         = std::rand();
        const auto [text, following] = passwordOf(second);
        EXPECT_EQ(password, text);
        EXPECT_EQ(afterwards, following);
        SMFreeMem(password);
    }
    EXPECT_EQ(bmc.allocations().front(), 21U);
}

TEST_F(Password, IsNotLoggedButItsPlaceIs)
{
    astring* password = nullptr;
    ASSERT_EQ(OXAPasswordGenerator(&password), OXA_SUCCESS);
    astring line[80];
    sprintf_s(line, sizeof line, "OXAPasswordGenerator: pass : %p.\n", static_cast<void*>(&password));
    expectTrace(line);
    for (const bench::LogLine& logged : bmc.log()) EXPECT_EQ(logged.text.find(password), std::string::npos);
    SMFreeMem(password);
}

TEST_F(Password, NeedsMemoryAndAnOutput)
{
    astring* password = nullptr;
    bmc.failAllocation(1);
    EXPECT_EQ(OXAPasswordGenerator(&password), OXA_INTERNAL_ERROR);
    EXPECT_EQ(password, nullptr);
    expectError("OXAPasswordGenerator: failed to alloc memory pTemp == NULL.\n");
    EXPECT_EQ(OXAPasswordGenerator(nullptr), OXA_INTERNAL_ERROR);
}

class LoginToken : public BmcOnTheBench {
protected:
    void TearDown() override
    {
        SMFreeMem(token);
        BmcOnTheBench::TearDown();
    }
    s32 get(const char* privilege)
    {
        astring text[8];
        sprintf_s(text, sizeof text, "%s", privilege);
        return GenerateOAuthToken("bob", text, &token, &length);
    }

    astring* token  = nullptr;
    u32      length = 0;
};

TEST_F(LoginToken, IsMadeForARole)
{
    bmc.token.text = "a.b.c";
    EXPECT_EQ(get("root"), OXA_SUCCESS);
    EXPECT_STREQ(token, "a.b.c");
    EXPECT_EQ(length, 5U);
    EXPECT_EQ(bmc.calls(),
              (std::vector<std::string>{"SMSecureGenerateBMCLoginToken 0 bob 4", "SMSecureGetBMCLoginToken"}));
    expectTrace("GenerateOAuthToken: JWT Length:5\n JWT: a.b.c.\n");
}

TEST_F(LoginToken, HasRoleZeroForAnUnknownPrivilege)
{
    EXPECT_EQ(get("Root"), OXA_SUCCESS);
    EXPECT_EQ(bmc.calls().front(), "SMSecureGenerateBMCLoginToken 0 bob 0");
}

TEST_F(LoginToken, CannotBeMade)
{
    bmc.token.generateStatus = 5;
    EXPECT_EQ(get("ro"), OXA_REDFISH_TOKEN_GENERATION_FAILED);
    expectError("GenerateOAuthToken: SMSecureGenerateBMCLoginToken() failed with 5.\n");
    EXPECT_TRUE(bmc.callsOf("SMSecureGetBMCLoginToken").empty());
}

TEST_F(LoginToken, CannotBeFetched)
{
    bmc.token.getStatus = -3;
    EXPECT_EQ(get("op"), OXA_REDFISH_TOKEN_GENERATION_FAILED);
    expectError("GenerateOAuthToken: SMSecureGetBMCLoginToken() failed with status: -3.\n");
    EXPECT_EQ(token, nullptr);
}

TEST_F(LoginToken, NeedsEveryArgument)
{
    astring privilege[] = "ro";
    EXPECT_EQ(GenerateOAuthToken(nullptr, privilege, &token, &length), OXA_REDFISH_TOKEN_GENERATION_FAILED);
    EXPECT_EQ(GenerateOAuthToken("bob", nullptr, &token, &length), OXA_REDFISH_TOKEN_GENERATION_FAILED);
    EXPECT_EQ(GenerateOAuthToken("bob", privilege, nullptr, &length), OXA_REDFISH_TOKEN_GENERATION_FAILED);
    EXPECT_EQ(GenerateOAuthToken("bob", privilege, &token, nullptr), OXA_REDFISH_TOKEN_GENERATION_FAILED);
    EXPECT_TRUE(bmc.calls().empty());
}

}  // namespace

extern "C" std::time_t __real_time(std::time_t* to);
extern "C" std::time_t __wrap_time(std::time_t* to)
{
    return g_now ? *g_now : __real_time(to);
}
