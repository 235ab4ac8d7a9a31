/** @file EventTest.cpp  Event streams and the shapes that they come in. */
#include <atomic>
#include <future>
#include <mutex>

#include "Desk.h"

namespace {

class Events : public Desk {
protected:
    void SetUp() override { logIn(); }
    void TearDown() override
    {
        if (simulator_) simulator_->stop();
        if (stream_.valid()) stream_.wait();
    }

    /** Opens a stream in the background and waits until the simulator has it. */
    void open()
    {
        HttpCall request{"GET", url("/redfish/v1/SSE")};
        request.headers = {"X-Auth-Token: " + token_};
        request.onPiece = [this](const std::string& piece) {
            const std::lock_guard<std::mutex> lock(mutex_);
            pieces_.push_back(piece);
            return true;
        };
        stream_ = std::async(std::launch::async, [request] { return perform(request); });
        ASSERT_TRUE(reaches("streamsOpen", 1));
    }
    HttpAnswer finish(const std::string& line)
    {
        control(line);
        return stream_.get();
    }

    std::mutex               mutex_;
    std::vector<std::string> pieces_;
    std::future<HttpAnswer>  stream_;
};

TEST_F(Events, ArriveOnTheStreamEachInItsChunk)
{
    open();
    EXPECT_EQ(control("event \"hello there\"")["streams"], 1);
    control("keep-alive");
    const HttpAnswer answer = finish("stream-end");
    EXPECT_EQ(answer.curl, CURLE_OK);
    EXPECT_EQ(answer.value("Content-Type"), "text/event-stream");
    ASSERT_EQ(pieces_.size(), 2u);
    EXPECT_THAT(pieces_[0], testing::MatchesRegex("id: 1\ndata: \\{.*hello there.*\\}\n\n"));
    const Json event = Json::parse(pieces_[0].substr(pieces_[0].find('{')));
    EXPECT_EQ(event["Events"][0]["Message"], "hello there");
    EXPECT_EQ(pieces_[1], ":\n\n");
}

TEST_F(Events, ComeTogetherAndInParts)
{
    open();
    control("events-together 3");
    control("event-split whole");
    control("event-raw a\\r\\nb");
    finish("stream-end");
    ASSERT_EQ(pieces_.size(), 4u);
    EXPECT_THAT(pieces_[0], testing::HasSubstr("id: 3\n"));
    EXPECT_THAT(pieces_[1], testing::StartsWith("id: 4\n"));
    EXPECT_THAT(pieces_[1], testing::Not(testing::HasSubstr("\n\n")));
    EXPECT_THAT(pieces_[2], testing::EndsWith("\n\n"));
    EXPECT_EQ(Json::parse((pieces_[1] + pieces_[2]).substr(pieces_[1].find('{')))["Id"], "4");
    EXPECT_EQ(pieces_[3], "a\r\nb");
}

TEST_F(Events, ComeInBursts)
{
    open();
    control("events 5000");
    control("events 10 1000");
    const HttpAnswer answer = finish("stream-end");
    std::size_t      events = 0;
    for (auto at = answer.body.find("\n\n"); at != answer.body.npos; at = answer.body.find("\n\n", at + 2)) ++events;
    EXPECT_EQ(events, 5010u);
    EXPECT_EQ(control("stats")["eventsSent"], 5010);
}

TEST_F(Events, ComeByThemselves)
{
    control("event-interval 1");
    open();
    while (control("stats")["eventsSent"].get<int>() < 3) std::this_thread::yield();
    finish("stream-end");
    EXPECT_GE(pieces_.size(), 3u);
}

TEST_F(Events, BreakOffWithAReset)
{
    open();
    EXPECT_EQ(finish("stream-break").curl, CURLE_RECV_ERROR);
    EXPECT_TRUE(reaches("streamsOpen", 0));
}

TEST_F(Events, EndWhenTheHostLeaves)
{
    HttpCall request{"GET", url("/redfish/v1/SSE")};
    request.headers = {"X-Auth-Token: " + token_};
    request.onPiece = [](const std::string&) { return false; };
    stream_         = std::async(std::launch::async, [request] { return perform(request); });
    ASSERT_TRUE(reaches("streamsOpen", 1));
    control("event");
    EXPECT_EQ(stream_.get().curl, CURLE_WRITE_ERROR);
    EXPECT_TRUE(reaches("streamsOpen", 0)) << "without another event to find out";
}

TEST_F(Events, EndWhenTheSimulatorStops)
{
    open();
    sim().stop();
    EXPECT_NE(stream_.get().curl, CURLE_OK);
}

}  // namespace
