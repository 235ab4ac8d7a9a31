/** @file EventsTest.cpp  Event subscriptions, against a scripted TLS server. */
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "RedfishOnTheBench.h"

namespace {

/** Collects what a subscription is told. */
class Listener {
public:
    struct Event {
        s32         status, size, available;
        std::string text;
        bool        hasText;
    };

    QVRFUTILHttpCallbackContext context{
        this, [](SSEEventData* event) { static_cast<Listener*>(event->pCallerContext)->take(event); }};

    std::vector<Event> waitFor(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(guard_);
        came_.wait_for(lock, std::chrono::seconds(10), [&] { return events_.size() >= count; });
        return events_;
    }

private:
    void take(SSEEventData* event)
    {
        {
            const std::lock_guard<std::mutex> lock(guard_);
            u32                               padding = 1;
            std::memcpy(&padding, reinterpret_cast<const char*>(event) + 3 * sizeof(s32), sizeof padding);
            EXPECT_EQ(padding, 0U) << "zeroed as a whole";
            events_.push_back({event->StatusCode, event->EventPayloadSize, event->ReceivedEventAvailableSize,
                               event->pEvent != nullptr ? event->pEvent : "", event->pEvent != nullptr});
        }
        SMFreeMem(event->pEvent);
        SMFreeMem(event);
        came_.notify_all();
    }

    std::mutex              guard_;
    std::condition_variable came_;
    std::vector<Event>      events_;
};

constexpr char kStreamHead[] =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nTransfer-Encoding: chunked\r\n\r\n";

std::string chunk(const std::string& text)
{
    char size[20];
    std::snprintf(size, sizeof size, "%zx\r\n", text.size());
    return size + text + "\r\n";
}

class Events : public RedfishOnTheBench {
protected:
    void SetUp() override
    {
        RedfishOnTheBench::SetUp();
        haveSession();
    }
    s32      add() { return QVRFUTILRegisterSSE("/sse", &listener.context, &handle); }
    Listener listener;
    void*    handle = nullptr;
};

TEST_F(Events, ArriveAsTheyCameAndACleanEndIsSilent)
{
    // Each piece of the stream is one event; three bytes and less carry none.
    server.answer(
        {kStreamHead + chunk("data: a\n\ndata: b\n\n") + chunk(":\n\n") + chunk("abcd") + "0\r\n\r\n", false});
    ASSERT_EQ(add(), 0);
    ASSERT_NE(handle, nullptr);
    const auto events = listener.waitFor(2);
    EXPECT_EQ(QVRFUTILUnregisterSSE(&handle), 0);
    EXPECT_EQ(handle, nullptr);
    ASSERT_EQ(listener.waitFor(0).size(), 2U);
    EXPECT_EQ(events[0].text, "data: a\n\ndata: b\n\n");
    EXPECT_EQ(events[0].status, 0);
    EXPECT_EQ(events[0].size, 18);
    EXPECT_EQ(events[0].available, 18);
    EXPECT_EQ(events[1].text, "abcd");
    EXPECT_EQ(server.requests().at(0), "GET /sse HTTP/1.1\r\nHost: 127.0.0.1:" + server.port() +
                                           "\r\nAccept: */*\r\nX-Auth-Token: " + kToken +
                                           "\r\nContent-type: application/json\r\n\r\n");
    EXPECT_EQ(QVRFUTILUnregisterSSE(&handle), 102) << "a second time";
}

TEST_F(Events, ABrokenStreamIsToldOnceAndCanBeRegisteredAgain)
{
    server.answer({kStreamHead + chunk("first"), false});
    ASSERT_EQ(add(), 0);
    auto events = listener.waitFor(2);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[1].status, 273);
    EXPECT_EQ(events[1].size, 0);
    EXPECT_EQ(events[1].available, 0);
    EXPECT_FALSE(events[1].hasText);
    EXPECT_EQ(QVRFUTILUnregisterSSE(&handle), 0);

    server.answer({kStreamHead + chunk("again") + "0\r\n\r\n", false});
    ASSERT_EQ(add(), 0);
    EXPECT_EQ(listener.waitFor(3).at(2).text, "again");
    EXPECT_EQ(QVRFUTILUnregisterSSE(&handle), 0);
}

