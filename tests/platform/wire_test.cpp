/** @file wire_test.cpp  Frames, and the ways to the BMC: whose far end is slow, wrong, silent, gone or somebody else's.
 */
#include <gmock/gmock.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <csignal>
#include <deque>

#include "devicetransport.h"
#include "hipmstatus.h"
#include "peer.h"
#include "scratch.h"
#include "sockettransport.h"
#include "texttransaction.h"
#include "torvotext.h"

using namespace qvplatform;
using testing::ElementsAre;
using testing::Optional;

namespace {

constexpr std::chrono::milliseconds kAmple{20000};  // never waited for when all is well
constexpr std::chrono::milliseconds kShort{60};     // for replies that never come

std::vector<Message> messagesIn(const Bytes& wire)
{
    FrameDecoder         decoder;
    std::vector<Message> messages;
    for (const auto byte : wire)
        if (auto message = decoder.take(byte)) messages.push_back(std::move(*message));
    return messages;
}

TEST(Frame, TravelsAsWritten)
{
    const std::pair<Message, Bytes> rows[] = {
        {{0x01, {0xC0, 0xBF, 0x01}}, {0x01, 0xC0, 0xBF, 0x01, 0x7F, 0xA0}},
        {{0x02, {0x18, 0x59, 0xA0, 0xA1, 0xAA}}, {0x02, 0x18, 0x59, 0xAA, 0xB0, 0xAA, 0xB1, 0xAA, 0xBA, 0xA2, 0xA0}},
        {{0xA0, {0x18, 0x01}}, {0xAA, 0xB0, 0x18, 0x01, 0x47, 0xA0}},
        {{0x46, {0x18, 0x01, 0x01}}, {0x46, 0x18, 0x01, 0x01, 0xAA, 0xB0, 0xA0}},
        {{0x03, {0xB0, 0xB1, 0xBA}}, {0x03, 0xB0, 0xB1, 0xBA, 0xE2, 0xA0}},
        {{0x01, Bytes(kMaxFrame - 2)}, encodeMessage({0x01, Bytes(kMaxFrame - 2)})}};
    for (const auto& [message, wire] : rows) {
        EXPECT_EQ(encodeMessage(message), wire);
        ASSERT_EQ(messagesIn(wire).size(), 1U);
        EXPECT_EQ(messagesIn(wire)[0].bytes, message.bytes);
    }
    EXPECT_EQ(encodeCommand({0x08, 0xAA}), (Bytes{0x08, 0xAA, 0xBA, 0xA1}));
}

TEST(Frame, ThatIsDamagedIsDroppedAndTheNextOneArrives)
{
    for (Bytes wire : {Bytes{0x01, 0xC0, 0xBF, 0x01, 0x7E, 0xA0}, Bytes{0xA0}, Bytes{0x01, 0x02, 0xFD, 0xA0},
                       Bytes{0x01, 0xC0, 0xBF, 0x01, 0x7F, 0xAA, 0xA0}, Bytes{0x01, 0xC0, 0xAA, 0xAA, 0xB0, 0x9F, 0xA0},
                       Bytes{0x01, 0xC0, 0xBF, 0x01, 0x7F, 0xA1}, encodeMessage({1, Bytes(kMaxFrame)})}) {
        append(wire, asText(encodeMessage({7, {0x1C, 0x01, 0x00}})));
        ASSERT_EQ(messagesIn(wire).size(), 1U);
        EXPECT_EQ(messagesIn(wire)[0].sequence, 7);
    }
}

class Socket : public testing::Test {
protected:
    std::optional<Bytes> ask(std::chrono::milliseconds limit = kAmple)
    {
        return transport.exchange({0xC0, 0xBF, 0x01}, Clock::now() + limit);
    }
    static Answer good(const Message& m) { return {encodeMessage(replyTo(m, {0x00, 0x07}))}; }

