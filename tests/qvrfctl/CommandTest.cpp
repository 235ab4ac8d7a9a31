/** @file CommandTest.cpp  qvrfctl discover, services, session and user; and command lines that are wrong. */
#include "ToolBench.h"

namespace {

class Commands : public OnEachGeneration {};
INSTANTIATE_TEST_SUITE_P(Generations, Commands, testing::Values("new", "old"), generationName);

TEST_P(Commands, DiscoverTellsWhatTheBmcSaysAndWhyAFactIsMissing)
{
    for (const char* fact : {"firmware 6.10.3", "package 9.8.7", "agent 1.2.3", "usbnic.ipv4 169.254.7.7",
                             "usbnic.ipv6 fe80::b0c:d0e", "passthrough.mode 21", "redfish Disabled"})
        control(split(std::string("set ") + fact));
    Json expected         = Json::parse(R"j({"firmwareVersion":"6.10","packageVersion":"9.8.7","agentVersion":"1.2.3",
        "ipv4Address":"169.254.7.7","passThrough":"on (mode 21)","ipv6Address":"fe80::1234","unavailable":{}
})j");
    expected["httpsPort"] = bmc.port();
    if (generation == "new") expected["ipv6Address"] = "fe80:00:00:00:00:00:bc:de";
    EXPECT_EQ(document({"discover"}), expected);
    EXPECT_EQ(document({"services"}), Json::parse(R"({"webServer":"Enabled","redfish":"Disabled"})"));
    control({"ipmi-cc", "30", "BF", "C1"});
    EXPECT_TRUE(has(tool({"discover"}).out,
                    "firmware version:     not available (the BMC refused, completion code 0xc1: unknown command)\n"));
}

TEST_P(Commands, SessionShowsItselfWithoutItsTokenAndGoes)
{
    Json expected    = Json::parse(R"({"id":"1","address":"127.0.0.1","user":"root","privilege":"op","ipVersion":4})");
    expected["port"] = bmc.port();
    expected["generation"] = generation;
    EXPECT_EQ(document({"session", "--user", "root", "--privilege", "op"}), expected);
    EXPECT_EQ(openSessions(), 0u);
}

TEST_P(Commands, SessionsOfKilledCommandsAreClosedByTheNextThoughNoneIsLeftForIt)
{
    for (const char* limit : {"64", "2"}) {
        control({"session-limit", limit});
        for (unsigned killed = 0; killed < 2; ++killed) {
            const auto child = start({"events"});
            EXPECT_TRUE(comesTrue([&] { return control({"stats"})["streamsOpen"] == 1; }));
            child->signal(SIGKILL);
            EXPECT_TRUE(comesTrue([&] { return control({"stats"})["streamsOpen"] == 0; }));
        }
        EXPECT_EQ(openSessions(), 2u) << limit;
        const Outcome next = tool({"session"});
        EXPECT_EQ(next.exit, 0) << limit << next.err;
        EXPECT_EQ(openSessions(), 0u) << limit;
    }
}

TEST_P(Commands, AnInterruptedLoginLeavesNoSession)
{
    control({"delay", "4000", "POST", "/redfish", "1"});
    const auto child = start({"session"});
    EXPECT_TRUE(comesTrue([&] { return control({"faults"})["faults"].empty(); })) << "the login is on its way";
    child->signal(SIGINT);
    EXPECT_EQ(child->wait().exit, 128 + SIGINT);
    EXPECT_EQ(control({"stats"})["logins"], 1);
    EXPECT_EQ(openSessions(), 0u);
}

TEST_P(Commands, UsersAddedAtOnceAllComeToBe)
{
    std::vector<std::unique_ptr<Child>> adding;
    for (const char* name : {"a", "b", "c", "d"})
        adding.push_back(start({"user", "add", name, "--privilege", "ro", "--json"}));
    for (const auto& each : adding) {
        const Json added = Json::parse(each->wait().out, nullptr, false);
        EXPECT_EQ(control({"user-check", added["name"], added["password"]})["accepted"], true) << added;
    }
}

