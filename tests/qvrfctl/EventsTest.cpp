/** @file EventsTest.cpp  qvrfctl events against a simulator. */
#include <signal.h>

#include <chrono>
#include <functional>
#include <sstream>
#include <thread>

#include "ToolBench.h"

namespace {

using Words = std::vector<std::string>;

constexpr char kStream[] = "/redfish/v1/SSE";

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> all;
    std::istringstream       stream(text);
    for (std::string line; std::getline(stream, line);) all.push_back(line);
    return all;
}

/** The message of an event as the simulator writes it. */
std::string message(const std::string& line)
{
    const Json event = Json::parse(line, nullptr, false);
    return event.is_discarded() ? "not JSON: " + line : event["Events"][0]["Message"].get<std::string>();
}

bool comesTrue(const std::function<bool()>& condition)
{
    for (int tries = 0; tries < 1000; ++tries) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

class StreamBench : public ToolBench {
protected:
    using ToolBench::ToolBench;

    int streams() const { return Json::parse(bmc.control({"stats"})).at("streamsOpen"); }
    /** A follower whose stream stands. */
    std::unique_ptr<Child> follower(const Words& arguments, const ChildOptions& options = {}) const
    {
        Words words{"events"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        auto child = std::make_unique<Child>(commandLine(words), withPlatform(options));
        EXPECT_TRUE(comesTrue([&] { return streams() == 1; })) << "no stream was opened";
        return child;
    }
    void expectNothingLeft() const
    {
        EXPECT_EQ(bmc.openSessions(), 0u);
        EXPECT_TRUE(comesTrue([&] { return streams() == 0; })) << "the stream is still open";
    }
};

class EachEvents : public StreamBench, public testing::TestWithParam<const char*> {
protected:
    EachEvents() : StreamBench(GetParam()) {}
};
INSTANTIATE_TEST_SUITE_P(Generations, EachEvents, testing::Values("new", "old"), generationName);

TEST_P(EachEvents, ComeOneALineHoweverTheyTravel)
{
    const auto child = follower({kStream, "--count", "4"});
    bmc.control({"events-together", "2"});
    bmc.control({"keep-alive"});
    bmc.control({"event-split", "Halves"});
    bmc.control({"event", "Whole"});
    bmc.control({"event", "One too many"});
    const Outcome outcome = child->wait();
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    const auto all = lines(outcome.out);
    ASSERT_EQ(all.size(), 4u) << outcome.out;
    EXPECT_EQ(message(all[0]), "Together");
    EXPECT_EQ(message(all[1]), "Together");
    EXPECT_EQ(message(all[2]), "Halves");
    EXPECT_EQ(message(all[3]), "Whole");
    expectNothingLeft();
}

TEST_P(EachEvents, AreFollowedUntilAnInterruptAndReadAtOnce)
{
    for (const int number : {SIGINT, SIGTERM}) {
        ChildOptions options;
        options.outputFile = bmc.directory() + "/events" + std::to_string(number);
        const auto child   = follower({kStream}, options);
        bmc.control({"event", "First"});
        EXPECT_TRUE(comesTrue([&] { return has(readFile(options.outputFile), "\"First\"}]}\n"); }))
            << "an event stays in a buffer";
        child->signal(number);
        const Outcome outcome = child->wait();
        EXPECT_EQ(outcome.exit, 128 + number) << outcome.err;
        EXPECT_EQ(lines(readFile(options.outputFile)).size(), 1u);
        EXPECT_FALSE(has(outcome.err, "ended the event stream")) << outcome.err;
        expectNothingLeft();
    }
}

class Events : public StreamBench, public testing::Test {
protected:
    Events() : StreamBench("old") {}
};

TEST_F(Events, AreTakenFromTheStreamThatTheEventServiceAnnounces)
{
    const auto child = follower({"--count", "1", "-v"});
    bmc.control({"event", "Found"});
    const Outcome outcome = child->wait();
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_EQ(message(outcome.out), "Found");
    EXPECT_TRUE(has(outcome.err, "following /redfish/v1/SSE\n")) << outcome.err;
}

TEST_F(Events, NeedAPathWhenNoneIsAnnounced)
{
    const std::string file = bmc.directory() + "/raw";
    writeFile(file, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
    bmc.control({"raw", '@' + file, "GET", "/redfish/v1/EventService", "1"});
    const Outcome outcome = tool({"events"});
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_TRUE(has(outcome.err, "announces no event stream")) << outcome.err;
    bmc.control({"status", "503", "GET", "/redfish/v1/EventService", "1"});
    EXPECT_EQ(tool({"events"}).exit, 5);
    expectNothingLeft();
}

constexpr char kRaw[] = R"(event: alert\nid: 7\ndata: {"a":\ndata: [1]}\n\n: aside\ndata: plain\ndata: text\n\n)";

TEST_F(Events, AreOneJsonObjectALine)
{
    const auto child = follower({kStream, "--count", "2", "--json", "--pretty"});
    bmc.control({"event-raw", kRaw});
    const auto all = lines(child->wait().out);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(Json::parse(all[0]), Json::parse(R"({"event":"alert","id":"7","data":{"a":[1]}})"));
    EXPECT_EQ(Json::parse(all[1]), Json::parse(R"({"event":null,"id":null,"data":"plain\ntext"})"));
}

TEST_F(Events, HaveTheirDataOnOneLine)
{
    const auto child = follower({kStream, "--count", "2"});
    bmc.control({"event-raw", kRaw});
    EXPECT_EQ(child->wait().out, "{\"a\": [1]}\nplain text\n");
}

TEST_F(Events, WhoseLineEndsAreAPieceThatTheLibraryLeavesOutAreNotJoined)
{
    const auto child = follower({kStream, "--count", "2"});
    for (const char* piece : {R"(data: {"a":1}\n)", R"(\n)", R"(data: text)", R"(\n\n)"})
        bmc.control({"event-raw", piece});
    const Outcome outcome = child->wait();
    EXPECT_EQ(outcome.out, "{\"a\":1}\ntext\n") << outcome.err;
}

TEST_F(Events, AreFollowedWithANewSessionWhereTheirsHadEnded)
{
    bmc.control({"status", "401", "GET", kStream, "1"});
    const auto child = follower({kStream, "--count", "1"});
    bmc.control({"event", "Here"});
    const Outcome outcome = child->wait();
    EXPECT_EQ(message(outcome.out), "Here");
    EXPECT_TRUE(has(outcome.err, "had ended the session")) << outcome.err;
}

TEST_F(Events, OfAStreamThatIsBegunAnewTellTheGap)
{
    const auto child = follower({kStream, "--count", "2", "--reconnect", "--json"});
    bmc.control({"event", "Before"});
    bmc.control({"stream-break"});
    EXPECT_TRUE(comesTrue([&] { return streams() == 0; }));
    EXPECT_TRUE(comesTrue([&] { return streams() == 1; }));
    bmc.control({"event", "After"});
    const Outcome outcome = child->wait();
    const auto    all     = lines(outcome.out);
    ASSERT_EQ(all.size(), 3u) << outcome.out << outcome.err;
    EXPECT_EQ(Json::parse(all[1])["gap"], "reconnected");
    EXPECT_TRUE(has(outcome.err, "events may be missing here")) << outcome.err;
}

TEST_F(Events, EndInTimeWhenTheBmcIsSilent)
{
    bmc.control({"delay", "60000", "POST", sessions(), "1"});
    const Outcome outcome = tool({"events", kStream, "--timeout", "1"});
    EXPECT_EQ(outcome.exit, 8) << outcome.err;
    EXPECT_TRUE(has(outcome.err, "did not answer within 1 s")) << outcome.err;
}

TEST_F(Events, EndWithABrokenStreamAndSaySo)
{
    const auto child = follower({kStream, "--json"});
    bmc.control({"event", "Last"});
    bmc.control({"stream-break"});
    const Outcome outcome = child->wait();
    EXPECT_EQ(outcome.exit, 8);
    EXPECT_TRUE(has(outcome.err, "status 273 (QVRFUTIL_EVENT_STREAM_BROKEN)")) << outcome.err;
    EXPECT_TRUE(has(outcome.err, "advice: ")) << outcome.err;
    const auto all = lines(outcome.out);
    ASSERT_EQ(all.size(), 2u) << outcome.out;
    EXPECT_EQ(message(Json::parse(all[0])["data"].dump()), "Last");
    EXPECT_EQ(Json::parse(all[1])["error"]["status"], 273);
    expectNothingLeft();
}

TEST_F(Events, EndWithTheStreamAndSaySo)
{
    const auto child = follower({kStream});
    bmc.control({"event", "Last"});
    bmc.control({"stream-end"});
    const Outcome outcome = child->wait();
    EXPECT_EQ(outcome.exit, 8);
    EXPECT_EQ(message(outcome.out), "Last");
    EXPECT_TRUE(has(outcome.err, "the BMC ended the event stream /redfish/v1/SSE after 1 event\n")) << outcome.err;
    expectNothingLeft();
}

struct Page {
    const char* name;
    Words       control;
    const char* path;
    const char* says;
};
class NoStream : public StreamBench, public testing::TestWithParam<Page> {
protected:
    NoStream() : StreamBench("old") {}
};

TEST_P(NoStream, IsAnErrorThatTellsWhatCame)
{
    if (!GetParam().control.empty()) bmc.control(GetParam().control);
    const Outcome outcome = tool({"events", GetParam().path});
    EXPECT_EQ(outcome.exit, 5) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(has(outcome.err, "something else than an event stream")) << outcome.err;
    EXPECT_TRUE(has(outcome.err, GetParam().says)) << outcome.err;
    expectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(
    Answers, NoStream,
    testing::Values(Page{"NotFound", {}, "/redfish/v1/nope", "There is no resource"},
                    Page{"AnotherResource", {}, "/redfish/v1/Systems", "#ComputerSystemCollection"},
                    Page{"Empty",
                         {"raw", "HTTP/1.1 404 None\\r\\nContent-Length: 0\\r\\n\\r\\n", "GET", kStream, "1"},
                         kStream,
                         "HTTP 404"},
                    Page{"Refused", {"status", "403", "GET", kStream, "1"}, kStream, "advice: check the path"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(Events, AreWaitedForAsLongAsSaid)
{
    const Outcome enough = tool({"events", kStream, "--timeout", "1"});
    EXPECT_EQ(enough.exit, 0) << enough.err;
    EXPECT_EQ(enough.out + enough.err, "");
    const Outcome missing = tool({"events", kStream, "--timeout", "1", "--count", "3"});
    EXPECT_EQ(missing.exit, 8);
    EXPECT_TRUE(has(missing.err, "only 0 events of 3 came within 1 s")) << missing.err;
    expectNothingLeft();
}

TEST_F(Events, ThatNobodyReadsEndTheFollower)
{
    ChildOptions closed;
    closed.outputClosed = true;
    Child child(commandLine({"events", kStream}), withPlatform(closed));
    EXPECT_EQ(child.wait().exit, 6) << "without an event to write";
    expectNothingLeft();
}

}  // namespace
