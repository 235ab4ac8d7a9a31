/** @file ParserTest.cpp  Events taken out of a stream, however it is cut. */
#include <gtest/gtest.h>

#include <random>

#include "qvrfutil_events.hpp"

namespace qvrfutil {
namespace {

/** "name|id|data;" for each event, "!;" for a gap. */
std::string shown(const StreamItems& items)
{
    std::string text;
    for (const StreamItem& item : items)
        text += item.isEvent() ? item.name.value_or("-") + '|' + item.id.value_or("-") + '|' + item.data + ';' : "!;";
    return text;
}

struct Stream {
    const char* name;
    std::string text;
    const char* events;
};
class Parser : public testing::TestWithParam<Stream> {};

std::string cutInto(const std::string& text, const std::vector<std::size_t>& sizes)
{
    EventParser parser(60);
    std::string found;
    std::size_t from = 0;
    for (std::size_t i = 0; from < text.size(); from += sizes[i++ % sizes.size()])
        found += shown(parser.take(std::string_view(text).substr(from, sizes[i % sizes.size()])));
    return found;
}

TEST_P(Parser, FindsTheEventsHoweverTheStreamIsCut)
{
    const auto& [name, text, events] = GetParam();
    for (std::size_t size = 1; size <= text.size() + 1; ++size) EXPECT_EQ(cutInto(text, {size}), events) << size;
    std::mt19937 random(7);
    for (int cut = 0; cut < 200; ++cut) {
        std::vector<std::size_t> sizes(8);
        for (std::size_t& size : sizes) size = 1 + random() % 9;
        EXPECT_EQ(cutInto(text, sizes), events) << testing::PrintToString(sizes);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Streams, Parser,
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
                    Stream{"NulInAnId", std::string("id: 1\0\ndata: a\n\n", 16), "-|-|a;"},
                    Stream{"TooLongLine", "data: " + std::string(55, 'x') + "\n\ndata: a\n\n", "!;-|-|a;"},
                    Stream{"LongestLine", "data: " + std::string(54, 'x') + "\n\n",
                           "-|-|xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx;"},
                    Stream{"TooManyLines",
                           "data: " + std::string(40, 'x') + "\r\ndata: " + std::string(40, 'x') +
                               "\r\n\r\ndata: a\r\n\r\n",
                           "!;-|-|a;"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Parser, KnowsWhatWasToldLastAndWhatToWait)
{
    EventParser parser;
    parser.take("retry: 250\nid: 3\ndata: a\n\nretry: soon\ndata: b\n\nid: 4\n");
    EXPECT_EQ(parser.lastId(), "3") << "4 has not come to its end";
    EXPECT_EQ(parser.retry(), std::chrono::milliseconds(250));
    parser.restart();
    EXPECT_EQ(shown(parser.take("data: c\n\n")), "-|-|c;") << "nothing of the last connection is in the next event";
    EXPECT_EQ(parser.lastId(), "3");
}

TEST(Parser, KnowsAPageThatIsNoStream)
{
    for (const char* page : {"{\"error\":{}}", "<html>\n\n<p>data: x</p>\n\n", "Unauthorized\n\n", "\n\n"}) {
        EventParser parser;
        EXPECT_EQ(shown(parser.take(page)), "");
        EXPECT_FALSE(parser.isStream()) << page;
    }
    for (const char* stream : {":\n", "data\n", "id: 1\n", "event: a\n", "retry: 1\n"}) {
        EventParser parser;
        parser.take(stream);
        EXPECT_TRUE(parser.isStream()) << stream;
    }
}

}  // namespace
}  // namespace qvrfutil
