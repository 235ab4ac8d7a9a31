/** @file FailureTest.cpp  Exit statuses of qvrfctl, what it says when something is wrong, and a BMC that is not
 * trusted. */
#include "ToolBench.h"

namespace {

// generation | what goes wrong | the command that meets it | its exit status | what it says
constexpr char kFailures[] = R"(
old | cut 10 GET /redfish 1       | get /redfish/v1       | 1 | QVRFUTIL_CURL_FAILED
old | ipmi-cc 30 BF C0            | session               | 3 | OXA_BMC_CMD_GET_FW_ERROR
old | ipmi-cc 30 BF C3            | discover              | 3 | does not answer over IPMI
old | ipmi-cc 30 BF C3            | user delete x         | 3 | does not answer over IPMI
old | set usbnic.hash off         | session               | 3 | OXA_BMC_CMD_NO_IPADDRESS
old | session-limit 0             | get /redfish/v1       | 4 | login with HTTP 503 Service Unavailable
new | session-limit 0             | get /redfish/v1       | 4 | advice: close sessions that are no longer needed
new | status 401 POST /redfish    | session               | 4 | login with HTTP 401 Unauthorized
new | status 401 POST /redfish    | session -v            | 4 | library: OSCreateRedfishSession: HTTP Response code = 401
old | generation new              | session               | 4 | --generation auto finds it
new | raw hello POST /redfish     | session               | 4 | the login was not answered: 
new | stats                       | session --address 127.0.0.1 --port 1 | 4 | answered: Couldn't connect to server
new | set port 44300              | session               | 1 | more than four digits
new | status 401 GET /redfish     | get /redfish/v1       | 4 | QVRFUTIL_SESSION_FAILURE
old | stats                       | get /redfish/v1/nope  | 5 | HTTP 404 Not Found: There is no resource
old | stats                       | delete /redfish/v1/Systems | 5 | HTTP 405 Method Not Allowed
old | status 500 GET /redfish     | get /redfish/v1       | 5 | HTTP 500
old | stats                       | get /a -o /nowhere/f  | 6 | cannot write /nowhere/f
old | stats                       | get /a -o /           | 6 | Is a directory
)";

TEST(Failures, NameTheirCauseHaveTheirExitStatusAndLeaveNoSession)
{
    for (const Words& row : rowsOf(kFailures)) {
        const Bench bench(row[0]);
        bench.control(split(row[1]));
        const Outcome outcome = bench.tool(split(row[2]));
        EXPECT_EQ(std::to_string(outcome.exit), row[3]) << row[1] << ": " << outcome.err;
        EXPECT_TRUE(has(outcome.err, row[4])) << row[1] << ": " << outcome.err;
        EXPECT_EQ(bench.openSessions(), row[4] == "QVRFUTIL_SESSION_FAILURE" ? 1u : 0u) << row[1];
    }
}

class Output : public OnOneGeneration {};

TEST_F(Output, ThatCannotBeWrittenIsAnErrorAndTheSessionIsClosed)
{
    for (const auto output : {ChildOptions::Output::full, ChildOptions::Output::closed})
        EXPECT_EQ(tool({"get", "/test/bytes/100000"}, {{}, {}, output}).exit, 6);
    EXPECT_EQ(openSessions(), 0u);
    control({"status", "500", "DELETE", "/redfish", "1"});
    const Outcome kept = tool({"get", "/redfish/v1"});
    EXPECT_EQ(kept.exit, 0) << "the result stands when the session cannot be closed";
    EXPECT_TRUE(has(kept.err, "warning: the session 3 could not be closed")) << kept.err;
}

TEST_F(Output, OfAFailureIsOneDocumentWithJson)
{
    EXPECT_EQ(Json::parse(tool({"get", "/redfish/v1/nope", "--json"}).out)["httpStatus"], 404);
    control({"session-limit", "0"});
    const Json error = Json::parse(tool({"session", "--json"}).out)["error"];
    EXPECT_EQ(error["exit"], 4);
    EXPECT_EQ(error["name"], "OXA_BMC_SESSION_CREATION_FAILED");
    bmc.stop();
    for (const char* command : {"discover", "services", "session", "get /redfish/v1", "user delete x", "link status"}) {
        const Outcome outcome = tool(split(command));
        EXPECT_EQ(outcome.exit, 3) << command;
        EXPECT_TRUE(has(outcome.err, "ipmi.sock: No such file or directory)")) << outcome.err;
    }
}

TEST_F(Output, OnATerminalHasNoControlCharacterOfTheBmc)
{
    const std::string  evil = "\x1b]0;owned\x07 \x9b[2J \xc2\x9b! \xe2\x80\xae \xc3\xa9\r";
    const std::string  tame = R"(\x1b]0;owned\x07 \x9b[2J \xc2\x9b! \xe2\x80\xae )"
                              "\xc3\xa9";
    const ChildOptions terminal{{{"TERM", "xterm"}}, {}, ChildOptions::Output::terminal};
    const std::string  path = "/redfish/v1/Systems";
    answerOnce(path, evil);
    EXPECT_TRUE(has(tool({"get", path}, terminal).out, tame));
    answerOnce(path, "{}", "X-Evil: " + evil.substr(0, evil.size() - 1));
    EXPECT_TRUE(has(tool({"get", "-i", path}, terminal).out, "X-Evil: " + tame));
    answerOnce(path, evil);
    EXPECT_TRUE(has(tool({"events", path}, terminal).out, "owned")) << "an error page";
    answerOnce(path, evil);
    EXPECT_EQ(tool({"get", path}).out, evil) << "a pipe gets the body to the byte";
    answerOnce("/redfish/v1/AccountService/Accounts", R"({"Members":[{"UserName":"\u001b]0;owned","Id":"\u009b"}]})");
    EXPECT_TRUE(has(tool({"user", "list"}, terminal).out, R"(\x1b]0;owned:)"));
}

TEST_F(Output, StaysSmallHoweverDeepTheJsonIs)
{
    for (const std::size_t depth : {250u, 20000u})
        for (const char* style : {"--pretty", "--pretty --json"}) {
            answerOnce("/redfish/v1/Systems", std::string(depth, '[') + "1,1" + std::string(depth, ']'));
            const Outcome outcome = tool(split(std::string("get /redfish/v1/Systems ") + style));
            EXPECT_EQ(outcome.exit, 0) << outcome.err;
            EXPECT_LT(outcome.out.size(), 200 * depth) << depth;
            EXPECT_GT(outcome.out.size(), 2 * depth) << depth;
        }
}

}  // namespace