    const Scratch   scratch;
    SocketTransport transport{Endpoint{Endpoint::Kind::unixSocket, scratch / "bmc", {}}};
    const Bytes     reply{0xC4, 0xBF, 0x00, 0x07};
};

TEST_F(Socket, GreetsAndCarriesARequestOnceThePeerIsThere)
{
    EXPECT_EQ(ask(), std::nullopt);
    Peer peer(scratch / "bmc", good);
    EXPECT_THAT(ask(), Optional(reply));
    EXPECT_EQ(peer.received(), (Bytes{0xFF, 0x01, 0xA1, 0x08, 0x00, 0xA1, 0x02, 0xC0, 0xBF, 0x01, 0x7E, 0xA0}));
}

TEST_F(Socket, LeavesEverythingElseThanItsReplyAside)
{
    Peer peer(scratch / "bmc", [](const Message& m) {
        Message sequence = replyTo(m, {0x00, 0x01}), command = replyTo(m, {0x00, 0x02}),
                netFn = replyTo(m, {0x00, 0x03});
        ++sequence.sequence, command.bytes[1] = 0x55, netFn.bytes[0] = m.bytes[0];
        Answer answer;
        for (const Message& other : {sequence, command, netFn, replyTo(m, {}), replyTo(m, {0x00, 0x07})})
            append(answer.wire, asText(encodeMessage(other)));
        return answer;
    });
    EXPECT_THAT(ask(), Optional(reply));
}

TEST_F(Socket, DropsTheReplyThatComesTooLate)
{
    Bytes late;
    Peer  peer(scratch / "bmc", [&](const Message& m) {
        if (late.empty()) return late = encodeMessage(replyTo(m, {0x00, 0x66})), Answer{};
        append(late, asText(good(m).wire));
        return Answer{late};
    });
    EXPECT_EQ(ask(kShort), std::nullopt);
    EXPECT_THAT(ask(), Optional(reply));
}

TEST_F(Socket, GivesUpOnAFrameWithoutEnd)
{
    Peer peer(scratch / "bmc", [](const Message&) { return Answer{Bytes(64 * 1024 * 1024, 0x11)}; });
    EXPECT_EQ(ask(kShort), std::nullopt);
}

TEST_F(Socket, ConnectsAnewButRepeatsNothingThatThePeerMayHaveSeen)
{
    Peer leaving(scratch / "bmc", [](const Message& m) {
        return Answer{m.sequence < 3 ? good(m).wire : Bytes(), true};
    });
    EXPECT_THAT(ask(), Optional(reply));
    // Until the peer has left, a request on its way to it is rightly lost.
    while (::recv(transport.descriptor(), std::array<char, 1>{}.data(), 1, MSG_PEEK | MSG_DONTWAIT) != 0) continue;
    EXPECT_THAT(ask(), Optional(reply));
    while (::recv(transport.descriptor(), std::array<char, 1>{}.data(), 1, MSG_PEEK | MSG_DONTWAIT) != 0) continue;
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_EQ(leaving.requests(), 3);
}

TEST_F(Socket, OfAnotherUserIsNotTheBmc)
{
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    ASSERT_TRUE(scratch.run("chmod 777 ."));
    const pid_t child = ::fork();
    if (child == 0) {
        const auto listener = ::setuid(65534) == 0 ? Peer::listening(scratch / "bmc") : qvrf::Descriptor();
        ::kill(::getpid(), listener ? SIGSTOP : SIGKILL);
    }
    int status = 0;
    ASSERT_TRUE(::waitpid(child, &status, WUNTRACED) == child && WIFSTOPPED(status));
    EXPECT_EQ(ask(), std::nullopt);
    std::array<astring, 512> problem{};
    EXPECT_GT(QVHIPMLastProblem(problem.data(), problem.size()), 0U);
    EXPECT_EQ(std::string(problem.data()), "connect at " + (scratch / "bmc") + ": Operation not permitted");
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
}

TEST(SocketOrDevice, ThatIsAbsentIsNamedWithItsErrno)
{
    const std::tuple<Endpoint, const char*> rows[] = {
        {{Endpoint::Kind::unixSocket, "/" + std::string(200, 'x'), {}}, "Cannot assign requested address"},
        {{Endpoint::Kind::unixSocket, "/dev/null", {}}, "connect at /dev/null: Connection refused"},
        {{Endpoint::Kind::tcp, "no-number.invalid", "9"}, "Cannot assign requested address"},
        {{Endpoint::Kind::tcp, "127.0.0.1", "1"}, "connect at 127.0.0.1: Connection refused"},
        {{Endpoint::Kind::device, "/dev/no-ipmi", {}}, "open at /dev/no-ipmi: No such file or directory"}};
    for (const auto& [endpoint, problem] : rows) {
        SocketTransport socket(endpoint);
        DeviceTransport device(endpoint.place);
        Transport&      way = endpoint.kind == Endpoint::Kind::device ? static_cast<Transport&>(device) : socket;
        EXPECT_EQ(way.exchange({0x18, 0x01}, Clock::now() + kAmple), std::nullopt);
        std::array<astring, 512> text{};
        QVHIPMLastProblem(text.data(), text.size());
        EXPECT_THAT(text.data(), testing::EndsWith(problem));
    }
}

/** An IPMI driver: a descriptor that is ready while replies wait, and what was asked of it. */
struct Driver {
    struct Reply {
        int   type;
        long  id;  ///< relative to the last request's
        u8    netFn, command;
        Bytes data;
    };
    int               fd = -1, opens = 0, refusals = 0;
    long              lastId = 0;
    Bytes             sent;
    std::deque<Reply> replies;
};
Driver* g_driver = nullptr;

int sendToDriver(const ipmi_req& request)
{
    Driver& d = *g_driver;
    if (d.refusals-- > 0) return errno = ENODEV, -1;
    const auto* address = reinterpret_cast<const ipmi_system_interface_addr*>(request.addr);
    EXPECT_EQ(address->addr_type, IPMI_SYSTEM_INTERFACE_ADDR_TYPE);
    d.lastId = request.msgid;
    d.sent   = {request.msg.netfn, address->lun, request.msg.cmd};
    d.sent.insert(d.sent.end(), request.msg.data, request.msg.data + request.msg.data_len);
    return d.replies.empty() ? 0 : ::eventfd_write(d.fd, 1);
}

int receiveFromDriver(ipmi_recv& into)
{
    const Driver::Reply reply = g_driver->replies.front();
    g_driver->replies.pop_front();
    eventfd_t ignored = 0;
    if (g_driver->replies.empty()) ::eventfd_read(g_driver->fd, &ignored);
    const std::size_t fitting = std::min<std::size_t>(reply.data.size(), into.msg.data_len);
    into.recv_type = reply.type, into.msgid = g_driver->lastId + reply.id, into.msg.netfn = reply.netFn;
    into.msg.cmd = reply.command, into.msg.data_len = static_cast<unsigned short>(fitting);
    std::copy_n(reply.data.begin(), fitting, into.msg.data);
    return fitting == reply.data.size() ? 0 : (errno = EMSGSIZE, -1);
}

const DeviceCalls kScripted{
    [](const char*) { return ++g_driver->opens, g_driver->fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); },
    [](int, unsigned long request, void* argument) {
        return request == IPMICTL_SEND_COMMAND ? sendToDriver(*static_cast<ipmi_req*>(argument))
                                               : receiveFromDriver(*static_cast<ipmi_recv*>(argument));
    }};

