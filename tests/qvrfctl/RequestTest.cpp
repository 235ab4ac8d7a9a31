/** @file RequestTest.cpp  qvrfctl get, post, patch and delete against a simulator. */
#include <signal.h>

#include <filesystem>
#include <thread>

#include "ToolBench.h"

namespace {

constexpr char kSystem[] = "/redfish/v1/Systems/System.Embedded.1";
constexpr char kReset[]  = "/redfish/v1/Systems/System.Embedded.1/Actions/ComputerSystem.Reset";

class Requests : public OnEachGeneration {};
INSTANTIATE_TEST_SUITE_P(Generations, Requests, testing::Values("new", "old"), generationName);

TEST_P(Requests, CarryOutEveryMethodAndLeaveNoSession)
{
    EXPECT_EQ(document({"patch", kSystem, "--data", R"({"AssetTag":"rack 7"})"})["httpStatus"], 200);
    const Json got = document({"get", kSystem});
    EXPECT_EQ(got["httpStatus"], 200);
    EXPECT_EQ(got["body"]["AssetTag"], "rack 7");
    EXPECT_EQ(got["sessionRenewed"], false);
    EXPECT_EQ(document({"post", kReset, "-d", R"({"ResetType":"On"})"})["httpStatus"], 204);
    // Its own session: the fourth since the simulator started. Nothing is left to close then.
    const Outcome deleted = tool({"delete", sessions() + "/4"});
    EXPECT_EQ(deleted.exit, 0) << deleted.err;
    EXPECT_TRUE(has(deleted.err, "warning: the session 4 could not be closed")) << deleted.err;
    EXPECT_EQ(bmc.openSessions(), 0u);
}

struct Renewal {
    const char*              name;
    const char*              method;
    std::vector<std::string> arguments;
};

using RenewalInfo = testing::TestParamInfo<std::tuple<const char*, Renewal>>;
std::string renewalName(const RenewalInfo& row)
{
    return std::get<1>(row.param).name + std::string("_") + std::get<0>(row.param);
}

class Renewals : public ToolBench, public testing::TestWithParam<std::tuple<const char*, Renewal>> {
protected:
    Renewals() : ToolBench(std::get<0>(GetParam())) {}
};

TEST_P(Renewals, SendTheRequestOnceMore)
{
    const Renewal& row = std::get<1>(GetParam());
    bmc.control({"status", "401", row.method, "/test", "1"});
    std::vector<std::string> arguments = row.arguments;
    arguments.push_back("--json");
    const Outcome outcome = tool(arguments);
    ASSERT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_TRUE(has(outcome.err, "had ended the session")) << outcome.err;
    const Json json = Json::parse(outcome.out);
    EXPECT_EQ(json["httpStatus"], 200);
    EXPECT_EQ(json["sessionRenewed"], true);
    EXPECT_EQ(json["body"]["method"], row.method);
    EXPECT_EQ(bmc.openSessions(), 1u);  // the one that the fault only pretended to have ended
}

INSTANTIATE_TEST_SUITE_P(Methods, Renewals,
                         testing::Combine(testing::Values("new", "old"),
                                          testing::Values(Renewal{"Get", "GET", {"get", "/test/echo"}},
                                                          Renewal{"Post", "POST", {"post", "/test/echo", "-d", "{}"}},
                                                          Renewal{
                                                              "Patch", "PATCH", {"patch", "/test/echo", "-d", "{}"}},
                                                          Renewal{"Delete", "DELETE", {"delete", "/test/echo"}})),
                         renewalName);

class Answers : public OnOneGeneration {};

TEST_F(Answers, LongerThanTheFirstBufferAreFetchedWhole)
{
    for (const std::size_t size : {65534u, 65535u, 65536u, 300000u}) {
        const Outcome outcome = tool({"get", "/test/bytes/" + std::to_string(size)});
        ASSERT_EQ(outcome.exit, 0) << outcome.err;
        ASSERT_EQ(outcome.out.size(), size);
        EXPECT_EQ(outcome.out[size - 1], static_cast<char>('A' + (size - 1) % 26));
    }
}

TEST_F(Answers, ToAPostThatDoNotFitAreReportedAndThePostIsNotRepeated)
{
    const std::string file = bmc.directory() + "/body";
    writeFile(file, '"' + std::string(4200000, 'x') + '"');
    const Outcome outcome = tool({"post", "/test/echo", "--data", '@' + file});
    EXPECT_EQ(outcome.exit, 7) << outcome.err;
    EXPECT_TRUE(has(outcome.err, "answered with HTTP 200")) << outcome.err;
    EXPECT_EQ(Json::parse(bmc.control({"stats"}))["requests"]["POST /test/echo 200"], 1);
}

TEST_F(Answers, ComeAsTheyAreUnlessIndentationIsWanted)
{
    const std::string plain  = tool({"get", "/redfish/v1"}).out;
    const std::string pretty = tool({"get", "/redfish/v1", "--pretty"}).out;
    EXPECT_EQ(plain.find('\n'), std::string::npos);
    EXPECT_GT(std::count(pretty.begin(), pretty.end(), '\n'), 5);
    EXPECT_EQ(Json::parse(plain), Json::parse(pretty));
}

TEST_F(Answers, ShowTheirHeadersOnRequest)
{
    bmc.control({"add-header", "X-Marker: here", "GET", "/redfish/v1", "2"});
    const std::string text = tool({"get", "-i", "/redfish/v1"}).out;
    EXPECT_EQ(text.rfind("HTTP/1.1 200", 0), 0u) << text;
    EXPECT_LT(text.find("X-Marker: here\r\n"), text.find("\r\n\r\n{"));
    EXPECT_EQ(document({"get", "-i", "/redfish/v1"})["headers"]["X-Marker"], "here");
}

TEST_F(Answers, ComeThroughNoProxy)
{
    ChildOptions options;
    for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "ALL_PROXY", "all_proxy"})
        options.environment[name] = "http://127.0.0.1:9";  // where nobody listens
    EXPECT_EQ(tool({"get", "/redfish/v1"}, options).exit, 0);
}

