/** @file StreamTest.cpp  EventStream against a simulator. */
#include <atomic>

#include "LayerBench.h"

namespace layertest {
namespace {

constexpr char kStream[] = "/redfish/v1/SSE";
constexpr char kType[]   = "Content-Type: text/event-stream";

constexpr int     kHeld  = 42;  // as many as are held for a reader that sleeps
const std::string kLarge = "data: " + std::string(100000, 'x') + "\n\n";

int streams()
{
    return tell("stats")["streamsOpen"];
}

/** These bytes in one write. */
void write(const std::string& bytes)
{
    tell("event-raw " + word(bytes));
}

class Streams : public EachGeneration {
protected:
    Streams() { tell("clear"); }

    std::unique_ptr<EventStream> begun(StreamOptions options = {})
    {
        options.firstPause = Duration(1);
        auto stream        = std::make_unique<EventStream>(session, options);
        EXPECT_TRUE(comesTrue([] { return streams() == 1; })) << "the stream does not stand";
        return stream;
    }
    static std::string next(EventStream& stream)
    {
        const auto item = stream.next(Clock::now() + Duration(30000));
        if (!item) return "nothing";
        return item->isEvent() ? item->data : "gap after " + item->lastId;
    }

    Client  client;
    Session session{client};
};
INSTANTIATE_TEST_SUITE_P(Generations, Streams, testing::Values("new", "old"),
                         [](const auto& row) { return std::string(row.param); });

TEST_P(Streams, AreBegunAnewAndTellTheGapOnce)
{
    const auto stream = begun();
    for (const char* end : {"stream-end", "stream-break"}) {
        write("id: 7\ndata: whole\n\ndata: half");
        EXPECT_EQ(next(*stream), "whole");
        tell("status 503 GET /redfish/v1/SSE 2");
        tell(end);
        EXPECT_EQ(next(*stream), "gap after 7");
        EXPECT_TRUE(comesTrue([] { return streams() == 1; }));
        write("data: after\n\n");
        EXPECT_EQ(next(*stream), "after") << "neither a second gap nor the half";
    }
}

TEST_P(Streams, GetANewSessionWhenTheirsHasEnded)
{
    const auto stream = begun();
    tell("expire");
    tell("status 503 POST /redfish/v1 2");  // and no new one at once
    tell("stream-end");
    EXPECT_EQ(next(*stream), "gap after ");
    EXPECT_TRUE(comesTrue([] { return streams() == 1; }));
    write("data: after\n\n");
    EXPECT_EQ(next(*stream), "after");
    EXPECT_EQ(openSessions(), 1u);
}

TEST_P(Streams, TellAGapForWhatIsTooLongAndForSilence)
{
    StreamOptions options;
    options.mostEventBytes = 100;
    options.silence        = Duration(400);
    const auto stream      = begun(options);
    write("data: " + std::string(200, 'x') + "\n\ndata: after\n\n");
    EXPECT_EQ(next(*stream), "gap after ");
    EXPECT_EQ(next(*stream), "after");
    EXPECT_EQ(next(*stream), "gap after ") << "nothing came for longer than allowed";
}

TEST_P(Streams, AreOverWhereARepetitionWouldNotHelp)
{
    StreamOptions options;
    options.path = "/redfish/v1/nope";
    EventStream missing(session, options);
    EXPECT_EQ(next(missing), "nothing");
    EXPECT_EQ(missing.error()->http, 404);
    options.path      = kStream;
    options.reconnect = false;
    const auto once   = begun(options);
    tell("stream-end");
    EXPECT_EQ(next(*once), "nothing") << "an end before the first event";
    EXPECT_EQ(once->error()->status, 0);
}

/** The whole of an answer that is no standing stream, and what becomes of it. */
struct Opening {
    const char* head;
    const char* body;
    int         http;  ///< 0: it is begun anew
};

TEST_P(Streams, AreJudgedByTheirTypeAndNotByTheirBytes)
{
    for (const auto& [head, body, http] :
         {Opening{"200 OK", "dat", 0}, Opening{"200 OK", "\n\n", 0}, Opening{"200 OK", "\xEF\xBB\xBF", 0},
          Opening{"200 OK", "", 0}, Opening{"204 No Content", "", 204}, Opening{"302 Found", "", 302}}) {
        answer(kStream, head + std::string("\r\n") + kType + "; charset=utf-8", body);
        StreamOptions options;
        options.firstPause = Duration(1);
        EventStream stream(session, options);
        EXPECT_EQ(next(stream), http == 0 ? "gap after " : "nothing") << head << body;
        if (http != 0)
            EXPECT_EQ(stream.error()->http, http);
        else
            EXPECT_TRUE(comesTrue([] { return streams() == 1; })) << body;
        stream.stop();
        EXPECT_TRUE(comesTrue([] { return streams() == 0; }));
    }
}

TEST_P(Streams, ComeBackNeitherInAFloodNorNever)
{
    const auto retrying = [](const char* time, int count) {
        answer(kStream, std::string("200 OK\r\n") + kType, std::string("retry: ") + time + '\n', count);
    };
    retrying("0", 4);
    const auto start = Clock::now();
    begun()->stop();
    EXPECT_GE(Clock::now() - start, Duration(900)) << "2/3 of 100, 200, 400 and 800 ms at least";
    EXPECT_TRUE(comesTrue([] { return streams() == 0; }));
    retrying("999999999", 1);
    StreamOptions options;
    options.mostPause = Duration(50);
    EXPECT_TRUE(begun(options));
}

TEST_P(Streams, NoticeABmcThatWasBornAgain)
{
    StreamOptions options;
    options.probe     = Duration(200);
    const auto stream = begun(options);
    tell("expire");  // and the stream that stands tells nothing
    EXPECT_EQ(next(*stream), "gap after ");
    EXPECT_TRUE(comesTrue([] { return openSessions() == 1; }));
    EXPECT_TRUE(comesTrue([] { return connections([](int fd) { return option(fd, SO_KEEPALIVE) != 0; }) == 1; }));
}

TEST_P(Streams, TellTheBmcTheLastEvent)
{
    StreamOptions options;
    options.path = "/test/echo";  // which tells what it was asked, and is no stream
    for (const std::string id : {"41", "\xC3\xA9"}) {
        answer(options.path, std::string("200 OK\r\n") + kType, "id: " + id + "\ndata: last\n\n");
        options.firstPause = Duration(1);
        EventStream stream(session, options);
        EXPECT_EQ(next(stream), "last");
        EXPECT_EQ(next(stream), "gap after " + id);
        EXPECT_EQ(next(stream), "nothing");
        EXPECT_EQ(has(stream.error()->page, R"(["Last-Event-ID","41"])"), id == "41") << stream.error()->page;
    }
}

TEST_P(Streams, DoNotMistakeAReaderAsleepForASilentBmc)
{
    StreamOptions options;
    options.silence    = Duration(8000);
    const auto  stream = begun(options);
    EventStream awake(session, options);
    EXPECT_TRUE(comesTrue([] { return streams() == 2; }));
    for (int i = 0; i < kHeld; ++i) write(kLarge);
    for (int seen = 0; next(awake) != "gap after ";)
        if (++seen == kHeld) write("data: waits for the reader\n\n");
    for (int i = 0; i <= kHeld; ++i) EXPECT_TRUE(stream->next()->isEvent());
    write("data: after\n\n");
    EXPECT_EQ(next(*stream), "after");
}

TEST(StreamState, HoldsNoMoreThanItMay)
{
    const auto       state = detail::StreamState::make({});
    std::atomic<int> taken{0};
    std::thread      bmc([&] {
        for (; taken < 2 * kHeld; ++taken) state->take(kLarge);
    });
    EXPECT_TRUE(comesTrue([&] { return taken >= kHeld; }));
    for (int read = 0; read < 2 * kHeld; ++read) {
        EXPECT_LE(taken, read + kHeld);
        EXPECT_TRUE(state->next({}));
    }
    bmc.join();
}

TEST_P(Streams, StopWhileTheBmcIsSilent)
{
    tell("delay 20000 GET /redfish/v1/SSE 1");
    StreamOptions options;
    options.path = kStream;
    EventStream stream(session, options);
    std::thread stopper([&] { stream.stop(); });
    EXPECT_FALSE(stream.next());
    stopper.join();
    EXPECT_TRUE(stream.isStopped());
    EXPECT_FALSE(stream.error());
}

}  // namespace
}  // namespace layertest