TEST(Device, CarriesRequestsAndIsOpenedAnewWhenTheDriverLetGo)
{
    Driver          driver;
    DeviceTransport transport("/dev/ipmi0", kScripted);
    const auto ask = [&](Bytes request, std::deque<Driver::Reply> replies, std::chrono::milliseconds limit = kAmple) {
        driver.replies = std::move(replies);
        return transport.exchange(request, Clock::now() + limit);
    };
    constexpr int ours = IPMI_RESPONSE_RECV_TYPE;
    g_driver           = &driver;
    EXPECT_THAT(ask({0xC2, 0xBF, 0x01}, {{ours, 0, 0x31, 0xBF, {0x00, 0x06}}}),
                Optional(Bytes{0xC6, 0xBF, 0x00, 0x06}));
    EXPECT_EQ(driver.sent, (Bytes{0x30, 0x02, 0xBF, 0x01}));
    EXPECT_THAT(ask({0x18, 0x01}, {{ours, -1, 0x07, 0x01, {0x01}},
                                   {IPMI_ASYNC_EVENT_RECV_TYPE, 0, 0x07, 0x01, {0x02}},
                                   {ours, 0, 0x07, 0x02, {0x03}},
                                   {ours, 0, 0x07, 0x01, {}},
                                   {ours, 0, 0x07, 0x01, {0xC3}}}),
                Optional(Bytes{0x1C, 0x01, 0xC3}));
    EXPECT_THAT(ask({0x18, 0x01}, {{ours, 0, 0x07, 0x01, Bytes(4000)}}), Optional(testing::SizeIs(514U)));
    EXPECT_EQ(ask({0x18, 0x01}, {}, kShort), std::nullopt);
    driver.refusals = 1;
    EXPECT_TRUE(ask({0x18, 0x01}, {{ours, 0, 0x07, 0x01, {0x00}}}));
    EXPECT_EQ(driver.opens, 2);
    driver.refusals = 100;
    EXPECT_EQ(ask({0x18, 0x01}, {}), std::nullopt);
    EXPECT_EQ(driver.opens, 3);
}

