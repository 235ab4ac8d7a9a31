/** @file DiscoveryAddressTest.cpp  Discovery of the BMC's addresses on the USB NIC link. */
#include <cstring>

#include "DiscoveryBench.h"
#include "OxaAutoUpdateUtils.h"
#include "qvserver.h"

namespace {

/** The two generations of IPv4 discovery. */
struct Form {
    const char* name;
    const char* op;
    s32 (*find)(astring*);
    s32 preset;
    s32 failure;
    s32 noMemory;
};
constexpr Form kForms[] = {
    {"Older", "APMDiscoveryUSBNICIPAddress", APMDiscoveryUSBNICIPAddress, 1, 1, 9},
    {"NewGen", "APMDiscoveryFetchIPv4IpAddressNewGenandAbove", APMDiscoveryFetchIPv4IpAddressNewGenandAbove, -1, -1,
     -1},
};

class Ipv4Address : public DiscoveryBench, public testing::WithParamInterface<Form> {
protected:
    /** Both steps for a text; its length counts the NUL. */
    void script(const std::string& text) { script(text, static_cast<u32>(text.size() + 1)); }
    void script(const std::string& text, u32 length)
    {
        bmc.expect("C0 D6 01 00 01 00 00 00").preset(form.preset).replyLength(9).answersBe16(7, length);
        const u8 bytes[] = {static_cast<u8>(length), static_cast<u8>(length >> 8)};
        bmc.expect("C0 D6 01 00 " + bench::hexOf(bytes, 2) + " 00 00")
            .preset(form.preset)
            .replyLength(length + 9)
            .answersText(text);
    }
    s32         find() { return form.find(address); }
    std::string line(const char* text) const { return std::string("[AUFPI]") + form.op + ": " + text + "\n"; }

    const Form& form        = GetParam();
    astring     address[16] = "untouched";
};

TEST_P(Ipv4Address, IsTheTextBeforeTheHash)
{
    script("169.254.1.1#443");
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(address, "169.254.1.1");
    expectTrace(std::string("[AUFPI]") + form.op + ": entry.\n");
    expectTrace(std::string("[AUFPI]") + form.op + ": exit.\n");
}

TEST_P(Ipv4Address, EndsAtTheFirstHash)
{
    script("10.0.0.1#1#2");
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(address, "10.0.0.1");
}

TEST_P(Ipv4Address, FillsItsRoomToTheLastByte)
{
    script("255.255.255.255#443");
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(address, "255.255.255.255");
}

TEST_P(Ipv4Address, OfSixteenCharactersDoesNotFitAndIsEmpty)
{
    script("255.255.255.2555#443");
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(address, "");
}

TEST_P(Ipv4Address, WithoutHashIsNone)
{
    script("169.254.1.1");
    EXPECT_EQ(find(), form.failure);
    EXPECT_STREQ(address, "untouched");
    expectError(line("IPPort is not well formed."));
}

TEST_P(Ipv4Address, MayReachTheEndOfTheReplyBuffer)
{
    script(std::string(29, '1') + "#");  // 30 characters from byte 10 on: no room for a NUL
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(address, "");
}

TEST_P(Ipv4Address, LongerThanTheReplyBufferIsRefusedByThePlatform)
{
    script("1.2.3.4#443", 32);  // 41 bytes
    EXPECT_EQ(find(), form.failure);
    expectError(line("QVHIPMCommand command for Generate failed!!"));
}

TEST_P(Ipv4Address, LengthHasTwoBytes)
{
    script("1.2.3.4#443", 0x0102);
    EXPECT_EQ(find(), form.failure);
}

TEST_P(Ipv4Address, IsCutToTheLengthThatTheBmcNamed)
{
    for (const u32 length : {0U, 1U, 7U, 8U}) {
        bmc.restart();
        script("1.2.3.4#443", length);
        EXPECT_EQ(find(), form.failure) << length;
    }
    bmc.restart();
    script("1.2.3.4#443", 9);
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(address, "1.2.3.4");
}

TEST_P(Ipv4Address, FailsWhenTheBmcRefusesTheFirstStep)
{
    bmc.expect("C0 D6 01 00 01 00 00 00").completes(0xC1);
    EXPECT_EQ(find(), form.failure);
    expectError(line("Failed status with error code 193."));
}

TEST_P(Ipv4Address, FailsWhenTheBmcRefusesTheSecondStep)
{
    bmc.expect("C0 D6 01 00 01 00 00 00").answersBe16(7, 12);
    bmc.expect("C0 D6 01 00 0C 00 00 00").completes(0xFF);
    EXPECT_EQ(find(), form.failure);
    expectError(line("Failed status with error code 255."));
}

TEST_P(Ipv4Address, KeepsTheStatusThatTheFirstStepLeft)
{
    bmc.expect("C0 D6 01 00 01 00 00 00").answersBe16(7, 12).leavesStatus(77);
    bmc.expect("C0 D6 01 00 0C 00 00 00").preset(77).answersText("1.2.3.4#443");
    EXPECT_EQ(find(), 0);
}

TEST_P(Ipv4Address, SaysWhenMemoryIsOut)
{
    script("1.2.3.4#443");
    bmc.failAllocation(1);
    EXPECT_EQ(find(), form.noMemory);
    EXPECT_STREQ(address, "untouched");
}

TEST_P(Ipv4Address, LosesNothingWhicheverCallFails)
{
    const u32 calls = walkFailures([&] { script("1.2.3.4#443"); }, [&] { return find(); },
                                   [&](const std::string& failed, s32 status) {
                                       EXPECT_EQ(status, failed == "SMAllocMem" ? form.noMemory : form.failure);
                                   });
    EXPECT_EQ(calls, 3U);
}

TEST_P(Ipv4Address, NeedsAnOutput)
{
    EXPECT_EQ(form.find(nullptr), form.failure);
}

INSTANTIATE_TEST_SUITE_P(Generations, Ipv4Address, testing::ValuesIn(kForms), NameOfCase{});

class Ipv6Address : public DiscoveryBench {
protected:
    void SetUp() override
    {
        DiscoveryBench::SetUp();
        giSServerNewGenAndAbove = TRUE;
        std::memset(address, 'x', sizeof address);
    }
    void TearDown() override
    {
        giSServerNewGenAndAbove = FALSE;
        DiscoveryBench::TearDown();
    }
    bench::Exchange& request() { return bmc.expect("C0 CF 01 02 14 00 00 00 01").preset(-1).replyLength(28); }

