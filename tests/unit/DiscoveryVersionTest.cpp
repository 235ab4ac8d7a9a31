/** @file DiscoveryVersionTest.cpp  Discovery of the versions of firmware, update package and agent. */
#include <cstring>

#include "DiscoveryBench.h"
#include "OxaAutoUpdateUtils.h"

namespace {

class FirmwareVersion : public DiscoveryBench {
protected:
    u16 major = 99, minor = 98;
};

TEST_F(FirmwareVersion, IsInTheFirstTwoDataBytes)
{
    bmc.expect("C0 BF 01").preset(1).replyLength(13).answersAt(3, "FF 0A");
    EXPECT_EQ(APMDiscoveryGetTorvoFwVersion(&major, &minor), 0);
    EXPECT_EQ(major, 255);
    EXPECT_EQ(minor, 10);
}

TEST_F(FirmwareVersion, IsNotStoredWhenTheBmcRefuses)
{
    bmc.expect("C0 BF 01").completes(0xC1).answersAt(3, "07 0A");
    EXPECT_EQ(APMDiscoveryGetTorvoFwVersion(&major, &minor), 0xC1);
    EXPECT_EQ(major, 99);
    EXPECT_EQ(minor, 98);
    expectError("[AUFPI]APMDiscoveryGetTorvoFwVersion: Failed status with error code 193.\n");
}

TEST_F(FirmwareVersion, SaysWhenTheExchangeFails)
{
    bmc.expect("C0 BF 01").fails();
    EXPECT_EQ(APMDiscoveryGetTorvoFwVersion(&major, &minor), 1);
    expectError("[AUFPI]APMDiscoveryGetTorvoFwVersion: QVHIPMCommand: GetFwVersion failed!!\n");
}

TEST_F(FirmwareVersion, NeedsBothOutputs)
{
    EXPECT_EQ(APMDiscoveryGetTorvoFwVersion(nullptr, &minor), 1);
    EXPECT_EQ(APMDiscoveryGetTorvoFwVersion(&major, nullptr), 1);
}

class PackageVersion : public DiscoveryBench {
protected:
    void SetUp() override
    {
        DiscoveryBench::SetUp();
        std::memset(OxaUpdatedVersion, 0, sizeof OxaUpdatedVersion);
        std::memcpy(OxaUpdatedVersion, "1.2.3", 5);
    }
    void script(const std::string& text)
    {
        bmc.expect("C0 D6 01 05 02 00 00 00 00").preset(-1).replyLength(10).answersLe16(8, 0x10);
        bmc.expect("C0 D6 01 05 10 00 00 00 10").preset(-1).replyLength(25).answersText(text);
    }