TEST_F(Answers, TellNoTokenWhenTheToolExplainsItself)
{
    const Outcome outcome = tool({"get", "/test/echo", "-v"});
    const Json    echo    = Json::parse(outcome.out);  // the echo has every request header
    std::string   token;
    for (const Json& header : echo["headers"])
        if (header[0] == "X-Auth-Token") token = header[1].get<std::string>();
    ASSERT_EQ(token.size(), 32u) << outcome.out;
    EXPECT_FALSE(has(outcome.err, token)) << outcome.err;
}

class Bodies : public OnOneGeneration {};

TEST_F(Bodies, AreTakenFromTheCommandLineAFileOrStandardInput)
{
    const std::string file = bmc.directory() + "/body.json";
    const std::string body = R"({"k": [1, "two"]})";
    writeFile(file, body);
    ChildOptions input;
    input.input = body;
    EXPECT_EQ(document({"post", "/test/echo", "--data", body})["body"]["body"], body);
    EXPECT_EQ(document({"patch", "/test/echo", "--data", '@' + file})["body"]["body"], body);
    EXPECT_EQ(Json::parse(tool({"post", "/test/echo", "-d", "-"}, input).out)["body"], body);
    EXPECT_EQ(document({"post", "/test/echo"})["body"]["body"], "{}");
}

class Downloads : public OnOneGeneration {
protected:
    Downloads() { std::filesystem::create_directory(place); }
    std::size_t files() const
    {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(place), {}));
    }
    const std::string place = bmc.directory() + "/downloads";
    const std::string file  = place + "/body";
};

TEST_F(Downloads, ReplaceTheFile)
{
    writeFile(file, "old");
    const Outcome outcome = tool({"get", "/test/bytes/1000000", "-o", file});
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(readFile(file).size(), 1000000u);
    EXPECT_EQ(files(), 1u);
}

TEST_F(Downloads, ThatFailKeepTheFile)
{
    writeFile(file, "old");
    const Outcome missing = tool({"get", "/redfish/v1/nope", "-o", file});
    EXPECT_EQ(missing.exit, 5);
    EXPECT_TRUE(has(missing.err, "There is no resource")) << missing.err;
    bmc.control({"cut", "5000", "GET", "/test/bytes", "1"});
    EXPECT_EQ(tool({"get", "/test/bytes/1000000", "-o", file}).exit, 1);
    EXPECT_EQ(readFile(file), "old");
    EXPECT_EQ(files(), 1u);
}

TEST_F(Downloads, HaveTheSecondAnswerAloneAfterARenewal)
{
    bmc.control({"status", "401", "GET", "/test", "1"});
    EXPECT_EQ(tool({"get", "/test/bytes/26", "-o", file}).exit, 0);
    EXPECT_EQ(readFile(file), "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
}

TEST_F(Downloads, IntoDevicesAreWrittenInPlace)
{
    EXPECT_EQ(tool({"get", "/redfish/v1", "-o", "/dev/null"}).exit, 0);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

class Interrupted : public OnEachGeneration {};
INSTANTIATE_TEST_SUITE_P(Generations, Interrupted, testing::Values("new", "old"), generationName);

TEST_P(Interrupted, ClosesItsSessionAndLeavesNoFile)
{
    for (const int number : {SIGINT, SIGTERM}) {
        const std::string place = bmc.directory() + "/" + std::to_string(number);
        std::filesystem::create_directory(place);
        bmc.control({"delay", "60000", "GET", "/redfish/v1/Systems", "1"});
        Child child(commandLine({"get", "/redfish/v1/Systems", "-o", place + "/body"}), withPlatform());
        // The request is on its way when its rule has been used up.
        for (int tries = 0; tries < 1000 && has(bmc.control({"faults"}), "delay"); ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        child.signal(number);
        const Outcome outcome = child.wait();
        EXPECT_EQ(outcome.exit, 128 + number) << outcome.err;
        EXPECT_TRUE(has(outcome.err, "interrupted")) << outcome.err;
        EXPECT_EQ(bmc.openSessions(), 0u);
        EXPECT_TRUE(std::filesystem::is_empty(place));
    }
}

}  // namespace
