/** @file sockettransport_test.cpp  Requests over a socket whose far end is slow, wrong, silent or gone. */
#include "sockettransport.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <csignal>
#include <future>

#include "channel.h"
#include "scratch.h"
#include "scriptedpeer.h"
#include "torvotext.h"

using namespace qvplatform;

namespace {

using testing::Optional;

class Socket : public testing::Test {
protected:
    static constexpr std::chrono::milliseconds kAmple{20000};  // never waited for when all is well
    static constexpr std::chrono::milliseconds kShort{60};     // for replies that never come

    std::optional<Bytes> ask(const Bytes& bytes, std::chrono::milliseconds limit = kAmple)
    {
        return transport.exchange(bytes, Clock::now() + limit);
    }

    const Scratch   scratch;
    SocketTransport transport{Endpoint{Endpoint::Kind::unixSocket, scratch / "bmc", {}}};
    const Bytes     request{0xC0, 0xBF, 0x01};
    const Bytes     reply{0xC4, 0xBF, 0x00, 0x07};
};

TEST_F(Socket, GreetsAndCarriesARequest)
{
    ScriptedPeer peer(scratch / "bmc", [](Line& line, const Message& m) { line.reply(m, {0x00, 0x07}); });
    EXPECT_THAT(ask(request), Optional(reply));
    EXPECT_EQ(peer.received(), (Bytes{0xFF, 0x01, 0xA1, 0x08, 0x00, 0xA1, 0x01, 0xC0, 0xBF, 0x01, 0x7F, 0xA0}));
}

TEST_F(Socket, LeavesEverythingElseThanItsReplyAside)
{
    ScriptedPeer peer(scratch / "bmc", [](Line& line, const Message& m) {
        Message other = replyTo(m, {0x00, 0x01});
        other.sequence++;
        line.raw(encodeMessage(other));
        other          = replyTo(m, {0x00, 0x02});
        other.bytes[1] = 0x55;
        line.raw(encodeMessage(other));
        other          = replyTo(m, {0x00, 0x03});
        other.bytes[0] = m.bytes[0];
        line.raw(encodeMessage(other));
        line.raw(encodeMessage(replyTo(m, {})));  // no completion code
        line.raw({0x01, 0xA1, 0x12, 0x34, 0xA0});
        line.reply(m, {0x00, 0x07});
    });
    EXPECT_THAT(ask(request), Optional(reply));
}

TEST_F(Socket, TimesOutOnSilence)
{
    ScriptedPeer peer(scratch / "bmc", [](Line&, const Message&) {});
    EXPECT_EQ(ask(request, kShort), std::nullopt);
}

TEST_F(Socket, DropsTheReplyThatComesTooLate)
{
    std::optional<Message> late;
    ScriptedPeer           peer(scratch / "bmc", [&](Line& line, const Message& m) {
        if (!late) {
            late = replyTo(m, {0x00, 0x66});
            return;
        }
        line.raw(encodeMessage(*late));
        line.reply(m, {0x00, 0x07});
    });
    EXPECT_EQ(ask(request, kShort), std::nullopt);
    EXPECT_THAT(ask(request), Optional(reply));
    EXPECT_EQ(peer.connections(), 1);
}

TEST_F(Socket, GivesUpOnAFrameWithoutEnd)
{
    ScriptedPeer peer(scratch / "bmc", [](Line& line, const Message&) { line.raw(Bytes(64 * 1024 * 1024, 0x11)); });
    EXPECT_EQ(ask(request, kShort), std::nullopt);
}

TEST_F(Socket, ConnectsAnewWhenThePeerWentAwayInBetween)
{
    ScriptedPeer peer(scratch / "bmc", [](Line& line, const Message& m) {
        line.reply(m, {0x00, 0x07});
        line.hangUp();
    });
    for (int round = 1; round <= 3; ++round) {
        EXPECT_THAT(ask(request), Optional(reply));
        EXPECT_EQ(peer.requests(), round);
        peer.awaitHangUps(round);  // a request on its way to a peer that just leaves is rightly lost
    }
}

TEST_F(Socket, DoesNotRepeatARequestThatThePeerMayHaveSeen)
{
    ScriptedPeer peer(scratch / "bmc", [](Line& line, const Message&) { line.hangUp(); });
    EXPECT_EQ(ask(request), std::nullopt);
    EXPECT_EQ(peer.requests(), 1);
}

TEST_F(Socket, ReachesAPeerThatStartsLater)
{
    EXPECT_EQ(ask(request), std::nullopt);
    ScriptedPeer peer(scratch / "bmc", [](Line& line, const Message& m) { line.reply(m, {0x00, 0x07}); });
    EXPECT_THAT(ask(request), Optional(reply));
}

TEST_F(Socket, OfAnotherUserIsNotTheBmc)
{
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    const pid_t child = ::fork();
    if (child == 0) {
        ::chmod(scratch.path().c_str(), 0777);
        const bool  became = ::setuid(65534) == 0;
        const int   made   = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        (scratch / "bmc").copy(name.sun_path, sizeof name.sun_path - 1);
        const bool listens = became && ::bind(made, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0 &&
                             ::listen(made, 1) == 0;
        ::kill(::getpid(), listens ? SIGSTOP : SIGKILL);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_TRUE(::waitpid(child, &status, WUNTRACED) == child && WIFSTOPPED(status));
    EXPECT_EQ(ask(request), std::nullopt);
    std::array<astring, 512> problem{};
    QVHIPMLastProblem(problem.data(), problem.size());
    EXPECT_EQ(std::string(problem.data()), "connect at " + (scratch / "bmc") + ": Operation not permitted");
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
}

class Unreachable : public testing::TestWithParam<Endpoint> {};

TEST_P(Unreachable, IsAFailure)
{
    SocketTransport transport(GetParam());
    EXPECT_EQ(transport.exchange({0x18, 0x01}, Clock::now() + std::chrono::seconds(20)), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Endpoints, Unreachable,
                         testing::Values(Endpoint{Endpoint::Kind::unixSocket, "/" + std::string(200, 'x'), {}},
                                         Endpoint{Endpoint::Kind::unixSocket, "/dev/null", {}},
                                         Endpoint{Endpoint::Kind::tcp, "no-number.invalid", "9"},
                                         Endpoint{Endpoint::Kind::tcp, "127.0.0.1", "1"}));

/** Stays in its exchange until it is let go. */
class StuckTransport : public Transport {
public:
    std::optional<Bytes> exchange(const Bytes& request, Clock::time_point) override
    {
        entered.set_value();
        letGo.get_future().wait();
        return request;
    }
    std::promise<void> entered, letGo;
};

TEST(Channel, CountsTheWaitForOthersIntoTheTime)
{
    auto                 owned = std::make_unique<StuckTransport>();
    StuckTransport&      stuck = *owned;
    Channel              channel(std::move(owned), std::chrono::milliseconds(50));
    std::optional<Bytes> first;
    std::thread          one([&] { first = channel.exchange({1, 1}); });
    stuck.entered.get_future().wait();
    EXPECT_EQ(channel.exchange({2, 2}), std::nullopt);  // the other exchange is still under way
    stuck.letGo.set_value();
    one.join();
    EXPECT_THAT(first, Optional(Bytes{1, 1}));
}

}  // namespace
