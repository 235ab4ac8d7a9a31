/** @file CommandTest.cpp  qvrfctl discover, services, session and user against a simulator. */
#include <set>

#include "ToolBench.h"

namespace {

class Commands : public OnEachGeneration {};
INSTANTIATE_TEST_SUITE_P(Generations, Commands, testing::Values("new", "old"), generationName);

TEST_P(Commands, DiscoverTellsWhatTheBmcSays)
{
    bmc.control({"set", "firmware", "6.10.3"});
    bmc.control({"set", "package", "9.8.7"});
    bmc.control({"set", "agent", "1.2.3"});
    bmc.control({"set", "usbnic.ipv4", "169.254.7.7"});
    bmc.control({"set", "usbnic.ipv6", "fe80::b0c:d0e"});
    bmc.control({"set", "passthrough.mode", "21"});
    const Json facts = document({"discover"});
    EXPECT_EQ(facts["firmwareVersion"], "6.10");
    EXPECT_EQ(facts["packageVersion"], "9.8.7");
    EXPECT_EQ(facts["agentVersion"], "1.2.3");
    EXPECT_EQ(facts["ipv4Address"], "169.254.7.7");
    EXPECT_EQ(facts["ipv6Address"], GetParam() == std::string("new") ? "fe80:00:00:00:00:00:bc:de" : "fe80::1234");
    EXPECT_EQ(facts["httpsPort"], bmc.port());
    EXPECT_EQ(facts["passThrough"], "on (mode 21)");
    EXPECT_TRUE(facts["unavailable"].empty());
    EXPECT_TRUE(has(tool({"discover"}).out, "package version:      9.8.7\n"));
}

TEST_P(Commands, DiscoverSaysWhyAFactIsMissing)
{
    bmc.control({"ipmi-cc", "30", "BF", "C1", "2"});
    const Json facts = document({"discover"});
    EXPECT_EQ(facts["firmwareVersion"], nullptr);
    EXPECT_EQ(facts["unavailable"]["firmwareVersion"]["status"], 0xC1);
    EXPECT_EQ(facts["packageVersion"], "5.2.0");
    EXPECT_TRUE(has(tool({"discover"}).out,
                    "firmware version:     not available (the BMC refused, completion code 0xc1: unknown command)\n"));
}

TEST_P(Commands, SessionShowsItselfAndGoes)
{
    const Json            shown = document({"session", "--user", "root", "--privilege", "op"});
    std::set<std::string> keys;
    for (const auto& item : shown.items()) keys.insert(item.key());
    EXPECT_EQ(keys, (std::set<std::string>{"id", "address", "port", "user", "privilege", "ipVersion", "generation"}));
    EXPECT_EQ(shown["id"], "1");
    EXPECT_EQ(shown["address"], "127.0.0.1");
    EXPECT_EQ(shown["port"], bmc.port());
    EXPECT_EQ(shown["privilege"], "op");
    EXPECT_EQ(shown["ipVersion"], 4);
    EXPECT_EQ(shown["generation"], GetParam());
    EXPECT_EQ(bmc.openSessions(), 0u);
}

TEST_P(Commands, ServicesTellTheirState)
{
    bmc.control({"set", "redfish", "Disabled"});
    EXPECT_EQ(document({"services"}), (Json{{"webServer", "Enabled"}, {"redfish", "Disabled"}}));
}

TEST_P(Commands, UsersComeAndGo)
{
    const Json added = document({"user", "add", "monitor", "--privilege", "ro"});
    EXPECT_EQ(added["checked"], true);
    const std::string password = added["password"];
    EXPECT_EQ(password.size(), 20u);
    EXPECT_TRUE(has(bmc.control({"user-check", "monitor", password}), "true"));

    const Json users = document({"user", "list"})["users"];
    ASSERT_EQ(users.size(), 2u);
    EXPECT_EQ(users[1], (Json{{"id", "3"}, {"name", "monitor"}, {"role", "ReadOnly"}, {"enabled", true}}));

    EXPECT_EQ(document({"user", "delete", "monitor"})["checked"], true);
    EXPECT_EQ(document({"user", "list"})["users"].size(), 1u);
    EXPECT_EQ(document({"user", "delete", "monitor"})["deleted"], false);  // not there: no error
    EXPECT_EQ(bmc.openSessions(), 0u);
}

class Users : public OnOneGeneration {};

TEST_F(Users, PasswordGoesToStandardOutputAlone)
{
    const Outcome outcome = tool({"user", "add", "svc", "--privilege", "op", "-v"});
    ASSERT_EQ(outcome.out.size(), 21u) << outcome.out;
    EXPECT_EQ(outcome.out.back(), '\n');
    EXPECT_FALSE(has(outcome.err, outcome.out.substr(0, 20)));
}

TEST_F(Users, AreNotAddedWhenNoSlotIsFree)
{
    for (int i = 3; i <= 16; ++i)
        ASSERT_EQ(tool({"user", "add", "u" + std::to_string(i), "--privilege", "ro", "--no-check"}).exit, 0);
    const Outcome outcome = tool({"user", "add", "late", "--privilege", "ro", "--json"});
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_EQ(Json::parse(outcome.out)["error"]["name"], "OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT") << outcome.out;
}

TEST_F(Users, ThatTheBmcRefusesAreAnError)
{
    bmc.control({"refuse-users", "1"});
    const Outcome outcome = tool({"user", "add", "svc", "--privilege", "ro"});
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(has(outcome.err, "OXA_BMC_CMD_SET_USER_NAME_FAILED")) << outcome.err;
}

/** Answers the next look at the account collection with these members. */
void listMembers(const Torvosim& bmc, const std::string& members)
{
    const std::string body = "{\"Members\":" + members + "}";
    const std::string file = bmc.directory() + "/raw";
    writeFile(file, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    bmc.control({"raw", '@' + file, "GET", "/redfish/v1/AccountService/Accounts", "1"});
}

TEST_F(Users, ThatWereTakenBackSilentlyAreAnErrorAndTellNoPassword)
{
    listMembers(bmc, "[]");
    const Outcome gone = tool({"user", "add", "svc", "--privilege", "ro"});
    EXPECT_EQ(gone.exit, 1);
    EXPECT_EQ(gone.out, "");
    listMembers(bmc, R"([{"Id":"3","UserName":"svc","Enabled":false}])");
    EXPECT_EQ(tool({"user", "add", "svc", "--privilege", "ro"}).exit, 1);
}

TEST_F(Users, ThatTheBmcKeepsAreAnError)
{
    listMembers(bmc, R"([{"Id":"2","UserName":"admin","Enabled":true}])");
    const Outcome outcome = tool({"user", "delete", "admin"});
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_TRUE(has(outcome.err, "still has the user admin (slot 2)")) << outcome.err;
}

TEST_F(Users, CanBeAddedWithoutRedfishWithAWarning)
{
    bmc.control({"session-limit", "0"});
    const Outcome outcome = tool({"user", "add", "svc", "--privilege", "ro"});
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_TRUE(has(outcome.err, "warning: not checked")) << outcome.err;
    EXPECT_FALSE(has(tool({"user", "delete", "svc", "--no-check"}).err, "warning"));
}

}  // namespace
