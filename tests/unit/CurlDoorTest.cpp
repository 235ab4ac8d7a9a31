/** @file CurlDoorTest.cpp  What the door to libcurl adds: old versions' bundle, held SIGPIPE, wiped header lines. */
#include <curl/curl.h>
#include <unistd.h>

#include <csignal>
#include <memory>

#include "BmcOnTheBench.h"
#include "curlLx.h"

namespace {

unsigned g_version = 0x074F01;  // 7.79.1: parses the CA bundle for every handle

}  // namespace

extern "C" curl_version_info_data* __real_curl_version_info(CURLversion);
extern "C" curl_version_info_data* __wrap_curl_version_info(CURLversion now)
{
    static curl_version_info_data info = *__real_curl_version_info(now);
    info.version_num                   = g_version;
    return &info;
}

namespace {

class CurlDoor : public BmcOnTheBench {};

TEST_F(CurlDoor, OldLibcurlIsToldToLeaveTheBundleAlone)
{
    EXPECT_TRUE(qvrf::newEasyHandle("op"));
    expectTrace("op: The curl API set CURLOPT_CAINFO succeeded.\n");
    expectTrace("op: The curl API set CURLOPT_CAPATH succeeded.\n");
}

TEST(CurlDoorDeathTest, NewerLibcurlGetsNoOptionsOnTop)
{
    // The version is asked once in a process: this one asks in a process of its own.
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            g_version   = 0x075000;
            bool silent = static_cast<bool>(qvrf::newEasyHandle("op"));
            for (const bench::LogLine& line : bench::Platform::instance().log())
                silent = silent && line.text.find("CURLOPT_CA") == std::string::npos;
            _exit(silent ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(CurlDoor, NoProxyGetsTheBmcsTokens)
{
    for (const char* variable : {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        bmc.restart();
        EXPECT_TRUE(qvrf::newEasyHandle("none"));
        setenv(variable, "http://127.0.0.1:9", 1);
        EXPECT_TRUE(qvrf::newEasyHandle("op"));
        unsetenv(variable);
        expectTrace("op: The curl API set CURLOPT_NOPROXY succeeded.\n");
        EXPECT_FALSE(bmc.logged(bench::Level::trace, "none: The curl API set CURLOPT_NOPROXY succeeded.\n"));
    }
}

TEST_F(CurlDoor, OnlyLinkLocalAddressesWithoutZoneNeedAScope)
{
    for (const char* address : {"fe80::1", "[fe80::1234]", "[febf:ffff:ffff:ffff:ffff:ffff:ffff:ffff]"})
        EXPECT_TRUE(qvrf::needsScope(address)) << address;
    for (const char* address : {"", "[", "[]", "169.254.1.1", "::1", "[fe80::1%usb0]", "[fec0::1]", "fe80::1]"})
        EXPECT_FALSE(qvrf::needsScope(address)) << address;
}

TEST_F(CurlDoor, TheHostsSignalHandlerOutlivesOverlappingTransfers)
{
    const auto handler = [](int) {};
    signal(SIGPIPE, handler);
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    auto first  = std::make_unique<qvrf::PipeSignalHeld>();
    auto second = std::make_unique<qvrf::PipeSignalHeld>();
    first.reset();  // before the second, as on two threads; this one thread has its mask back for that
    const auto during = signal(SIGPIPE, SIG_IGN);  // as libcurl does, once more
    second.reset();
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    EXPECT_EQ(during, SIG_IGN);
    EXPECT_EQ(signal(SIGPIPE, SIG_DFL), static_cast<void (*)(int)>(handler));
}

TEST_F(CurlDoor, ABrokenPipeDoesNotEndTheProcess)
{
    signal(SIGPIPE, SIG_DFL);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    {
        const qvrf::PipeSignalHeld held;
        EXPECT_EQ(write(ends[1], "x", 1), -1);
        EXPECT_EQ(errno, EPIPE);
    }
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0) << "taken back with the protection";
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), 0);
    close(ends[1]);
}

TEST_F(CurlDoor, ASignalThatWasPendingBeforeStaysTheCallers)
{
    sigset_t pipeSignal, before;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &before);
    pthread_kill(pthread_self(), SIGPIPE);
    {
        const qvrf::PipeSignalHeld held;
    }
    const timespec noWait{};
    EXPECT_EQ(sigtimedwait(&pipeSignal, nullptr, &noWait), SIGPIPE);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
