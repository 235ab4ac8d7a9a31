/** @file devicetransport_test.cpp  Requests through an IPMI driver that a script plays. */
#include "devicetransport.h"

#include <gmock/gmock.h>
#include <linux/ipmi.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>

#include <cstring>
#include <deque>

using namespace qvplatform;

namespace {

using testing::Optional;

struct Received {
    int   type;
    long  messageId;  ///< relative to the last request's
    u8    netFn;
    u8    command;
    Bytes data;
};

/** The driver: a descriptor that is ready while replies wait, and what was asked of it. */
struct Driver {
    int                  fd           = -1;
    int                  opens        = 0;
    int                  sendFailures = 0;
    long                 lastId       = 0;
    Bytes                sent;
    std::deque<Received> replies;

    int open()
    {
        ++opens;
        return fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    }
    int send(const ipmi_req& request)
    {
        if (sendFailures-- > 0) {
            errno = ENODEV;
            return -1;
        }
        const auto* address = reinterpret_cast<const ipmi_system_interface_addr*>(request.addr);
        EXPECT_EQ(address->addr_type, IPMI_SYSTEM_INTERFACE_ADDR_TYPE);
        EXPECT_EQ(address->channel, IPMI_BMC_CHANNEL);
        lastId = request.msgid;
        sent   = {request.msg.netfn, address->lun, request.msg.cmd};
        sent.insert(sent.end(), request.msg.data, request.msg.data + request.msg.data_len);
        const std::uint64_t one = 1;
        if (!replies.empty() && ::write(fd, &one, sizeof one) != sizeof one) ADD_FAILURE();
        return 0;
    }
    int receive(ipmi_recv& into)
    {
        const Received reply = replies.front();
        replies.pop_front();
        std::uint64_t count = 0;
        if (replies.empty() && ::read(fd, &count, sizeof count) != sizeof count) ADD_FAILURE();
        const std::size_t fitting = std::min<std::size_t>(reply.data.size(), into.msg.data_len);
        into.recv_type            = reply.type;
        into.msgid                = lastId + reply.messageId;
        into.msg.netfn            = reply.netFn;
        into.msg.cmd              = reply.command;
        into.msg.data_len         = static_cast<unsigned short>(fitting);
        std::copy_n(reply.data.begin(), fitting, into.msg.data);
        if (fitting == reply.data.size()) return 0;
        errno = EMSGSIZE;
        return -1;
    }
};

Driver* g_driver = nullptr;

const DeviceCalls kScripted{
    [](const char*) { return g_driver->open(); },
    [](int, unsigned long request, void* argument) {
        if (request == IPMICTL_SEND_COMMAND) return g_driver->send(*static_cast<ipmi_req*>(argument));
        EXPECT_EQ(request, static_cast<unsigned long>(IPMICTL_RECEIVE_MSG_TRUNC));
        return g_driver->receive(*static_cast<ipmi_recv*>(argument));
    },
};

class Device : public testing::Test {
protected:
    Device() { g_driver = &driver; }

    std::optional<Bytes> ask(const Bytes& request, int milliseconds = 20000)
    {
        return transport.exchange(request, Clock::now() + std::chrono::milliseconds(milliseconds));
    }

    Driver          driver;
    DeviceTransport transport{"/dev/ipmi0", kScripted};
};

TEST_F(Device, CarriesRequestAndReply)
{
    driver.replies = {{IPMI_RESPONSE_RECV_TYPE, 0, 0x31, 0xBF, {0x00, 0x06, 0x0A}}};
    EXPECT_THAT(ask({0xC2, 0xBF, 0x01}), Optional(Bytes{0xC6, 0xBF, 0x00, 0x06, 0x0A}));
    EXPECT_EQ(driver.sent, (Bytes{0x30, 0x02, 0xBF, 0x01}));
}

TEST_F(Device, DropsWhatIsNotItsReply)
{
    driver.replies = {{IPMI_RESPONSE_RECV_TYPE, -1, 0x07, 0x01, {0x01}},
                      {IPMI_ASYNC_EVENT_RECV_TYPE, 0, 0x07, 0x01, {0x02}},
                      {IPMI_RESPONSE_RECV_TYPE, 0, 0x07, 0x02, {0x03}},
                      {IPMI_RESPONSE_RECV_TYPE, 0, 0x07, 0x01, {}},
                      {IPMI_RESPONSE_RECV_TYPE, 0, 0x07, 0x01, {0xC3}}};
    EXPECT_THAT(ask({0x18, 0x01}), Optional(Bytes{0x1C, 0x01, 0xC3}));
}

TEST_F(Device, KeepsWhatFitsOfALongReply)
{
    driver.replies   = {{IPMI_RESPONSE_RECV_TYPE, 0, 0x07, 0x01, Bytes(4000)}};
    const auto reply = ask({0x18, 0x01});
    ASSERT_TRUE(reply);
    EXPECT_GT(reply->size(), 272U);
    EXPECT_LT(reply->size(), 4000U);
}

TEST_F(Device, TimesOut)
{
    EXPECT_EQ(ask({0x18, 0x01}, 40), std::nullopt);
}

TEST_F(Device, IsOpenedAnewWhenTheDriverLetGo)
{
    driver.replies = {{IPMI_RESPONSE_RECV_TYPE, 0, 0x07, 0x01, {0x00}}};
    ASSERT_TRUE(ask({0x18, 0x01}));
    driver.sendFailures = 1;
    driver.replies      = {{IPMI_RESPONSE_RECV_TYPE, 0, 0x07, 0x01, {0x00}}};
    EXPECT_TRUE(ask({0x18, 0x01}));
    EXPECT_EQ(driver.opens, 2);
}

TEST_F(Device, ThatRefusesIsTriedOnceWhenItWasJustOpened)
{
    driver.sendFailures = 100;
    EXPECT_EQ(ask({0x18, 0x01}), std::nullopt);
    EXPECT_EQ(driver.opens, 1);
}

TEST(RealDevice, ThatIsAbsentIsAFailure)
{
    DeviceTransport transport("/dev/no-such-ipmi");
    EXPECT_EQ(transport.exchange({0x18, 0x01}, Clock::now() + std::chrono::seconds(20)), std::nullopt);
}

}  // namespace
