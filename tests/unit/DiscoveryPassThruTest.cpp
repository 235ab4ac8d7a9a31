/** @file DiscoveryPassThruTest.cpp  State of the OS-to-BMC pass-through link; the plain text copy. */
#include "DiscoveryBench.h"
#include "OxaAutoUpdateUtils.h"

namespace {

class PassThru : public DiscoveryBench {};

TEST_F(PassThru, ModeIsReplyByte10)
{
    bmc.expect("C0 CF 01 00 04 00 00 00 00").preset(1).replyLength(12).answersAt(10, "15 07");
    u8 mode = 0;
    EXPECT_EQ(APMDiscoveryGetOSToBMCStatus(&mode), 0);
    EXPECT_EQ(mode, 0x15);
}

TEST_F(PassThru, ModeIsUntouchedByAFailure)
{
    u8 mode = 42;
    bmc.expect("C0 CF 01 00 04 00 00 00 00").completes(0xC1).answersAt(10, "15");
    EXPECT_EQ(APMDiscoveryGetOSToBMCStatus(&mode), 1);
    bmc.expect("C0 CF 01 00 04 00 00 00 00").fails();
    EXPECT_EQ(APMDiscoveryGetOSToBMCStatus(&mode), 1);
    EXPECT_EQ(mode, 42);
    EXPECT_EQ(APMDiscoveryGetOSToBMCStatus(nullptr), 1);
}

struct SetStep {
    const char* bytes;
    const char* purpose;
};
constexpr SetStep kSetSteps[] = {
    {"C0 CF 00 00 04 00 00 00 2A 00 00 15", "for setting ip and pt mode."},
    {"C0 CF 00 00 10 00 04 00 31 36 39 2E 32 35 34 2E 31 2E 31 00 00 00 00 00", "for setting Torvo IP."},
    {"C0 CF 00 00 10 00 14 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", "for setting host IP."},
    {"C0 CF 00 00 04 00 24 00 00 00 00 00", "for setting IP subnet."},
    {"C0 CF 00 00 02 00 28 00 00 00", "for setting VLANID."},
};

class SetPassThru : public DiscoveryBench, public testing::WithParamInterface<std::size_t> {
protected:
    /** The steps up to the one that is to fail, which is handed back. */
    bench::Exchange& scriptUpTo(std::size_t failing)
    {
        for (std::size_t i = 0; i < failing; ++i) bmc.expect(kSetSteps[i].bytes).preset(1).replyLength(8);
        return bmc.expect(kSetSteps[failing].bytes);
    }
    static constexpr char kName[] = "[AUFPI]APMDiscoverySetOSToBMCStatus: ";
};

TEST_F(PassThru, IsSetInFiveSteps)
{
    for (const SetStep& step : kSetSteps) bmc.expect(step.bytes).preset(1).replyLength(8);
    EXPECT_EQ(APMDiscoverySetOSToBMCStatus(21), 0);
}

TEST_P(SetPassThru, StopsAtARefusedStep)
{
    scriptUpTo(GetParam()).completes(0xC1);
    EXPECT_EQ(APMDiscoverySetOSToBMCStatus(21), 1);
    expectError(std::string(kName) + "Failed status with error code 193. " + kSetSteps[GetParam()].purpose + "\n");
}

TEST_P(SetPassThru, StopsAtAFailedExchange)
{
    scriptUpTo(GetParam()).fails();
    EXPECT_EQ(APMDiscoverySetOSToBMCStatus(21), 1);
    expectError(std::string(kName) + "QVHIPMCommand command for Generate failed!! " + kSetSteps[GetParam()].purpose +
                "\n");
}

INSTANTIATE_TEST_SUITE_P(Steps, SetPassThru, testing::Range<std::size_t>(0, std::size(kSetSteps)));

TEST_F(PassThru, TextCopyConvertsNothing)
{
    for (auto* copy : {ConverHexToAscii, APMSuptConverHexToAscii}) {
        astring text[8] = "xxxxxxx";
        copy("4\n a", text);
        EXPECT_STREQ(text, "4\n a");
        EXPECT_EQ(text[5], 'x');
        copy("", text);
        EXPECT_STREQ(text, "");
        copy(nullptr, text);
        copy("a", nullptr);
    }
}

}  // namespace
