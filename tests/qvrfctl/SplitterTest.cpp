/** @file SplitterTest.cpp  Events taken out of a stream, however it is cut. */
#include <gtest/gtest.h>

#include "eventsplitter.h"

namespace qvrfctl {
namespace {

/** "name|id|data" for each event. */
std::string shown(const std::vector<StreamEvent>& events)
{
    std::string text;
    for (const StreamEvent& event : events)
        text += event.name.value_or("-") + '|' + event.id.value_or("-") + '|' + event.data + ';';
    return text;
}

struct Stream {
    const char* name;
    std::string text;
    const char* events;
};

std::string rowName(const testing::TestParamInfo<Stream>& row)
{
    return row.param.name;
}

class Splitter : public testing::TestWithParam<Stream> {};

TEST_P(Splitter, FindsTheEventsInOnePiece)
{
    EventSplitter splitter;
    EXPECT_EQ(shown(splitter.take(GetParam().text)), GetParam().events);
}

TEST_P(Splitter, FindsThemHoweverTheStreamIsCut)
{
    const std::string& text = GetParam().text;
    for (std::size_t size = 1; size < text.size(); ++size) {
        EventSplitter splitter;
        std::string   found;
        for (std::size_t from = 0; from < text.size(); from += size)
            found += shown(splitter.take(text.substr(from, size)));
        EXPECT_EQ(found, GetParam().events) << "pieces of " << size;
    }
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        EventSplitter     splitter;
        const std::string first = shown(splitter.take(text.substr(0, cut)));
        EXPECT_EQ(first + shown(splitter.take(text.substr(cut))), GetParam().events) << "cut at " << cut;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Streams, Splitter,
    testing::Values(Stream{"Nothing", "", ""}, Stream{"BlankLinesAlone", "\n\r\n\r\r\n\n", ""},
                    Stream{"LineFeeds", "id: 1\ndata: a\n\n", "-|1|a;"},
                    Stream{"CrLf", "id: 1\r\ndata: a\r\n\r\n", "-|1|a;"},
                    Stream{"CarriageReturns", "id: 1\rdata: a\r\rdata: b\r\r", "-|1|a;-|-|b;"},
                    Stream{"MixedEnds", "data: a\r\n\ndata: b\n\r\ndata: c\r\r\n", "-|-|a;-|-|b;-|-|c;"},
                    Stream{"SeveralAndAnUnfinishedOne", "data: 1\n\ndata: 2\n\ndata: 3\n", "-|-|1;-|-|2;"},
                    Stream{"Named", "event: alert\ndata: x\n\ndata: y\n\n", "alert|-|x;-|-|y;"},
                    Stream{"LinesOfData", "data: {\ndata:  \"a\": 1\ndata: }\n\n", "-|-|{\n \"a\": 1\n};"},
                    Stream{"OneBlankIsTakenAway", "data:a\n\ndata:  a\n\ndata:\ta\n\n", "-|-|a;-|-| a;-|-|\ta;"},
                    Stream{"EmptyData", "data\n\ndata:\n\ndata\ndata\n\n", "-|-|;-|-|;-|-|\n;"},
                    Stream{"CommentsAndKeepAlives", ":\n\n: hello\n\n:\ndata: a\n: b\n\n:\n\n", "-|-|a;"},
                    Stream{"WithoutData", "event: ping\nid: 9\n\nretry: 5\n\ndata: a\n\n", "-|-|a;"},
                    Stream{"UnknownFields", "datax: 1\nDATA: 2\nfoo\n\ndata: a\nfoo: b\n\n", "-|-|a;"},
                    Stream{"ByteOrderMark",
                           "\xEF\xBB\xBF"
                           "data: a\n\n\xEF\xBB\xBF"
                           "data: b\n\n",
                           "-|-|a;"},
                    Stream{"WholeJson", "id: 1\ndata: {\"a\":{}}\n\nid: 2\ndata: {\"b\":[]}\n\n",
                           "-|1|{\"a\":{}};-|2|{\"b\":[]};"}),
    rowName);

using Pieces = std::vector<std::string>;

std::string taken(EventSplitter& splitter, const Pieces& pieces)
{
    std::string text;
    for (const std::string& piece : pieces) text += shown(splitter.take(piece));
    return text;
}

struct Lost {
    const char* name;
    Pieces      pieces;  ///< what is left when the small ones are gone
    const char* events;
    const char* settled;  ///< after a silence
};
class LostLineEnds : public testing::TestWithParam<Lost> {};

TEST_P(LostLineEnds, DoNotJoinEvents)
{
    EventSplitter splitter;
    EXPECT_EQ(taken(splitter, GetParam().pieces), GetParam().events);
    EXPECT_EQ(shown(splitter.settle()), GetParam().settled);
    EXPECT_EQ(shown(splitter.settle()), "");
    EXPECT_EQ(shown(splitter.take("data: z\n\n")), "-|-|z;") << "nothing of the past is in the next event";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LostLineEnds,
    testing::Values(
        Lost{"BlankLine", {"id: 1\ndata: {\"a\":1}\n", "id: 2\ndata: {\"a\":2}\n"}, "-|1|{\"a\":1};", "-|2|{\"a\":2};"},
        Lost{"BothEnds", {"data: [1]", "data: [2]"}, "-|-|[1];", "-|-|[2];"},
        Lost{"IdBehindTheData", {"data: {}\n", "id: 1\n", "data: {}\n", "id: 2\n"}, "-|1|{};", "-|2|{};"},
        Lost{"FirstOneThenBoth", {"data: [1]\n", "data: [2]", "data: [3]\n"}, "-|-|[1];-|-|[2];", "-|-|[3];"},
        Lost{"FirstOneThenBothAndSilence", {"data: [1]\n", "data: [2]"}, "", "-|-|[1];-|-|[2];"},
        Lost{"TextAfterASilence", {"data: hello\n"}, "", "-|-|hello;"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Splitter, WaitsForTheRestOfJsonThatHasBegun)
{
    EventSplitter splitter;
    EXPECT_EQ(taken(splitter, {"data: {\n", "data: \"a\":\n"}), "");
    EXPECT_TRUE(splitter.isWithinEvent());
    EXPECT_EQ(shown(splitter.settle()), "");
    EXPECT_EQ(taken(splitter, {"data: [1]\n", "data: }\n\n"}), "-|-|{\n\"a\":\n[1]\n};");
    EXPECT_FALSE(splitter.isWithinEvent());
}

TEST(Splitter, DropsWhatIsTooLongAndGoesOnBehindIt)
{
    for (const std::string end : {"\n", "\r\n"}) {
        EventSplitter     splitter(100);
        const std::string fits    = "data: " + std::string(94, 'a') + end + end;
        const std::string oneMore = "data: " + std::string(95, 'b') + end + end;
        const std::string inLines = "data: " + std::string(60, 'c') + end + "data: " + std::string(60, 'c') + end + end;
        EXPECT_EQ(shown(splitter.take(fits)).size(), 94u + 5u);
        EXPECT_EQ(taken(splitter, {oneMore, inLines}), "");
        EXPECT_EQ(splitter.dropped(), 2u);
        EXPECT_EQ(shown(splitter.take("data: d" + end + end)), "-|-|d;");
    }
}

TEST(Splitter, KnowsAnAnswerThatIsNoStream)
{
    for (const char* other : {"{\"error\":{}}", "<html>\n\n<p>data: x</p>\n\n", "Unauthorized\n\n", "\n\n"}) {
        EventSplitter splitter;
        EXPECT_EQ(shown(splitter.take(other)), "");
        EXPECT_FALSE(splitter.isStream()) << other;
    }
    for (const char* stream : {":\n", "data\n", "id: 1\n", "event: a\n", "retry: 1\n"}) {
        EventSplitter splitter;
        splitter.take(stream);
        EXPECT_TRUE(splitter.isStream()) << stream;
    }
}

}  // namespace
}  // namespace qvrfctl
