/**
 * @file wire_test.cpp  Frames, and the ways to the BMC: whose far end is slow, wrong, silent, gone or somebody else's.
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

TEST(Frame, TravelsAsWrittenAndADamagedOneIsDropped)
{
    for (const Row& row : casesOf("frames")) {
        const Bytes   plain = bytesOf(row[0]), wire = bytesOf(row[1]);
        const Message message{plain[0], {plain.begin() + 1, plain.end()}};
        EXPECT_EQ(encodeMessage(message), wire);
        ASSERT_EQ(messagesIn(wire).size(), 1U);
        EXPECT_EQ(messagesIn(wire)[0].bytes, message.bytes);
    }
    EXPECT_EQ(messagesIn(encodeMessage({1, Bytes(kMaxFrame - 2)})).size(), 1U);
    EXPECT_EQ(messagesIn(encodeMessage({1, Bytes(kMaxFrame)})).size(), 0U);
    EXPECT_EQ(encodeCommand({0x08, 0xAA}), (Bytes{0x08, 0xAA, 0xBA, 0xA1}));
    for (const Row& row : casesOf("damaged frames")) {
        Bytes wire = bytesOf(row[0]);
        append(wire, asText(encodeMessage({7, {0x1C, 0x01, 0x00}})));
        ASSERT_EQ(messagesIn(wire).size(), 1U) << row[0];
        EXPECT_EQ(messagesIn(wire)[0].sequence, 7);
    }
}

std::string lastProblem()
{
    std::array<astring, 512> text{};
    QVHIPMLastProblem(text.data(), text.size());
    return text.data();
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

TEST_F(Socket, GreetsAndTakesItsReplyAlone)
{
    EXPECT_EQ(ask(), std::nullopt);
    Peer peer(scratch / "bmc", [](const Message& m) {
        Message sequence = replyTo(m, {0x00, 0x01}), command = sequence, netFn = sequence;
        ++sequence.sequence, command.bytes[1] = 0x55, netFn.bytes[0] = m.bytes[0];
        Answer answer;
        for (const Message& one : {sequence, command, netFn, replyTo(m, {}), replyTo(m, {0x00, 0x07})})
            append(answer.wire, asText(encodeMessage(one)));
        return answer;
    });
    EXPECT_THAT(ask(), Optional(reply));
    EXPECT_EQ(peer.received(), (Bytes{0xFF, 0x01, 0xA1, 0x08, 0x00, 0xA1, 0x02, 0xC0, 0xBF, 0x01, 0x7E, 0xA0}));
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
    for (int answered = 0; answered < 2; ++answered) {
        EXPECT_THAT(ask(), Optional(reply));
        // Until the peer has left, a request on its way to it is rightly lost.
        while (::recv(transport.descriptor(), std::array<char, 1>{}.data(), 1, MSG_PEEK | MSG_DONTWAIT) != 0) continue;
    }
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
    EXPECT_EQ(lastProblem(), "connect at " + (scratch / "bmc") + ": Operation not permitted");
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
}

TEST(SocketOrDevice, ThatIsAbsentIsNamedWithItsErrno)
{
    for (const Row& row : casesOf("absent")) {
        const Endpoint  endpoint = *parseEndpoint(row[0]);
        SocketTransport socket(endpoint);
        DeviceTransport device(endpoint.place);
        Transport&      way = endpoint.kind == Endpoint::Kind::device ? static_cast<Transport&>(device) : socket;
        EXPECT_EQ(way.exchange({0x18, 0x01}, Clock::now() + kAmple), std::nullopt);
        EXPECT_THAT(lastProblem(), testing::EndsWith(row[1]));
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
    std::vector<Bytes> asked;
    for (const Row& row : casesOf("failing transactions")) {
        std::vector<std::optional<Bytes>> replies;
        std::istringstream                cells(row[0]);
        for (std::string cell; std::getline(cells >> std::ws, cell, ',');)
            replies.push_back(cell == "-" ? std::nullopt : std::optional(bytesOf(cell)));
        EXPECT_EQ(runScript(replies, "hi", asked).result, std::stoi(row[1])) << row[0];
        EXPECT_EQ(asked.size(), replies.size()) << row[0];
    }
    EXPECT_EQ(runScript({}, std::string(vmwire::kMaxText + 1, 'x'), asked).result, kInvalidArgument);
    EXPECT_EQ(runScript({Bytes{0}}, "hi", asked, Clock::duration::zero()).result, kNotReached)
        << "one deadline for all";
    EXPECT_THAT(asked, testing::IsEmpty());
}

}  // namespace