/** Answers a transaction's requests from a list; nothing where the list has nothing. */
TextReply runScript(const std::vector<std::optional<Bytes>>& replies, std::string_view text, std::vector<Bytes>& asked,
                    Clock::duration limit = kAmple)
{
    asked.clear();
    const auto exchange = [&](const Bytes& request, Clock::time_point) -> std::optional<Bytes> {
        asked.push_back(request);
        if (asked.size() > replies.size() || !replies[asked.size() - 1]) return std::nullopt;
        Bytes reply{static_cast<u8>(request[0] | 4), request[1]};
        append(reply, asText(*replies[asked.size() - 1]));
        return reply;
    };
    return runText(exchange, 0x04030201, vmwire::Verb::commandLine, text, limit);
}

TEST(TextTransaction, TravelsInPiecesBothWays)
{
    Bytes first(129, 'a'), second(73, 'b');
    first[0] = second[0] = 0;
    std::vector<Bytes> asked;
    const auto         reply =
        runScript({Bytes{0xC0}, Bytes{0}, Bytes{0}, Bytes{0, 0xFE, 0xFF, 0xFF, 0xFF, 200, 0}, first, second},
                  std::string(128, 'x') + "hi", asked);
    EXPECT_EQ(reply.result, kDone);
    EXPECT_EQ(reply.status, -2);
    EXPECT_EQ(asText(reply.text), std::string(128, 'a') + std::string(72, 'b'));
    ASSERT_EQ(asked.size(), 6U);
    EXPECT_EQ(asked[0], asked[1]) << "a busy BMC is asked again";
    EXPECT_EQ(asked[2], (Bytes{0xC8, 0x01, 1, 2, 3, 4, 128, 0, 'h', 'i'}));
    EXPECT_EQ(asked[3], (Bytes{0xC8, 0x02, 1, 2, 3, 4, 0x01, 130, 0}));
    EXPECT_EQ(asked[5], (Bytes{0xC8, 0x03, 1, 2, 3, 4, 128, 0, 72}));
}

TEST(TextTransaction, ThatFailsSaysSoAndStops)
{
    const std::pair<std::vector<std::optional<Bytes>>, s32> rows[] = {
        {{std::nullopt}, kNotReached},
        {{Bytes{0xC3}}, kNotReached},  // a driver's word for a silent BMC
        {{Bytes{0}, std::nullopt}, kNotReached},
        {{Bytes{0}, Bytes{0, 0, 0, 0, 0, 1, 0}, std::nullopt}, kNotReached},
        {{Bytes{0xC9}}, kRefused},
        {{Bytes{0}, Bytes{0xC1}}, kRefused},
        {{Bytes{0}, Bytes{0, 0, 0, 0, 0, 1}}, kRefused},
        {{Bytes{0}, Bytes{0, 0, 0, 0, 0, 0x01, 0x10}}, kRefused},
        {{Bytes{0}, Bytes{0, 0, 0, 0, 0, 1, 0}, Bytes{0}}, kRefused},
        {std::vector<std::optional<Bytes>>(5, Bytes{0xC0}), kRefused}};
    std::vector<Bytes> asked;
    for (const auto& [replies, result] : rows) {
        EXPECT_EQ(runScript(replies, "hi", asked).result, result);
        EXPECT_EQ(asked.size(), replies.size());
    }
    EXPECT_EQ(runScript({}, std::string(vmwire::kMaxText + 1, 'x'), asked).result, kInvalidArgument);
    EXPECT_EQ(runScript({Bytes{0}}, "hi", asked, Clock::duration::zero()).result, kNotReached)
        << "one deadline for all";
    EXPECT_THAT(asked, testing::IsEmpty());
}

}  // namespace
