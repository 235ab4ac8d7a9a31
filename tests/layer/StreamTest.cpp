/** @file StreamTest.cpp  EventStream against a simulator. */
#include <random>

#include "LayerBench.h"

namespace layertest {
namespace {

constexpr char kStream[] = "/redfish/v1/SSE";

int streams()
{
    return tell("stats")["streamsOpen"];
}

/** These bytes in one write. */
void write(const std::string& bytes)
{
    std::string text;
    for (const char c : bytes) {
        if (c == '"' || c == '\\') text += '\\';
        text += c == '\n' ? std::string("\\\\n") : std::string(1, c);
    }
    tell("event-raw \"" + text + '"');
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

TEST_P(Streams, LoseNothingHoweverTheBytesAreWritten)
{
    const auto  stream = begun();
    std::string text;
    for (int i = 0; i < 60; ++i) text += "id: " + std::to_string(i) + "\ndata: {\"n\":" + std::to_string(i) + "}\n\n";
    std::mt19937 random(11);
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t size = 1 + random() % 8;  // pieces of up to 3 bytes are not handed to a callback
        write(text.substr(from, size));
        from += size;
    }
    for (int i = 0; i < 60; ++i) EXPECT_EQ(next(*stream), "{\"n\":" + std::to_string(i) + "}");
}

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
    tell(R"(raw "HTTP/1.1 404 Not Found\\r\\nContent-Length: 0\\r\\n\\r\\n" GET /redfish/v1/nope 1)");
    EventStream silent(session, options);
    EXPECT_EQ(next(silent), "nothing");
    EXPECT_EQ(silent.error()->http, 404) << "without a body";
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
    constexpr char type[] = "\\\\r\\\\nContent-Type: text/event-stream; charset=utf-8";
    for (const auto& [head, body, http] : {Opening{"200 OK", "dat", 0}, Opening{"200 OK", "\\\\n\\\\n", 0},
                                           Opening{"200 OK", "\\\\xEF\\\\xBB\\\\xBF", 0}, Opening{"200 OK", "", 0},
                                           Opening{"204 No Content", "", 204}, Opening{"302 Found", "", 302}}) {
        tell(std::string("raw \"HTTP/1.1 ") + head + type + "\\\\r\\\\nConnection: close\\\\r\\\\n\\\\r\\\\n" + body +
             "\" GET /redfish/v1/SSE 1");
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
    const auto retrying = [](const char* time, const char* count) {
        tell(
            std::string(
                "raw \"HTTP/1.1 200 OK\\\\r\\\\nContent-Type: text/event-stream\\\\r\\\\nConnection: close\\\\r\\\\n") +
            "\\\\r\\\\nretry: " + time + "\\\\n\" GET /redfish/v1/SSE " + count);
    };
    retrying("0", "4");
    const auto start = Clock::now();
    begun()->stop();
    EXPECT_GE(Clock::now() - start, Duration(900)) << "2/3 of 100, 200, 400 and 800 ms at least";
    EXPECT_TRUE(comesTrue([] { return streams() == 0; }));
    retrying("999999999", "1");
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
}

TEST_P(Streams, TellTheBmcTheLastEventAndHoldItWhileTheReaderSleeps)
{
    StreamOptions options;
    options.silence   = Duration(1500);
    const auto stream = begun(options);
    const auto event  = "data: " + std::string(100000, 'x') + "\n\n";
    for (int i = 0; i < 80; ++i) write(event);
    std::this_thread::sleep_for(Duration(2500));  // the reader, and nothing can be waited for
    int events = 0;
    for (const StreamItem& item : *stream) {
        EXPECT_TRUE(item.isEvent()) << "a reader asleep is not a silent BMC";
        if (++events == 80) break;
    }
    write("id: 41\ndata: last\n\n");
    EXPECT_EQ(next(*stream), "last");
    tell("stream-break");
    EXPECT_EQ(next(*stream), "gap after 41");
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
