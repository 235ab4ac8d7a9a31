/** @file RequestTest.cpp  qvrfctl get, post, patch, delete, upload and events against a simulator. */
#include "ToolBench.h"

namespace {

constexpr char kStream[] = "/redfish/v1/SSE";
constexpr char kUpload[] = "/redfish/v1/UpdateService/MultipartUpload";

class Requests : public OnEachGeneration {
protected:
    bool hasStreams(int count) const { return control({"stats"})["streamsOpen"] == count; }
    /** A follower whose stream stands. */
    std::unique_ptr<Child> follower(const char* arguments) const
    {
        EXPECT_TRUE(comesTrue([&] { return hasStreams(0); })) << "the last one's is counted for this one's";
        auto child = start(split(std::string("events ") + arguments));
        EXPECT_TRUE(comesTrue([&] { return hasStreams(1); })) << "no stream was opened";
        return child;
    }
    void TearDown() override
    {
        EXPECT_TRUE(comesTrue([&] { return hasStreams(0); })) << "a stream is left";
    }
    const std::string  file = place + "/support log.zip";
    const ChildOptions terminal{{}, {}, ChildOptions::Output::terminal};
};
INSTANTIATE_TEST_SUITE_P(Generations, Requests, testing::Values("new", "old"), generationName);

TEST_P(Requests, CarryOutEveryMethodWithBodiesFromEverywhereAndAreSentOnceMoreAfterA401)
{
    writeFile(file, "[1]");
    for (const Words& row : casesOf("methods"))
        for (const char* fault : {"stats", "status 401"}) {
            const bool renewed = fault != std::string("stats");
            if (renewed) control({"status", "401", row[0], "/test", "1"});
            const Outcome outcome = tool(split(row[1] + " /test/echo --json -v"), {{}, "[1]", {}});
            const Json    json    = Json::parse(outcome.out, nullptr, false);
            EXPECT_EQ(json["body"]["method"], row[0]) << outcome.err;
            EXPECT_EQ(json["body"]["body"], row[2]);
            EXPECT_EQ(json["sessionRenewed"], renewed);
            EXPECT_EQ(has(outcome.err, "had ended the session"), renewed);
            for (const Json& header : json["body"]["headers"])
                EXPECT_TRUE(header[0] != "X-Auth-Token" || !has(outcome.err, header[1])) << "a token is told";
        }
    EXPECT_EQ(document({"post", "/test/echo", "-d", '@' + file})["body"]["body"], "[1]");
    EXPECT_EQ(openSessions(), 0u) << "those that the fault only pretended to have ended are deleted";
}

TEST_P(Requests, ShowAnswersOfAnySizeAsTheyAreWithTheirHeaders)
{
    for (const std::size_t size : {65534u, 65535u, 65536u, 300000u})
        EXPECT_EQ(tool({"get", "/test/bytes/" + std::to_string(size)}).out.size(), size);
    EXPECT_EQ(document({"get", "-i", "/redfish/v1"})["headers"]["OData-Version"], "4.0");
    answerOnce("/redfish/v1/Systems", R"({"b":[1.10,{},"{\"x\"}"]})");
    EXPECT_EQ(tool({"get", "/redfish/v1/Systems", "--pretty"}).out,
              "{\n  \"b\": [\n    1.10,\n    {},\n    \"{\\\"x\\\"}\"\n  ]\n}\n");
    writeFile(file, '"' + std::string(4200000, 'x') + '"');
    EXPECT_EQ(tool({"post", "/test/echo", "--data", '@' + file}).exit, 7);
    EXPECT_EQ(control({"stats"})["requests"]["POST /test/echo 200"], 1) << "a POST is not repeated";
    const int logins = control({"stats"})["logins"];
    EXPECT_EQ(Json::parse(tool({"get", "--no-auth", "/redfish/v1"}).out)["@odata.id"], "/redfish/v1");
    EXPECT_TRUE(has(tool({"get", "--no-auth", "/redfish/v1/Systems"}).err, "HTTP 401 Unauthorized"));
    EXPECT_EQ(control({"stats"})["logins"], logins);
}

TEST_P(Requests, UploadFilesWhole)
{
    for (const Words& row : casesOf("uploads")) {
        writeFile(file, row[0]);
        const Json answer = document({"upload", kUpload, "--file", file, "--metadata", R"({"Targets":[]})"});
        EXPECT_EQ(answer["body"]["SHA256"], row[1]);
        EXPECT_EQ(answer["body"]["FileName"], "support log.zip");
        EXPECT_EQ(answer["body"]["Metadata"].dump(), R"({"Targets":[]})");
    }
    writeFile(file, std::string(3'000'000, 'z'));
    EXPECT_EQ(document({"upload", kUpload, "--file", file, "--metadata", "{}"})["body"]["Size"], 3'000'000);
    writeFile(file, "abc");
    EXPECT_EQ(tool({"upload", kUpload, "--file", file, "--metadata", "{}"}).out.front(), '{') << "the body alone";
    control({"delay", "60000", "POST", kUpload, "1"});
    const auto child = start({"upload", kUpload, "--file", file, "--metadata", "{}"}, terminal);
    EXPECT_TRUE(comesTrue([&] { return has(child->out(), " % of 0.0 kB"); }));
    child->signal(SIGTERM);
    EXPECT_EQ(child->wait().exit, 128 + SIGTERM);
    control({"cut", "10", "POST", kUpload, "1"});
    EXPECT_TRUE(has(tool({"upload", kUpload, "--file", file, "--metadata", "{}"}).err, "the upload was not completed"));
    EXPECT_EQ(openSessions(), 0u);
}

