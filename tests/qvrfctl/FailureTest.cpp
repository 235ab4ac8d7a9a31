/** @file FailureTest.cpp  What qvrfctl says and does when something is wrong, doctor and report among it. */
#include "ToolBench.h"

namespace {

TEST(Failures, NameTheirCauseHaveTheirExitStatusAndLeaveNoSession)
{
    for (const Words& row : casesOf("failures")) {
        const Bench bench(row[0]);
        bench.control(split(row[1]));
        const Outcome outcome = bench.tool(split(row[2]));
        EXPECT_EQ(std::to_string(outcome.exit), row[3]) << row[1] << ": " << outcome.err;
        EXPECT_TRUE(has(outcome.err, row[4])) << row[1] << ": " << outcome.err;
        EXPECT_EQ(bench.openSessions(), 0u) << row[1];
    }
}

class Output : public OnOneGeneration {};

TEST_F(Output, ThatCannotBeWrittenIsAnErrorAndTheSessionIsClosed)
{
    const auto to = [&](const char* output, const char* command) {
        return run({"/bin/sh", "-c", std::string(QVRFCTL_PROGRAM " --generation old ") + command + output},
                   {{{"QVPLATFORM_CONFIG", place + "/platform.cfg"}}, {}, {}});
    };
    for (const char* output : {" >&-", " >/dev/full"})
        for (const char* command : {"--help", "help get", "discover", "services", "session", "doctor", "user list",
                                    "get /test/bytes/100000", "get /redfish/v1 --json", "events --count 1"}) {
            control({"event-interval", "20"});
            EXPECT_EQ(to(output, command).exit, 6) << command << output;
        }
    EXPECT_TRUE(has(to(" >&-", "user add x --privilege ro").err, "no user was made"));
    EXPECT_EQ(document({"user", "list"})["users"].size(), 1u);
    EXPECT_TRUE(has(to(" >/dev/full", "user add x --privilege ro").err, "the user x exists now"));
    EXPECT_TRUE(has(to(" >&-", "user passwd x --generate").err, "nothing was changed"));
    EXPECT_TRUE(has(to(" >/dev/full", "user passwd x --generate").err, "has another password now, which nobody knows"));
    EXPECT_EQ(document({"user", "list"})["users"].size(), 2u);
    EXPECT_EQ(openSessions(), 0u);
    control({"status", "500", "DELETE", "/redfish", "1"});
    const Outcome kept = tool({"get", "/redfish/v1"});
    EXPECT_EQ(kept.exit, 0) << "the result stands when the session cannot be closed";
    EXPECT_TRUE(has(kept.err, "could not be closed (the operation failed)")) << kept.err;
}

TEST_F(Output, OfAFailureIsOneDocumentWithJson)
{
    EXPECT_EQ(Json::parse(tool({"get", "/redfish/v1/nope", "--json"}).out)["httpStatus"], 404);
    control({"session-limit", "0"});
    const Json error = Json::parse(tool({"session", "--json"}).out)["error"];
    EXPECT_EQ(error["exit"], 4);
    EXPECT_EQ(error["name"], "OXA_BMC_SESSION_CREATION_FAILED");
}

class Configurations : public OnEachGeneration {};
INSTANTIATE_TEST_SUITE_P(Generations, Configurations, testing::Values("new", "old"), generationName);

TEST_P(Configurations, AtFaultAreNamedByEveryCommandAndByTheFirstStepOfDoctor)
{
    for (const Words& row : casesOf("configurations")) {
        ASSERT_EQ(std::system(("cd " + place + " && " + row[0]).c_str()), 0);
        for (const char* command : {"discover", "services", "link status", "session", "get /redfish/v1", "events",
                                    "get --no-auth /redfish/v1", "user list", "user add x --privilege ro"}) {
            const Outcome outcome = tool(split(command));
            EXPECT_EQ(outcome.exit, 3) << command;
            EXPECT_TRUE(has(outcome.err, row[1]) && has(outcome.err, row[2])) << command << ": " << outcome.err;
            EXPECT_FALSE(has(outcome.err, "modprobe")) << command << ": " << outcome.err;
        }
        const Outcome doctor = tool({"doctor"});
        EXPECT_EQ(std::to_string(doctor.exit), row[3]) << doctor.out;
        EXPECT_EQ(doctor.out.find("   to do: "), doctor.out.rfind("   to do: ")) << "one step: " << doctor.out;
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
    EXPECT_TRUE(has(tool({"events", path}, terminal).out, tame)) << "an error page";
    answerOnce(path, evil);
    EXPECT_EQ(tool({"get", path}).out, evil) << "a pipe gets the body to the byte";
    answerOnce("/redfish/v1/AccountService/Accounts", R"({"Members":[{"UserName":"\u001b]0;owned","Id":"\u009b"}]})");
    EXPECT_TRUE(has(tool({"user", "list"}, terminal).out, R"(\x1b]0;owned)"));
}

TEST_F(Output, OfManyMembersTakesNoLongerThanTheyAreMany)
{
    std::string body = "{";
    for (int i = 0; i < 300000; ++i) body += (i == 0 ? "\"" : ",\"") + std::to_string(i) + "\":1.10";
    answerOnce("/redfish/v1/Systems", body + '}', "A: b", "2");  // asked for twice: for its size
    const std::string out = tool({"get", "/redfish/v1/Systems", "--json"}).out;
    EXPECT_TRUE(has(out, "\"299999\":1.10}}\n")) << "as the BMC wrote it";
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

TEST(Doctor, FindsTheFirstStepThatFailsAndSaysWhatToDo)
{
    for (const Words& row : casesOf("doctor")) {
        Bench bench("new");
        bench.generation = row[0];
        bench.control(split(row[1]));
        const Outcome outcome = bench.tool({"doctor"});
        EXPECT_EQ(std::to_string(outcome.exit), row[2]) << row[1] << outcome.out;
        EXPECT_TRUE(has(outcome.out, row[3])) << row[1] << outcome.out;
        EXPECT_TRUE(outcome.exit == 0 || has(outcome.out, "   to do: ")) << outcome.out;
        EXPECT_EQ(bench.openSessions(), 0u) << row[1];
    }
}

class Report : public OnOneGeneration {};

TEST_F(Report, OfADoctorIsADocumentWithEveryStepAndColoursOnlyWhereWanted)
{
    EXPECT_EQ(document({"doctor"})["steps"][18]["result"], "ok");
    control({"add-header", "Date: Thu, 01 Jan 2026 00:00:00 GMT", "GET", "/redfish"});
    control({"set", "agent", ""});
    const Json steps = document({"doctor"})["steps"];
    ASSERT_EQ(steps.size(), 23u);
    EXPECT_EQ(steps[18]["step"], "clock");
    EXPECT_EQ(steps[18]["result"], "warning") << steps[18];
    EXPECT_EQ(steps[21]["result"], "warning") << steps[21];
    for (const char* no : {"", "1"}) {
        const ChildOptions terminal{{{"NO_COLOR", no}, {"TERM", "xterm"}}, {}, ChildOptions::Output::terminal};
        EXPECT_EQ(has(tool({"doctor"}, terminal).out, "\x1b[32m"), *no == '\0');
    }
}

TEST_F(Report, HasEverythingButSecrets)
{
    const std::string key = readFile(place + "/state/token.key");
    Words             planted{key};
    std::string       log = "key is " + key + "\nnothing secret\n";
    for (const Words& row : casesOf("secrets")) log += row[0] + '\n', planted.push_back(row[1]);
    writeFile(place + "/log", log);
    const std::string config = readFile(place + "/platform.cfg");
    writeFile(place + "/platform.cfg",
              config + "suptlib.logfile=" + place + "/log\nsuptlib.loglevel=trace\n" + "web.password=hunter2\n");
    ASSERT_EQ(tool({"report", "-o", place + "/r.tar.gz"}).exit, 0);
    EXPECT_EQ(tool({"report", "-o", place + "/r.tar.gz"}).exit, 6) << "nothing is overwritten";
    const Words   all{"/bin/tar", "-xzOf", place + "/r.tar.gz"};
    const Outcome unpacked = run(all);
    for (const char* part :
         {"26 login token: ok: made", "qvrfctl 1.", "hipm.endpoint=unix:", "nothing secret", "\"Model\": \"R7\"",
          "OSCreateRedfishSession: HTTP Response code = 201.", "GET /redfish/v1/Systems: HTTP 200"})
        EXPECT_TRUE(has(unpacked.out, part)) << part;
    for (const std::string& secret : planted) EXPECT_FALSE(has(unpacked.out, secret)) << secret;
    for (const std::string header : {"X-Auth-Token: ", "X-AUTH-TOKEN: ", "token=", "bearer e"})
        EXPECT_FALSE(has(unpacked.out, header)) << header;
    EXPECT_EQ(std::filesystem::status(place + "/r.tar.gz").permissions(), std::filesystem::perms(0600));
}

}  // namespace
