/** @file qvhipm_test.cpp  The exported operations, against a BMC behind the configured socket. */
#include "qvhipm.h"

#include <gmock/gmock.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <future>

#include "environment.h"
#include "scriptedpeer.h"
#include "smsupport.h"

using qvplatform::Bytes;
using qvplatform::Message;

namespace {

const std::string& socketPath()
{
    static const std::string path = environment() / "bmc";
    return path;
}

EsmIPMICmdIoctlReq rawRequest(const Bytes& bytes, u32 replyLength)
{
    EsmIPMICmdIoctlReq record{};
    record.Status                          = -1;
    record.ReqType                         = QVHIPM_REQTYPE_RAW_EX;
    record.Parameters.IRREx.RsSA           = 0x20;
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
    Bytes        answer{0x00, 0x06, 0x0A, 0x34, 0x12};
    ScriptedPeer peer{socketPath(), [this](Line& line, const Message& m) { line.reply(m, answer); }};
};

TEST_F(Command, ReplacesTheRequestByTheReplyAndLeavesTheRest)
{
    auto record = rawRequest({0xC0, 0xD6, 0x01, 0x05, 0x02, 0x11, 0x22, 0x33, 0x44}, 40);
    ASSERT_NE(QVHIPMCommand(&record, &record), 0);
    EXPECT_EQ(bufferOf(record, 9), (Bytes{0xC4, 0xD6, 0x00, 0x06, 0x0A, 0x34, 0x12, 0x33, 0x44}));
}

TEST_F(Command, CopiesNoMoreThanWasWanted)
{
    auto record = rawRequest({0xC0, 0xBF, 0x01, 0x55, 0x66, 0x77}, 4);
    ASSERT_NE(QVHIPMCommand(&record, &record), 0);
    EXPECT_EQ(bufferOf(record, 6), (Bytes{0xC4, 0xBF, 0x00, 0x06, 0x66, 0x77}));
}

TEST_F(Command, DeliversACompletionCodeAlone)
{
    answer      = {0xC1};
    auto record = rawRequest({0xC0, 0xBF, 0x01}, 13);
    ASSERT_NE(QVHIPMCommand(&record, &record), 0);
    EXPECT_EQ(record.Parameters.IRREx.ReqRspBuffer[2], 0xC1);
}

TEST_F(Command, CopiesTheRequestIntoAnotherResponseRecord)
{
    const auto         before  = rawRequest({0xC0, 0xBF, 0x01, 0x00, 0x00, 0x00, 0x00, 0x99}, 13);
    auto               request = before;
    EsmIPMICmdIoctlReq response;
    std::memset(&response, 0xEE, sizeof response);
    ASSERT_NE(QVHIPMCommand(&request, &response), 0);
    EXPECT_EQ(std::memcmp(&request, &before, sizeof before), 0);
    EXPECT_EQ(response.Status, -1);
    EXPECT_EQ(response.Parameters.IRREx.RspPhaseBufLen, 13U);
    EXPECT_EQ(bufferOf(response, 8), (Bytes{0xC4, 0xBF, 0x00, 0x06, 0x0A, 0x34, 0x12, 0x99}));
}

TEST_F(Command, RefusesRecordsThatDoNotFit)
{
    auto good = rawRequest({0xC0, 0xBF, 0x01}, 13);
    EXPECT_EQ(QVHIPMCommand(nullptr, &good), 0);
    EXPECT_EQ(QVHIPMCommand(&good, nullptr), 0);
    for (const auto& [request, reply] : {std::pair<u32, u32>{1, 13}, {41, 13}, {3, 2}, {3, 41}, {0xFFFFFFFF, 13}}) {
        auto bad                            = good;
        bad.Parameters.IRREx.ReqPhaseBufLen = request;
        bad.Parameters.IRREx.RspPhaseBufLen = reply;
        EXPECT_EQ(QVHIPMCommand(&bad, &bad), 0) << request << " " << reply;
    }
    auto other    = good;
    other.ReqType = 10;
    EXPECT_EQ(QVHIPMCommand(&other, &other), 0);
    EXPECT_EQ(peer.requests(), 0);
}

TEST_F(Command, TakesTheGreatestRecord)
{
    answer      = Bytes(60);
    auto record = rawRequest(Bytes(40, 0x18), 40);
    EXPECT_NE(QVHIPMCommand(&record, &record), 0);
}

TEST_F(Command, ReadsTheFirmwareVersion)
{
    u16 major = 0, minor = 0, build = 0;
    EXPECT_EQ(QVHIPMGetTorvoFwVersion(&major, &minor, &build), 0);
    EXPECT_EQ(major, 6);
    EXPECT_EQ(minor, 10);
    EXPECT_EQ(build, 0x1234);
    EXPECT_EQ(QVHIPMGetTorvoFwVersion(nullptr, nullptr, nullptr), 0);
    answer = {0x00, 0x07, 0x01};
    EXPECT_EQ(QVHIPMGetTorvoFwVersion(&major, &minor, &build), 0);
    EXPECT_EQ(build, 0);
}

TEST_F(Command, LeavesTheVersionAloneWhenItCannotBeRead)
{
    u16 major = 42;
    for (const auto& [bad, result] : {std::pair<Bytes, s32>{{0xC1, 0x06, 0x0A}, 2}, {{0x00, 0x06}, 2}, {{0xC3}, 1}}) {
        answer = bad;
        EXPECT_EQ(QVHIPMGetTorvoFwVersion(&major, nullptr, nullptr), result);
        EXPECT_EQ(major, 42);
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
    EXPECT_EQ(BMCUserGetUserPresence("root"), 0U);
    EXPECT_EQ(BMCUserGetFreeUserSlotFromDB(), 0U);
    EXPECT_NE(SMHOSMIExportLogKSL("OXA0034", 0, nullptr), 0);
}

TEST(Fork, DuringAnotherThreadsExchangeLeavesTheChildItsOwnWay)
{
    std::promise<void> asked, letGo;
    bool               first = true;
    ScriptedPeer       peer(socketPath(), [&](Line& line, const Message& m) {
        if (std::exchange(first, false)) {
            asked.set_value();
            letGo.get_future().wait();
        }
        line.reply(m, {0x00, 0x06, 0x0A});
        line.hangUp();
    });
    std::thread        busy([] { EXPECT_EQ(QVHIPMGetTorvoFwVersion(nullptr, nullptr, nullptr), 0); });
    asked.get_future().wait();
    const pid_t child = ::fork();
    if (child == 0) ::_exit(QVHIPMGetTorvoFwVersion(nullptr, nullptr, nullptr));
    letGo.set_value();
    busy.join();
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

class Text : public testing::Test {
protected:
    s32          status = 0;
    std::string  reply;
    vmwire::Verb verb{};
    std::string  asked;
    ScriptedPeer peer{socketPath(), TextBmc([this](vmwire::Verb v, const std::string& text) {
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
}

TEST_F(Text, PassthruThatTheBmcCannotDoIsARefusal)
{
    status        = -1;
    reply         = "ERROR: no such group";
    astring* text = nullptr;
    EXPECT_EQ(QVHIPMVorskPassthru("vorsk get a", &text), 2);
    EXPECT_EQ(text, nullptr);
    EXPECT_NE(QVHIPMVorskPassthru(nullptr, &text), 0);
    EXPECT_NE(QVHIPMVorskPassthru("vorsk get a", nullptr), 0);
}

struct ValueCase {
    const char* name;
    const char* reply;
    s32         status;
    s32         result;
    const char* value;
};

class Value : public Text, public testing::WithParamInterface<ValueCase> {};

TEST_P(Value, FollowsItsKey)
{
    status           = GetParam().status;
    reply            = GetParam().reply;
    astring value[9] = "before";
    EXPECT_EQ(QVHIPMVorskCmdPassthru("vorsk get a", "Enable=", 7, value, sizeof value, 0), GetParam().result);
    EXPECT_STREQ(value, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Replies, Value,
                         testing::Values(ValueCase{"InTheMiddle", "[Key=a]\nEnable=Enabled\nx=1\n", 0, 0, "Enabled"},
                                         ValueCase{"AtTheEnd", "Enable=Disabled", 0, 0, "Disabled"},
                                         ValueCase{"CarriageReturn", "Enable=On\r\n", 0, 0, "On"},
                                         ValueCase{"Empty", "Enable=\n", 0, 0, ""},
                                         ValueCase{"TooLong", "Enable=123456789\n", 0, 4, "before"},
                                         ValueCase{"Missing", "Enabled=1\n", 0, 3, "before"},
                                         ValueCase{"NoText", "", 0, 3, "before"},
                                         ValueCase{"Refused", "Enable=Enabled\n", 5, 2, "before"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(Text, UserDatabaseOperationsGoTheirWay)
{
    status = 5;
    EXPECT_EQ(BMCUserGetUserPresence("root"), 5U);
    EXPECT_EQ(verb, vmwire::Verb::userSlot);
    EXPECT_EQ(asked, "root");
    EXPECT_EQ(BMCUserGetFreeUserSlotFromDB(), 5U);
    EXPECT_EQ(verb, vmwire::Verb::freeSlot);
    EXPECT_EQ(BMCUserSetValueInUserDB("vorsk set torvo.users.3.enable 1"), 5);
    EXPECT_EQ(verb, vmwire::Verb::userSet);
    EXPECT_EQ(asked, "vorsk set torvo.users.3.enable 1");
    EXPECT_EQ(BMCUserGetUserPresence(""), 0U);
    EXPECT_EQ(BMCUserGetUserPresence(nullptr), 0U);
}

TEST_F(Text, KsLogMessageTravelsWithItsArguments)
{
    std::string one = "1.0", two = "";
    astring*    arguments[] = {one.data(), two.data()};
    EXPECT_EQ(SMHOSMIExportLogKSL("OXA0034", 2, arguments), 0);
    EXPECT_EQ(verb, vmwire::Verb::ksLog);
    EXPECT_EQ(asked, std::string("OXA0034\0001.0\000\000", 13));
    status = 1;
    EXPECT_NE(SMHOSMIExportLogKSL("OXA0034", 2, arguments), 0);
    arguments[1] = nullptr;
    EXPECT_NE(SMHOSMIExportLogKSL("OXA0034", 2, arguments), 0);
    EXPECT_NE(SMHOSMIExportLogKSL("OXA0034", 1, nullptr), 0);
    std::string tooLong(vmwire::kMaxText, 'x');
    arguments[0] = tooLong.data();
    EXPECT_NE(SMHOSMIExportLogKSL("OXA0034", 1, arguments), 0);
}

}  // namespace