TEST_P(Requests, ReplaceAFileByAWholeBodyOrLeaveIt)
{
    writeFile(file, "old");
    EXPECT_EQ(tool({"get", "/redfish/v1/nope", "-o", file}).exit, 5);
    control({"cut", "5000", "GET", "/test/bytes", "1"});
    EXPECT_TRUE(has(tool({"get", "/test/bytes/1000000", "-o", file}).err, "(Transferred a partial file); the file"));
    EXPECT_EQ(readFile(file), "old");
    control({"status", "401", "GET", "/test", "1"});
    EXPECT_EQ(tool({"get", "/test/bytes/26", "-o", file}).out, "") << "the body is in the file";
    EXPECT_EQ(readFile(file), "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_EQ(tool({"get", "/redfish/v1", "-o", "/dev/null"}).exit, 0);
    control({"delay", "60000", "GET", "/test/bytes", "1"});
    const auto child = start({"get", "/test/bytes/9", "-o", file}, terminal);
    EXPECT_TRUE(comesTrue([&] { return has(child->out(), file + ": 0.0 kB"); })) << "the request is on its way";
    child->signal(SIGTERM);
    const Outcome ended = child->wait();
    EXPECT_EQ(ended.exit, 128 + SIGTERM);
    EXPECT_GT(ended.out.rfind("interrupted"), ended.out.rfind(" kB\r\x1b[Kqvrfctl: ")) << "progress after the end";
    EXPECT_EQ(openSessions(), 0u) << "the one that the fault only pretended to have ended is deleted";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(place), {}), 4) << "a part of the body is left";
}

TEST_P(Requests, FollowEventsHoweverTheyTravel)
{
    const auto child = follower("--count 5");
    for (const char* line : {"events-together 2", "keep-alive", "event-split Halves", "event Whole"})
        control(split(line));
    control({"event-raw", R"(event: a\ndata: plain\ndata: text\n\n)"});
    control({"event", "Too-many"});
    const Outcome outcome = child->wait();
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 5) << outcome.out;
    for (const char* part : {"Together", "Halves", "Whole", "\nplain text\n"}) EXPECT_TRUE(has(outcome.out, part));
    const auto json = follower("/redfish/v1/SSE --count 1 --json");
    control({"event-raw", R"(id: 7\ndata: {"a":\ndata: [1]}\n\n)"});
    EXPECT_EQ(json->wait().out, "{\"event\":null,\"id\":\"7\",\"data\":{\"a\":[1]}}\n");
}

TEST_P(Requests, EndWithTheStreamOrASignalAndSaySo)
{
    for (const Words& row : casesOf("ends of a stream")) {
        const auto child = follower("/redfish/v1/SSE");
        control({"event", "Last"});
        EXPECT_TRUE(comesTrue([&] { return has(child->out(), "\"Last\"}]}\n"); })) << "an event stays in a buffer";
        if (row[0] == "SIGTERM") child->signal(SIGTERM);
        if (row[0] != "SIGTERM") control({row[0]});
        const Outcome outcome = child->wait();
        EXPECT_EQ(std::to_string(outcome.exit), row[1]) << outcome.err;
        EXPECT_TRUE(has(outcome.err, row[2])) << outcome.err;
        EXPECT_EQ(openSessions(), 0u);
    }
    {
        const auto child = follower("/redfish/v1/SSE");
        control({"event-raw", "data: "});
        for (int piece = 0; piece < 22; ++piece) control({"event-raw", std::string(50'000, 'x')});
        control({"event-raw", R"(\n\n)"});
        control({"stream-end"});
        const Outcome outcome = child->wait();
        EXPECT_EQ(outcome.exit, 8) << outcome.err;
        EXPECT_TRUE(has(outcome.err, "bytes was left out")) << outcome.err;
    }
    control({"status", "503", "GET", kStream});
    const Outcome refused = tool({"events", kStream, "--timeout", "1"});
    EXPECT_EQ(refused.exit, 5) << refused.err;
    EXPECT_TRUE(has(refused.err, "was not opened within 1 s: HTTP 503")) << refused.err;
    control({"clear"});
    for (const char* path : {"/redfish/v1/nope", "/redfish/v1/Systems"})
        EXPECT_TRUE(has(tool({"events", path}).err, "something else than an event stream"));
    EXPECT_EQ(tool({"events", kStream, "--timeout", "1", "--count", "1"}).exit, 8);
    EXPECT_EQ(tool({"events", kStream}, {{}, {}, ChildOptions::Output::closed}).exit, 6) << "nobody reads";
}

TEST_P(Requests, FollowEventsOverAGapAndEndThoughTheBmcIsSilent)
{
    const auto child = follower("/redfish/v1/SSE --reconnect --json");
    control({"stream-end"});
    EXPECT_TRUE(comesTrue([&] { return has(child->out(), R"({"gap":"reconnected","lastId":)"); }));
    EXPECT_TRUE(comesTrue([&] { return hasStreams(1); }));
    control({"event", "After"});
    EXPECT_TRUE(comesTrue([&] { return has(child->out(), "After"); }));
    control({"delay", "100000", "DELETE", "/redfish", "1"});
    const auto asked = std::chrono::steady_clock::now();
    child->signal(SIGTERM);
    const Outcome outcome = child->wait();
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(60)) << "it waited for the BMC";
    EXPECT_EQ(outcome.exit, 128 + SIGTERM);
    EXPECT_TRUE(has(outcome.err, "events may be missing here (reconnected)")) << outcome.err;
    EXPECT_TRUE(has(outcome.err, "the session could not be closed")) << outcome.err;
}

}  // namespace
