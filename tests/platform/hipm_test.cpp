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

EsmIPMICmdIoctlReq recordOf(const Bytes& bytes, u32 replyRoom)
{
    EsmIPMICmdIoctlReq record{};
    IPMIReqRspEx&      raw = record.Parameters.IRREx;
    record.ReqType         = QVHIPM_REQTYPE_RAW_EX;
    raw.ReqPhaseBufLen = static_cast<u32>(bytes.size()), raw.RspPhaseBufLen = replyRoom;
    std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof raw.ReqRspBuffer), raw.ReqRspBuffer);
    return record;
}

class Command : public testing::Test {
protected:
    Bytes answer{0x00, 0x06, 0x0A, 0x34, 0x12};
    Peer  peer{environment() / "bmc", [this](const Message& m) { return Answer{encodeMessage(replyTo(m, answer))}; }};
};

TEST_F(Command, ReplacesTheRequestByAsMuchOfTheReplyAsWasWantedOrIsRefused)
{
    for (const Row& row : casesOf("raw commands")) {
        const Bytes wanted = bytesOf(row[3]);
        const int   before = peer.requests();
        const auto  given  = recordOf(bytesOf(row[0]), static_cast<u32>(std::stoul(row[1])));
        auto        same = given, separate = given, other = recordOf(Bytes(40, 0xEE), 0);
        answer = bytesOf(row[2]);
        EXPECT_EQ(QVHIPMCommand(&same, &same) != 0, !wanted.empty());
        EXPECT_EQ(QVHIPMCommand(&separate, &other) != 0, !wanted.empty());
        EXPECT_EQ(std::memcmp(&separate, &given, sizeof given), 0);
        EXPECT_EQ(peer.requests() - before, wanted.empty() ? 0 : 2);
        for (const auto* record : {&same, &other})
            EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), record->Parameters.IRREx.ReqRspBuffer)) << row[0];
    }
    answer        = Bytes(60);
    auto greatest = recordOf(Bytes(40, 0x18), 40), tooGreat = recordOf(Bytes(41, 0x18), 40);
    EXPECT_NE(QVHIPMCommand(&greatest, &greatest), 0);
    EXPECT_EQ(QVHIPMCommand(&tooGreat, &tooGreat), 0);
    auto good = recordOf({0x18, 0x01}, 13), other = good;
    other.ReqType = 10;
    EXPECT_EQ(QVHIPMCommand(nullptr, &good) + QVHIPMCommand(&good, nullptr) + QVHIPMCommand(&other, &other), 0);
}

TEST_F(Command, ReadsTheFirmwareVersion)
{
    for (const Row& row : casesOf("firmware versions")) {
        u16 major = 42, build = 42;
        answer = bytesOf(row[0]);
        EXPECT_EQ(QVHIPMGetTorvoFwVersion(&major, nullptr, &build), std::stoi(row[1]));
        EXPECT_EQ(std::to_string(major) + "|" + std::to_string(build), row[2] + "|" + row[3]);
    }
}

TEST(NoBmc, IsReportedByEveryOperation)
{
    auto    record = recordOf({0xC0, 0xBF, 0x01}, 13);
    astring value[9], *text = value;
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
        return entered.set_value(), letGo.get_future().wait(), request;
    }
    std::promise<void> entered, letGo;
};

TEST(Channel, CountsTheWaitForOthersIntoTheTime)
{
    auto                owned = std::make_unique<StuckTransport>();
    StuckTransport&     stuck = *owned;
    qvplatform::Channel channel(std::move(owned), std::chrono::milliseconds(50));
    auto                one = std::async(std::launch::async, [&] { return channel.exchange({1, 1}); });
    stuck.entered.get_future().wait();
    EXPECT_EQ(channel.exchange({2, 2}), std::nullopt);  // the other exchange is still under way
    stuck.letGo.set_value();
    EXPECT_THAT(one.get(), testing::Optional(Bytes{1, 1}));
}

class Text : public testing::Test {
protected:
    s32         status = 0;
    std::string reply, asked;
    Peer        peer{environment() / "bmc", TextBmc([this](vmwire::Verb verb, const std::string& text) {
                  asked = std::to_string(static_cast<int>(verb)) + ' ' + text;
                  return std::pair{status, reply};
              })};
};

TEST_F(Text, ValueFollowsItsKeyInTheReplyThatIsHandedOut)
{
    constexpr char command[] = "vorsk get a";
    for (const Row& row : casesOf("values")) {
        reply = row[0], status = std::stoi(row[1]);
        astring value[9] = "before", *text = value;
        EXPECT_EQ(QVHIPMVorskCmdPassthru(command, "Enable=", 7, value, sizeof value, 0), std::stoi(row[2])) << reply;
        EXPECT_EQ(value, row[3]);
        EXPECT_EQ(QVHIPMVorskPassthru(command, &text), status == 0 ? 0 : 2) << "what the BMC cannot do is a refusal";
        EXPECT_STREQ(text, status == 0 ? reply.c_str() : nullptr);
        SMFreeMem(text);
        EXPECT_EQ(asked, "1 vorsk get a");
    }
    EXPECT_TRUE(QVHIPMVorskPassthru(nullptr, nullptr) != 0 && QVHIPMVorskPassthru(command, nullptr) != 0);
}

TEST_F(Text, UserDatabaseAndKsLogGoTheirWay)
{
    status                  = 5;
    std::string one         = "1.0", two, tooLong(vmwire::kMaxText, 'x');
    astring *   arguments[] = {one.data(), two.data()}, *missing[] = {one.data(), nullptr}, *big = tooLong.data();
    EXPECT_EQ(BMCUserGetUserPresence("root"), 5U);
    EXPECT_EQ(asked, "3 root");
    EXPECT_EQ(BMCUserGetFreeUserSlotFromDB(), 5U);
    EXPECT_EQ(asked, "4 ");
    EXPECT_EQ(BMCUserSetValueInUserDB("vorsk set x 1"), 5);
    EXPECT_EQ(asked, "2 vorsk set x 1");
    EXPECT_EQ(SMHOSMIExportLogKSL("OXA0034", 2, arguments), 5);
    EXPECT_EQ(asked, std::string("5 OXA0034\0001.0\000\000", 15));
    EXPECT_EQ(BMCUserGetUserPresence("") + BMCUserGetUserPresence(nullptr), 0U);
    status = 0;
    for (const auto& [count, list] : {std::pair<u32, astring**>{2, missing}, {1, nullptr}, {1, &big}})
        EXPECT_NE(SMHOSMIExportLogKSL("OXA0034", count, list), 0);
}

}  // namespace