    astring version[10 + 1] = "..........";  // the last byte is not the operation's to write
};

TEST_F(PackageVersion, IsReadInTwoStepsOneByteOfTheFirstReplyStaying)
{
    script("5.4.0.1");
    EXPECT_EQ(APMDiscoveryGetOxaPloxVersion(version), 0);
    EXPECT_STREQ(version, "5.4.0.1");
    EXPECT_STREQ(OxaUpdatedVersion, "5.4.0.1");
}

TEST_F(PackageVersion, LengthTravelsLowByteFirst)
{
    bmc.expect("C0 D6 01 05 02 00 00 00 00").answersAt(8, "34 12");
    bmc.expect("C0 D6 01 05 34 12 00 00 34").replyLength(0x1234 + 9);  // more than a record holds
    EXPECT_EQ(APMDiscoveryGetOxaPloxVersion(version), 1);
    EXPECT_STREQ(OxaUpdatedVersion, "1.2.3");
}

TEST_F(PackageVersion, OfNineCharactersFitsEverywhere)
{
    script("5.4.0.123");
    EXPECT_EQ(APMDiscoveryGetOxaPloxVersion(version), 0);
    EXPECT_STREQ(version, "5.4.0.123");
    EXPECT_STREQ(OxaUpdatedVersion, "5.4.0.123");
}

TEST_F(PackageVersion, OfTenCharactersIsCutAndNotRemembered)
{
    script("5.4.0.1234");
    EXPECT_EQ(APMDiscoveryGetOxaPloxVersion(version), 0);
    EXPECT_STREQ(version, "5.4.0.123");
    EXPECT_STREQ(OxaUpdatedVersion, "1.2.3");
}

TEST_F(PackageVersion, ShorterThanTheRememberedOneLeavesItsEnd)
{
    script("9.8");
    EXPECT_EQ(APMDiscoveryGetOxaPloxVersion(version), 0);
    EXPECT_STREQ(version, "9.8");
    EXPECT_STREQ(OxaUpdatedVersion, "9.8.3");
}

TEST_F(PackageVersion, PassesTheCompletionCodeOfEitherStepOn)
{
    bmc.expect("C0 D6 01 05 02 00 00 00 00").completes(0xCB);
    EXPECT_EQ(APMDiscoveryGetOxaPloxVersion(version), 0xCB);
    bmc.expect("C0 D6 01 05 02 00 00 00 00").answersLe16(8, 8);
    bmc.expect("C0 D6 01 05 08 00 00 00 08").completes(0xCC);
    EXPECT_EQ(APMDiscoveryGetOxaPloxVersion(version), 0xCC);
    EXPECT_STREQ(version, "..........");
}

TEST_F(PackageVersion, FailsWhicheverExchangeFails)
{
    const u32 calls = walkFailures([&] { script("5.4"); }, [&] { return APMDiscoveryGetOxaPloxVersion(version); },
                                   [](const std::string&, s32 status) { EXPECT_EQ(status, 1); });
    EXPECT_EQ(calls, 2U);
}

TEST_F(PackageVersion, NeedsAnOutput)
{
    EXPECT_EQ(APMDiscoveryGetOxaPloxVersion(nullptr), 1);
}

struct AgentCase {
    const char* name;
    const char* reply;
    s32         status;
    const char* version;
};
class AgentVersionCommand : public DiscoveryBench {
protected:
    bench::Exchange& command() { return bmc.expectCommandLine("vorsk get torVO.serviceModule.ServiceModuleVersion"); }
    astring          version[10 + 1] = "";
};
class AgentVersion : public AgentVersionCommand, public testing::WithParamInterface<AgentCase> {};

TEST_P(AgentVersion, IsTheTextBehindTheKey)
{
    command().replies(GetParam().reply);
    EXPECT_EQ(APMDiscoveryGetOxaOSVersion(version), GetParam().status);
    EXPECT_STREQ(version, GetParam().version);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, AgentVersion,
    testing::Values(AgentCase{"LosesItsLineFeed", "[Key=x]\nServiceModuleVersion=5.4.0.1\n", 0, "5.4.0.1"},
                    AgentCase{"LosesItsLastCharacter", "ServiceModuleVersion=5.4", 0, "5."},
                    AgentCase{"NineAndLineFeed", "ServiceModuleVersion=123456789\n", 0, "123456789"},
                    AgentCase{"TenLosesTheTenth", "ServiceModuleVersion=1234567890\n", 0, "123456789"},
                    AgentCase{"OnlyALineFeed", "ServiceModuleVersion=\n", 0, ""},
                    AgentCase{"Empty", "ServiceModuleVersion=", 0, ""},
                    AgentCase{"NoKey", "ServiceModuleversion=5.4\n", 1, ""}, AgentCase{"NoText", "", 1, ""}),
    NameOfCase{});

TEST_F(AgentVersionCommand, FailsWithIt)
{
    command().fails(5);
    EXPECT_EQ(APMDiscoveryGetOxaOSVersion(version), 1);
    command().repliesNothing();
    EXPECT_EQ(APMDiscoveryGetOxaOSVersion(version), 1);
    command().replies("an error text").fails(5);  // which goes back to the platform all the same
    EXPECT_EQ(APMDiscoveryGetOxaOSVersion(version), 1);
    EXPECT_EQ(APMDiscoveryGetOxaOSVersion(nullptr), 1);
}

}  // namespace