    astring address[48];
};

TEST_F(Ipv6Address, IsFixedOnAnOlderServer)
{
    giSServerNewGenAndAbove = FALSE;
    EXPECT_EQ(APMDiscoveryUSBNICIPv6Address(address), 0);
    EXPECT_STREQ(address, "fe80::1234");
}

TEST_F(Ipv6Address, OfTheNewerFormAlwaysComesFromTheBmc)
{
    giSServerNewGenAndAbove = FALSE;
    request().answersAt(12, "FE 80 00 00 00 00 00 00 0A 01 00 00 00 00 00 01");
    EXPECT_EQ(APMDiscoveryUSBNICIPv6AddressNewGenandAbove(address), 0);
    EXPECT_STREQ(address, "fe80:00:00:00:a1:00:00:01");
}

TEST_F(Ipv6Address, HasNoLeadingZeros)
{
    request().answersAt(12, "FE 80 00 00 00 00 00 00 0A 01 10 0F 00 F0 12 34");
    EXPECT_EQ(APMDiscoveryUSBNICIPv6Address(address), 0);
    EXPECT_STREQ(address, "fe80:00:00:00:a1:10f:0f0:1234");
    EXPECT_EQ(address[47], '\0');  // the whole room was zeroed
}

TEST_F(Ipv6Address, IsWrittenEvenWhenTheBmcRefuses)
{
    request().completes(0xD4).answersAt(12, "FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF");
    EXPECT_EQ(APMDiscoveryUSBNICIPv6Address(address), 0xD4);
    EXPECT_STREQ(address, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
    expectError("[AUFPI]APMDiscoveryUSBNICIPv6Address: Failed status with error code 212.\n");
}

TEST_F(Ipv6Address, IsEmptyWhenTheExchangeFails)
{
    request().fails();
    EXPECT_EQ(APMDiscoveryUSBNICIPv6Address(address), -1);
    EXPECT_STREQ(address, "");
    expectError("[AUFPI]APMDiscoveryUSBNICIPv6Address: QVHIPMCommand command for Generate failed!!\n");
}

TEST_F(Ipv6Address, NeedsAnOutput)
{
    EXPECT_EQ(APMDiscoveryUSBNICIPv6Address(nullptr), 271);
    EXPECT_EQ(APMDiscoveryUSBNICIPv6AddressNewGenandAbove(nullptr), 271);
}

}  // namespace
