/** @file StressTest.cpp  Many threads at once: requests while the session expires, subscriptions while requests run. */
#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "Child.h"
#include "DeskBmc.h"
#include "OxaAutoUpdateLinux.h"
#include "smsecure.h"

namespace {

std::atomic<int> creating{0};
std::atomic<int> mostCreating{0};
std::atomic<int> creations{0};

}  // namespace

// Stands before the platform's own: every creation of a session passes here, so this sees how many run at a time.
extern "C" s32 SMSecureGenerateBMCLoginToken(u32 reserved, const astring* userName, u32 role)
{
    static const auto next =
        reinterpret_cast<decltype(&SMSecureGenerateBMCLoginToken)>(dlsym(RTLD_NEXT, "SMSecureGenerateBMCLoginToken"));
    const int now = ++creating;
    ++creations;
    int most = mostCreating;
    while (now > most && !mostCreating.compare_exchange_weak(most, now)) {
    }
    const s32 status = next(reserved, userName, role);
    --creating;
    return status;
}

namespace {

class Stress : public DeskBmc {};

TEST_F(Stress, RequestsGoOnWhileTheSessionExpiresUnderThem)
{
    constexpr int kThreads = 8, kRequests = 60, kExpiries = 12;
    start(false);
    ASSERT_EQ(logIn(), 0);
    creations = mostCreating = 0;

    // Refusals while another thread renews (104), a 401 whose renewal succeeded, and a request on a copy of the record
    // that the renewing thread was just writing: each is answered by sending again.
    std::atomic<int>         done{0}, givenUp{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRequests; ++i) {
                const auto type     = (t + i) % 2 == 0 ? QVRFUTIL_REQUEST_GET : QVRFUTIL_REQUEST_PATCH;
                int        attempts = 0;
                for (Answer answer; answer.http != 200;
                     answer = send(type, "/redfish/v1/Systems/System.Embedded.1", "{}"))
                    if (++attempts > 20000) break;
                if (attempts > 20000) ++givenUp;
                ++done;
            }
        });
    for (int expiry = 1; expiry <= kExpiries; ++expiry) {
        while (done < expiry * kThreads * kRequests / (kExpiries + 1)) std::this_thread::yield();
        control("expire");
    }
    for (auto& thread : threads) thread.join();

    EXPECT_EQ(givenUp, 0);
    EXPECT_GE(creations, kExpiries / 2);
    EXPECT_LE(creations, kExpiries) << "one expiry costs one session, however many threads it hits";
    EXPECT_EQ(sessions(), 1U);
    EXPECT_EQ(mostCreating, 1) << "one re-creation at a time";
    EXPECT_FALSE(g_isRedfishSessionRequested);
    EXPECT_EQ(logOut(), 0);
}

/** Counts what a subscription is told. */
struct Counter {
    std::atomic<int>            events{0};
    std::atomic<bool>           open{true};
    QVRFUTILHttpCallbackContext context{this, [](SSEEventData* event) {
                                            auto& me = *static_cast<Counter*>(event->pCallerContext);
                                            EXPECT_TRUE(me.open) << "a callback after unregister returned";
                                            ++me.events;
                                            SMFreeMem(event->pEvent);
                                            SMFreeMem(event);
                                        }};
    void*                       handle = nullptr;
};

TEST_F(Stress, AHundredSubscriptionsWhileRequestsRun)
{
    constexpr int kSubscriptions = 100;
    start(true);
    ASSERT_EQ(logIn(), 0);
    std::atomic<bool>    stop{false};
    std::thread          requests([&] {
        while (!stop) EXPECT_EQ(send(QVRFUTIL_REQUEST_GET, "/redfish/v1/Systems").http, 200);
    });
    std::vector<Counter> counters(kSubscriptions);
    for (Counter& c : counters) ASSERT_EQ(QVRFUTILRegisterSSE("/redfish/v1/SSE", &c.context, &c.handle), 0);
    EXPECT_TRUE(comesTrue([&] { return control("stats").at("streamsOpen") == kSubscriptions; }));
    for (int i = 0; i < 5; ++i) control("event hello");
    const auto heard = [&] {
        for (Counter& c : counters)
            if (c.events == 0) return false;
        return true;
    };
    EXPECT_TRUE(comesTrue(heard));
    std::vector<std::thread> threads;
    for (Counter& c : counters)
        threads.emplace_back([&c] {
            EXPECT_EQ(QVRFUTILUnregisterSSE(&c.handle), 0);
            c.open = false;
        });
    for (auto& thread : threads) thread.join();
    stop = true;
    requests.join();
    EXPECT_EQ(logOut(), 0);
}

/** Whether a thread that is cancelled before @p call carries it out and ends behind it. */
bool endsBehind(const std::function<bool()>& call)
{
    bool done = false, goesOn = false;
    std::thread([&] {
        pthread_cancel(pthread_self());
        done = call();
        pthread_testcancel();
        goesOn = true;
    }).join();
    return done && !goesOn;
}

TEST_F(Stress, ACancelledThreadEndsBehindItsCall)
{
    start(true);
    ASSERT_EQ(logIn(), 0);
    Counter     stream;
    std::string url = "https://127.0.0.1:" + std::to_string(bmc.httpsPort()) + "/redfish", v1 = "v1",
                to = bmc.stateDir();
    EXPECT_TRUE(endsBehind([] { return send(QVRFUTIL_REQUEST_GET, "/redfish/v1/Systems").http == 200; }));
    EXPECT_TRUE(endsBehind([&] { return DownloadHTTPSFile(to.data(), url.data(), v1.data()) == 0; }));
    EXPECT_TRUE(
        endsBehind([&] { return QVRFUTILRegisterSSE("/redfish/v1/SSE", &stream.context, &stream.handle) == 0; }));
    EXPECT_TRUE(endsBehind([&] { return QVRFUTILUnregisterSSE(&stream.handle) == 0; }));  // sleeps
    EXPECT_EQ(logOut(), 0);
    EXPECT_TRUE(endsBehind([] { return QVRFUTILInit(FALSE) == 0; }));  // runs a command
}

}  // namespace