TEST_P(Commands, UsersComeAndGoWithPasswordsThatNobodyCanForesee)
{
    const Json added = document(split("user add monitor --privilege ro"));
    EXPECT_EQ(added["checked"], true);
    EXPECT_EQ(control({"user-check", "monitor", added["password"]})["accepted"], true);
    EXPECT_NE(document(split("user add other --privilege ro"))["password"], added["password"]);
    EXPECT_TRUE(has(tool({"user", "list", "--json"}).out, R"("name":"monitor","role":"ReadOnly","enabled":true)"));
    EXPECT_EQ(document({"user", "delete", "monitor"}),
              Json::parse(R"({"name":"monitor","deleted":true,"checked":true})"));
    EXPECT_EQ(document({"user", "list"})["users"].size(), 2u);
    EXPECT_EQ(document({"user", "delete", "monitor"})["deleted"], false);
    EXPECT_EQ(tool({"user", "delete", "other"}).out, "other deleted\n");
    EXPECT_EQ(tool({"user", "delete", "other"}).out, "other was no user of the BMC\n");
}

class Users : public OnOneGeneration {
protected:
    void expectFailure(const char* command, const char* says) const
    {
        const Outcome outcome = tool(split(command));
        EXPECT_EQ(outcome.exit, 1);
        EXPECT_EQ(outcome.out, "") << "the password of no account";
        EXPECT_TRUE(has(outcome.err, says)) << outcome.err;
    }
    const std::string accounts = "/redfish/v1/AccountService/Accounts";
};

TEST_F(Users, ThatTheBmcDoesNotTakeOrKeepsAreAnError)
{
    constexpr char add[] = "user add svc --privilege ro";
    control({"refuse-users", "1"});
    expectFailure(add, "OXA_BMC_CMD_SET_USER_NAME_FAILED");
    for (const char* members : {"[]", R"([{"Id":"3","UserName":"svc","Enabled":false}])"}) {
        answerOnce(accounts, std::string(R"({"Members":)") + members + '}');
        expectFailure(add, "account was taken back");
    }
    answerOnce(accounts, R"({"Members":[{"Id":"2","UserName":"admin","Enabled":true}]})");
    expectFailure("user delete admin", "still has the user admin (slot 2)");
    for (int i = 3; i <= 16; ++i) tool({"user", "add", "u" + std::to_string(i), "--privilege", "ro", "--no-check"});
    expectFailure("user add late --privilege ro", "OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT");
}

TEST_F(Users, CanBeAddedWithoutRedfishWithAWarning)
{
    control({"session-limit", "0"});
    const Outcome outcome = tool(split("user add svc --privilege ro -v"));
    EXPECT_EQ(outcome.exit, 0);
    EXPECT_TRUE(has(outcome.err, "warning: not checked")) << outcome.err;
    EXPECT_FALSE(has(outcome.err, outcome.out.substr(0, 20))) << "the password goes to standard output alone";
    EXPECT_FALSE(has(tool(split("user delete svc --no-check")).err, "warning"));
}

/** Without any BMC: nothing may be tried before the command line is found good. */
TEST(CommandLine, ThatIsWrongIsRefusedWithAdviceBeforeAnythingIsSent)
{
    for (const Words& row : casesOf("wrong command lines")) {
        Words command = split(row[0]);
        command.insert(command.begin(), QVRFCTL_PROGRAM);
        const Outcome outcome = run(command, {{{"QVPLATFORM_CONFIG", "/dev/null"}}, {}, {}});
        EXPECT_EQ(outcome.exit, 2) << row[0] << ": " << outcome.err;
        EXPECT_TRUE(has(outcome.err, row[1])) << row[0] << ": " << outcome.err;
        EXPECT_EQ(outcome.out, "") << row[0];
    }
    EXPECT_EQ(run({QVRFCTL_PROGRAM, "get", '/' + std::string(400, 'a')}).exit, 2);
    EXPECT_TRUE(has(run({QVRFCTL_PROGRAM, "--help"}).out, "Exit status:"));
    EXPECT_TRUE(has(run({QVRFCTL_PROGRAM, "help", "user", "add"}).out, "Usage: qvrfctl user add"));
}

}  // namespace
