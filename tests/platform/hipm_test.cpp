/** @file hipm_test.cpp  The exported operations of libqvhipm, against a BMC behind the configured socket. */
#include "qvhipm.h"

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <cstring>
#include <future>

#include "channel.h"
#include "peer.h"
#include "scratch.h"
#include "smsupport.h"

namespace {

EsmIPMICmdIoctlReq rawRequest(const Bytes& bytes, u32 replyLength)
{
    EsmIPMICmdIoctlReq record{};
    record.Status                          = -1;
    record.ReqType                         = QVHIPM_REQTYPE_RAW_EX;
    record.Parameters.IRREx.ReqPhaseBufLen = static_cast<u32>(bytes.size());
    record.Parameters.IRREx.RspPhaseBufLen = replyLength;
    std::copy(bytes.begin(), bytes.end(), record.Parameters.IRREx.ReqRspBuffer);
    return record;
}

Bytes bufferOf(const EsmIPMICmdIoctlReq& record, std::size_t bytes)
{
    const u8* buffer = record.Parameters.IRREx.ReqRspBuffer;
    return {buffer, buffer + bytes};
}

class Command : public testing::Test {
protected:
    Bytes answer{0x00, 0x06, 0x0A, 0x34, 0x12};
    Peer  peer{environment() / "bmc", [this](const Message& m) { return Answer{encodeMessage(replyTo(m, answer))}; }};
};

TEST_F(Command, ReplacesTheRequestByAsMuchOfTheReplyAsWasWanted)
{
    const auto before = rawRequest({0xC0, 0xD6, 0x01, 0x05, 0x02, 0x11, 0x22, 0x33, 0x44}, 40);
    auto       same = before, shorter = rawRequest({0xC0, 0xBF, 0x01, 0x55, 0x66}, 4);
    ASSERT_NE(QVHIPMCommand(&same, &same), 0);
    EXPECT_EQ(bufferOf(same, 9), (Bytes{0xC4, 0xD6, 0x00, 0x06, 0x0A, 0x34, 0x12, 0x33, 0x44}));
    ASSERT_NE(QVHIPMCommand(&shorter, &shorter), 0);
    EXPECT_EQ(bufferOf(shorter, 5), (Bytes{0xC4, 0xBF, 0x00, 0x06, 0x66}));

    auto               request = before;
    EsmIPMICmdIoctlReq response;
    std::memset(&response, 0xEE, sizeof response);
    answer = {0xC3};  // any completion code is an exchange
    ASSERT_NE(QVHIPMCommand(&request, &response), 0);
    EXPECT_EQ(std::memcmp(&request, &before, sizeof before), 0);
    EXPECT_EQ(response.Status, -1);
    EXPECT_EQ(bufferOf(response, 5), (Bytes{0xC4, 0xD6, 0xC3, 0x05, 0x02}));
    answer      = Bytes(60);
    auto record = rawRequest(Bytes(40, 0x18), 40);
    EXPECT_NE(QVHIPMCommand(&record, &record), 0) << "the greatest one";
}

TEST_F(Command, RefusesRecordsThatDoNotFit)
{
    auto good = rawRequest({0xC0, 0xBF, 0x01}, 13), other = good;
    other.ReqType = 10;
    EXPECT_EQ(QVHIPMCommand(nullptr, &good) + QVHIPMCommand(&good, nullptr) + QVHIPMCommand(&other, &other), 0);
    for (const auto& [request, reply] : {std::pair<u32, u32>{1, 13}, {41, 13}, {3, 2}, {3, 41}, {0xFFFFFFFF, 13}}) {
        auto bad                            = good;
        bad.Parameters.IRREx.ReqPhaseBufLen = request;
        bad.Parameters.IRREx.RspPhaseBufLen = reply;
        EXPECT_EQ(QVHIPMCommand(&bad, &bad), 0) << request << " " << reply;
    }
    EXPECT_EQ(peer.requests(), 0);
}

TEST_F(Command, ReadsTheFirmwareVersion)
{
    const std::tuple<Bytes, s32, u16, u16> rows[] = {{{0x00, 0x06, 0x0A, 0x34, 0x12}, 0, 6, 0x1234},
                                                     {{0x00, 0x07, 0x01}, 0, 7, 0},
                                                     {{0xC1, 0x06, 0x0A}, 2, 42, 42},
                                                     {{0x00, 0x06}, 2, 42, 42},
                                                     {{0xC3}, 1, 42, 42}};
    for (const auto& [reply, result, wantedMajor, wantedBuild] : rows) {
        u16 major = 42, build = 42;
        answer = reply;
        EXPECT_EQ(QVHIPMGetTorvoFwVersion(&major, nullptr, &build), result);
        EXPECT_EQ(std::pair(major, build), std::pair(wantedMajor, wantedBuild));
    }
}

TEST(NoBmc, IsReportedByEveryOperation)
{
    auto     record = rawRequest({0xC0, 0xBF, 0x01}, 13);
    astring  value[9];
    astring* text = value;
    EXPECT_EQ(QVHIPMCommand(&record, &record), 0);
    EXPECT_EQ(QVHIPMGetTorvoFwVersion(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(QVHIPMVorskPassthru("vorsk get x", &text), 1);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(QVHIPMVorskCmdPassthru("vorsk get x", "x=", 2, value, sizeof value, 0), 1);
    EXPECT_NE(BMCUserSetValueInUserDB("vorsk set x y"), 0);
    EXPECT_EQ(BMCUserGetUserPresence("root") + BMCUserGetFreeUserSlotFromDB(), 0U);
    EXPECT_NE(SMHOSMIExportLogKSL("OXA0034", 0, nullptr), 0);
}

int openSockets()
{
    int         count = 0;
    struct stat status {};
    for (int fd = 3; fd < 64; ++fd) count += ::fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode);
    return count;
}

TEST(Fork, DuringAnotherThreadsExchangeLeavesTheChildItsOwnWay)
{
    std::promise<void> asked, letGo;
    bool               first = true;
    Peer               peer(environment() / "bmc", [&](const Message& m) {
        if (std::exchange(first, false)) asked.set_value(), letGo.get_future().wait();
        return Answer{encodeMessage(replyTo(m, {0x00, 0x06, 0x0A})), true};
    });
    std::thread        busy([] { EXPECT_EQ(QVHIPMGetTorvoFwVersion(nullptr, nullptr, nullptr), 0); });
    asked.get_future().wait();
    const int   before = openSockets();
    const pid_t child  = ::fork();
    if (child == 0) ::_exit(openSockets() != before - 1 ? 99 : QVHIPMGetTorvoFwVersion(nullptr, nullptr, nullptr));
    letGo.set_value();
    busy.join();
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

/** Stays in its exchange until it is let go. */
struct StuckTransport : qvplatform::Transport {
    std::optional<Bytes> exchange(const Bytes& request, qvplatform::Clock::time_point) override
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
    qvplatform::Channel  channel(std::move(owned), std::chrono::milliseconds(50));
    std::optional<Bytes> first;
    std::thread          one([&] { first = channel.exchange({1, 1}); });
    stuck.entered.get_future().wait();
    EXPECT_EQ(channel.exchange({2, 2}), std::nullopt);  // the other exchange is still under way
    stuck.letGo.set_value();
    one.join();
    EXPECT_THAT(first, testing::Optional(Bytes{1, 1}));
}

class Text : public testing::Test {
protected:
    s32          status = 0;
    std::string  reply;
    vmwire::Verb verb{};
    std::string  asked;
    Peer         peer{environment() / "bmc", TextBmc([this](vmwire::Verb v, const std::string& text) {
                  verb  = v;
                  asked = text;
                  return std::pair{status, reply};
              })};
};

TEST_F(Text, PassthruHandsTheReplyOut)
{
    reply         = std::string(1000, 'r') + "\n";
    astring* text = nullptr;
    ASSERT_EQ(QVHIPMVorskPassthru("vorsk get a", &text), 0);
    EXPECT_EQ(text, reply);
    SMFreeMem(text);
    EXPECT_EQ(asked, "vorsk get a");
    EXPECT_EQ(verb, vmwire::Verb::commandLine);
    status = -1;
    EXPECT_EQ(QVHIPMVorskPassthru("vorsk get a", &text), 2) << "what the BMC cannot do is a refusal";
    EXPECT_EQ(text, nullptr);
    EXPECT_NE(QVHIPMVorskPassthru(nullptr, &text), 0);
    EXPECT_NE(QVHIPMVorskPassthru("vorsk get a", nullptr), 0);
}

TEST_F(Text, ValueFollowsItsKey)
{
    const std::tuple<const char*, s32, s32, const char*> rows[] = {{"[Key=a]\nEnable=Enabled\nx=1\n", 0, 0, "Enabled"},
                                                                   {"Enable=Disabled", 0, 0, "Disabled"},
                                                                   {"Enable=On\r\n", 0, 0, "On"},
                                                                   {"Enable=\n", 0, 0, ""},
                                                                   {"Enable=123456789\n", 0, 4, "before"},
                                                                   {"Enabled=1\n", 0, 3, "before"},
                                                                   {"", 0, 3, "before"},
                                                                   {"Enable=Enabled\n", 5, 2, "before"}};
    for (const auto& row : rows) {
        s32         result                      = 0;
        const char* wanted                      = nullptr;
        std::tie(reply, status, result, wanted) = row;
        astring value[9]                        = "before";
        EXPECT_EQ(QVHIPMVorskCmdPassthru("vorsk get a", "Enable=", 7, value, sizeof value, 0), result) << reply;
        EXPECT_STREQ(value, wanted);
    }
}

TEST_F(Text, UserDatabaseAndKsLogGoTheirWay)
{
    status = 5;
    EXPECT_EQ(BMCUserGetUserPresence("root"), 5U);
    EXPECT_EQ(std::pair(verb, asked), std::pair(vmwire::Verb::userSlot, std::string("root")));
    EXPECT_EQ(BMCUserGetFreeUserSlotFromDB(), 5U);
    EXPECT_EQ(verb, vmwire::Verb::freeSlot);
    EXPECT_EQ(BMCUserSetValueInUserDB("vorsk set torvo.users.3.enable 1"), 5);
    EXPECT_EQ(std::pair(verb, asked),
              std::pair(vmwire::Verb::userSet, std::string("vorsk set torvo.users.3.enable 1")));
    EXPECT_EQ(BMCUserGetUserPresence("") + BMCUserGetUserPresence(nullptr), 0U);

    std::string one         = "1.0", two, tooLong(vmwire::kMaxText, 'x');
    astring*    arguments[] = {one.data(), two.data()};
    EXPECT_EQ(SMHOSMIExportLogKSL("OXA0034", 2, arguments), 5);
    EXPECT_EQ(std::pair(verb, asked), std::pair(vmwire::Verb::ksLog, std::string("OXA0034\0001.0\000\000", 13)));
    status       = 0;
    arguments[1] = nullptr;
    EXPECT_NE(SMHOSMIExportLogKSL("OXA0034", 2, arguments), 0);
    EXPECT_NE(SMHOSMIExportLogKSL("OXA0034", 1, nullptr), 0);
    arguments[0] = tooLong.data();
    EXPECT_NE(SMHOSMIExportLogKSL("OXA0034", 1, arguments), 0);
}

}  // namespace