TEST_F(Events, AnErrorPageIsAnEventAndSilenceIsNone)
{
    server.answer(404, "no such stream");
    ASSERT_EQ(add(), 0);
    EXPECT_EQ(listener.waitFor(1).at(0).text, "no such stream");
    EXPECT_EQ(QVRFUTILUnregisterSSE(&handle), 0);

    server.answer({"", true});
    ASSERT_EQ(add(), 0);
    EXPECT_EQ(QVRFUTILUnregisterSSE(&handle), 0) << "ends a stream that never says anything";
    EXPECT_EQ(listener.waitFor(0).size(), 1U);
}

TEST_F(Events, RefusalsLeaveNoHandle)
{
    EXPECT_EQ(QVRFUTILRegisterSSE(nullptr, &listener.context, &handle), 102);
    EXPECT_EQ(QVRFUTILRegisterSSE("/sse", nullptr, &handle), 102);
    EXPECT_EQ(QVRFUTILRegisterSSE("/sse", &listener.context, nullptr), 102);
    EXPECT_EQ(QVRFUTILUnregisterSSE(nullptr), 102);
    for (const char* id : {"-1", ""}) {
        put(g_RedfishSession.SessionID, id);
        handle = this;
        EXPECT_EQ(add(), 104);
        EXPECT_EQ(handle, nullptr);
    }
    expectError("[QVRFUTIL] QVRFUTILOSRegisterSSE: Failed to Send SSE due to session failure. Please Retry\n");
    haveSession();
    EXPECT_EQ(QVRFUTILRegisterSSE(("/" + std::string(400, 'p')).c_str(), &listener.context, &handle), -1);
    EXPECT_EQ(handle, nullptr);
}

TEST_F(Events, WithoutACallbackTheStreamIsReadAndDropped)
{
    listener.context.pCallerCallBackFunction = nullptr;
    server.answer({kStreamHead + chunk("dropped"), false});
    ASSERT_EQ(add(), 0);
    const std::string line =
        "[QVRFUTIL]QVRFUTILCurlSSECallback  : Callback function or call back context or payload is NULL .\n";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!bmc.logged(bench::Level::error, line) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    expectError(line);
    EXPECT_EQ(QVRFUTILUnregisterSSE(&handle), 0);
}

TEST_F(Events, OlderGenerationMakesTheFirstSessionOrGoesAheadWithTheStaleRecord)
{
    giSServerNewGenAndAbove = FALSE;
    put(g_RedfishSession.SessionID, "-1");
    expectDiscovery();
    answerLogin();
    server.answer({kStreamHead + chunk("event") + "0\r\n\r\n", false});
    ASSERT_EQ(add(), 0);
    EXPECT_EQ(listener.waitFor(1).at(0).text, "event");
    EXPECT_EQ(QVRFUTILUnregisterSSE(&handle), 0);
    EXPECT_NE(server.requests().at(1).find(kOtherToken), std::string::npos);

    put(g_RedfishSession.SessionID, "-1");
    g_isRedfishSessionRequested = TRUE;
    server.answer({kStreamHead + chunk("stale") + "0\r\n\r\n", false});
    ASSERT_EQ(add(), 0);
    EXPECT_EQ(listener.waitFor(2).at(1).text, "stale");
    EXPECT_EQ(QVRFUTILUnregisterSSE(&handle), 0);
}

TEST_F(Events, EveryFailureToRegisterGivesAStatusAndFreesEverything)
{
    const auto prepare = [&] {
        start();
        haveSession();
        server.answer({"", true});
    };
    const auto run = [&] {
        const s32 status = add();
        EXPECT_EQ(handle != nullptr, status == 0);
        if (status != 0) return status;
        // What fails after registration (an event's memory, the worker's calls) shows in what is left over.
        EXPECT_EQ(QVRFUTILUnregisterSSE(&handle), 0);
        return status;
    };
    u32 nth = 1;
    for (s32 status = -1; status != 0; ++nth) {
        bmc.restart();
        prepare();
        bmc.failCall(nth);
        status = run();
        QVRFUTILCleanUp();
        expectNothingLeft();
        ASSERT_LT(nth, 30U);
    }
    EXPECT_GE(nth, 5U) << "handle, decryption, token, URL, thread";
    bmc.restart();
    nth = 1;
    for (s32 status = -1; status != 0; ++nth) {
        prepare();
        bench::failCurlCall(nth);
        status                   = run();
        const std::string failed = bench::failedCurlCall();
        if (status != 0) {  // without a URL, whose option is not looked at, the stream fails at once
            EXPECT_TRUE(status == 103 || (status == -1 && failed == "curl_easy_setopt")) << status << " " << failed;
        }
        ASSERT_LT(nth, 40U);
    }
    EXPECT_GT(nth, 12U);
}

}  // namespace
