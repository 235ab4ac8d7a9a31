/** @file UnexportedTest.cpp  What no export shows: texts without a NUL, a fork amid a renewal, held SIGPIPE. */
#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>
#include <string>

#include "OxaAutoUpdateLinuxDecide.h"
#include "OxaAutoUpdateUtilsDecode.h"
#include "curlLx.h"
#include "osprivlegePause.h"
#include "qvrfutilLXSession.h"
#include "qvrfutilSession.h"

namespace {

TEST(Unexported, TextsAreCutToTheRoom)
{
    const astring full[] = {'a', 'b', 'c', 'd'};
    const u8      sent[] = {'a', 0, 'b', 0x80, 'c'};  // zeros left out
    for (std::size_t room = 0; room <= 4; ++room) {
        const std::string kept     = room <= 1 ? "stale" : std::string("ab\x80").substr(0, room - 1);
        const std::string copy     = room == 0 ? "stale" : std::string("abcd").substr(0, room - 1);
        astring           field[6] = "stale", text[6] = "stale", cut[6] = "stale";
        qvrf::assign(field, full, room);
        EXPECT_STREQ(field, std::string(full, room).c_str());
        qvrf::textOfBytes(sent, sizeof sent, text, room);
        EXPECT_STREQ(text, kept.c_str());
        qvrf::copyCut(cut, room, {full, sizeof full});
        EXPECT_STREQ(cut, copy.c_str());
    }
}

TEST(Unexported, AForkedChildDoesNotWaitForTheParentsRenewal)
{
    QVRFUTILInit(FALSE);
    ASSERT_EQ(qvrf::QVRFUTILAcquireSessionCreationLock(), qvrf::Claim::ours);
    const pid_t child = fork();
    if (child == 0) _exit(g_isRedfishSessionRequested ? 1 : 0);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(g_isRedfishSessionRequested);
    QVRFUTILCleanUp();
}

TEST(Unexported, AnEndpointMayBeSetFromTheRecordsOwnTexts)
{
    qvrf::assign(g_RedfishSession.IPAddress, "fe80::1");
    qvrf::assign(g_RedfishSession.Port, "8443");
    QVRFUTILSetIPAddress(g_RedfishSession.IPAddress, g_RedfishSession.Port, TRUE);
    EXPECT_STREQ(g_RedfishSession.IPAddress, "[fe80::1]");
    EXPECT_STREQ(g_RedfishSession.Port, "8443");
}

TEST(Unexported, OnlyLinkLocalAddressesWithoutZoneNeedAScope)
{
    for (const char* address : {"fe80::1", "[fe80::1234]", "[febf:ffff:ffff:ffff:ffff:ffff:ffff:ffff]"})
        EXPECT_TRUE(qvrf::needsScope(address)) << address;
    for (const char* address : {"", "[", "[]", "169.254.1.1", "::1", "[fe80::1%usb0]", "[fec0::1]", "fe80::1]"})
        EXPECT_FALSE(qvrf::needsScope(address)) << address;
}

TEST(Unexported, AProcessIsTrustedForTheUsersThatItsStatusTells)
{
    for (const char* users : {"\t0\t0\t0\t0\n", "\t7\t7\t7\t7\n", "\t0\t7"})
        EXPECT_TRUE(qvrf::isTrustedUser(users, 7)) << users;
    for (const char* users : {"", "\t0", "\tx\t0", "\t0\tx", "\t8\t0", "\t0\t8"})
        EXPECT_FALSE(qvrf::isTrustedUser(users, 7)) << users;
}

TEST(Unexported, ASignalShortensNoPause)
{
    using Clock = std::chrono::steady_clock;
    signal(SIGALRM, [](int) {});
    const auto      begin = Clock::now();
    const itimerval soon{{}, {0, 300000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    qvrf::pauseFor(1);
    EXPECT_GE(Clock::now() - begin, std::chrono::seconds(1));
}

TEST(PipeSignal, TheHostsHandlerOutlivesOverlappingTransfers)
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

TEST(PipeSignal, ABrokenPipeDoesNotEndTheProcess)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    {
        const qvrf::PipeSignalHeld held;
        EXPECT_EQ(write(ends[1], "x", 1), -1);
        EXPECT_EQ(errno, EPIPE);
    }
    sigset_t pending, mask;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0) << "taken back with the protection";
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), 0);
    close(ends[1]);
}

TEST(PipeSignal, OneThatWasPendingBeforeStaysTheCallers)
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
