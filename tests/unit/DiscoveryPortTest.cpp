/** @file DiscoveryPortTest.cpp  Discovery of the HTTPS port of the BMC's web server. */
#include "DiscoveryBench.h"
#include "OxaAutoUpdateUtils.h"

namespace {

constexpr char kStart[]   = "18 59 00 DE 00 00";
constexpr char kRest[]    = "18 59 00 DE 01 00";
constexpr char kCommand[] = "vorsk get torvo.webserver.httpsport";

class HttpsPort : public DiscoveryBench {
protected:
    void script(const std::string& start, const std::string& rest, std::size_t restAt = 3)
    {
        bmc.expect(kStart).preset(1).replyLength(22).answersText(start, 6);
        bmc.expect(kRest).preset(1).replyLength(22).answersText(rest, restAt);
    }
    s32 find() { return APMDiscoveryGetIPPort(port); }

    astring port[6 + 1] = "......";  // the last byte is not the operation's to write
};

struct UrlCase {
    const char* name;
    const char* start;
    const char* rest;
    s32         status;
    const char* port;
};
class HttpsPortInUrl : public HttpsPort, public testing::WithParamInterface<UrlCase> {};

TEST_P(HttpsPortInUrl, IsTheThirdToken)
{
    script(GetParam().start, GetParam().rest);
    EXPECT_EQ(find(), GetParam().status);
    EXPECT_STREQ(port, GetParam().port);
}

// The first character is the BMC's length byte.
INSTANTIATE_TEST_SUITE_P(Texts, HttpsPortInUrl,
                         testing::Values(UrlCase{"AcrossBothBlocks", "\x17https://169.254", ".1.1:443", 0, "443"},
                                         UrlCase{"CutWithinThePort", "\x17https://1.2.3:4", "43", 0, "443"},
                                         UrlCase{"FiveDigits", "\x17https://1.2.3.4", ":65535", 0, "65535"},
                                         UrlCase{"SixDigitsDoNotFit", "\x17https://1.2.3.4", ":655351", 0, ""},
                                         UrlCase{"EndsAtAColon", "\x17https://1.2.3.4", ":443:8", 0, "443"},
                                         UrlCase{"KeepsAPath", "\x17https://1.2.3.4", ":443/", 0, "443/"},
                                         UrlCase{"NoPort", "\x17https://1.2.3.4", ".5", 1, "......"},
                                         UrlCase{"NoLengthByte", "https://1.2.3.4:", "443", 1, "......"},
                                         UrlCase{"OneTokenOnly", "\x17https://", "", 1, "......"},
                                         UrlCase{"DelimitersOnly", "https://", "", 1, "......"}),
                         NameOfCase{});

TEST_F(HttpsPort, LosesZerosWithinTheSecondBlock)
{
    bmc.expect(kStart).answersText("\x17https://1.2.3.4", 6);
    bmc.expect(kRest).answersAt(3,
                                "00 3A 00 34 00 34 33 00 00 00 00 00 00 00 00 39 39 39 39");  // beyond byte 17: not its
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(port, "443");
}

TEST_F(HttpsPort, TakesTheSecondBlockUpToByte17)
{
    bmc.expect(kStart).answersText("\x17https://1.2.3", 6);
    bmc.expect(kRest).answersText("........:65432", 3).answersAt(17, "31").answersAt(18, "39");
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(port, "");  // 654321: byte 17 belongs to it, which makes it too long
}

TEST_F(HttpsPort, ClearsWhatTheFirstBlockLeftBeforeTheSecond)
{
    bmc.expect(kStart).answersText("\x17https://1.2.3.4", 6);
    bmc.expect(kRest).answersText(":80", 3);  // a short reply: behind it the buffer must be empty
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(port, "80");
    const auto second = bmc.ipmiRequests().at(1).buffer;
    EXPECT_EQ(bench::hexOf(second.data(), 18), "18 59 00 DE 01 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(HttpsPort, BoundsTheSecondBlockByTheLengthThatTheFirstNamed)
{
    // Bytes 7 and 8 are the length and text at once: "x", then a length of 0x0004, then nothing.
    bmc.expect(kStart).answersAt(6, "78 00 04");
    bmc.expect(kRest).answersText("/1:65432", 3);
    EXPECT_EQ(find(), 1);  // "x/1:" has no port
    EXPECT_EQ(bmc.allocations(), (std::vector<u32>{4096, 4}));
}

TEST_F(HttpsPort, TakesALengthOfZero)
{
    bmc.expect(kStart).answersAt(6, "78 00 00");
    bmc.expect(kRest).answersText("/1:443", 3);
    EXPECT_EQ(find(), 1);
}

TEST_F(HttpsPort, TracesAnEmptyPortWhenNoColonIsThere)
{
    script("\x17xyz", "abc");
    EXPECT_EQ(find(), 1);
    expectTrace("[AUFPI]APMDiscoveryGetIPPort: IPPort = \n");
    expectError("[AUFPI]APMDiscoveryGetIPPort: Not able to get https port Number.\n");
}

TEST_F(HttpsPort, PassesTheCompletionCodeOfEitherBlockOn)
{
    bmc.expect(kStart).completes(0xC0);
    EXPECT_EQ(find(), 0xC0);
    bmc.expect(kStart).answersText("\x17https://1.2.3.4", 6);
    bmc.expect(kRest).completes(0xC9);
    EXPECT_EQ(find(), 0xC9);
}

TEST_F(HttpsPort, LosesNothingWhicheverCallFails)
{
    const u32 calls =
        walkFailures([&] { script("\x17https://1.2.3.4", ":443"); }, [&] { return find(); },
                     [](const std::string& failed, s32 status) { EXPECT_EQ(status, failed == "SMAllocMem" ? 9 : 1); });
    EXPECT_EQ(calls, 4U);
}

TEST_F(HttpsPort, NeedsAnOutput)
{
    EXPECT_EQ(APMDiscoveryGetIPPort(nullptr), 1);
    EXPECT_EQ(APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove(nullptr), -1);
}

struct CommandCase {
    const char* name;
    const char* reply;
    s32         status;
    const char* port;
};
class HttpsPortByCommand : public HttpsPort, public testing::WithParamInterface<CommandCase> {};

TEST_P(HttpsPortByCommand, IsTheThirdToken)
{
    bmc.expect(kStart).preset(1);
    bmc.expectCommandLine(kCommand).replies(GetParam().reply);
    EXPECT_EQ(find(), GetParam().status);
    EXPECT_STREQ(port, GetParam().port);
}

INSTANTIATE_TEST_SUITE_P(Replies, HttpsPortByCommand,
                         testing::Values(CommandCase{"TwoLines", "[Key=torvo.WebServer.1]\nHttpsPort=443\n", 0, "443"},
                                         CommandCase{"NoLineFeed", "[Key=x]\nHttpsPort=8443", 0, "8443"},
                                         CommandCase{"FiveDigits", "[Key=x]\nHttpsPort=65535\n", 0, "65535"},
                                         CommandCase{"SixDigitsDoNotFit", "[Key=x]\nHttpsPort=655351\n", 0, ""},
                                         CommandCase{"OnlyALineFeed", "[Key=x]\nHttpsPort=\n", 0, ""},
                                         CommandCase{"NoPort", "[Key=x]\nHttpsPort=", 1, "......"},
                                         CommandCase{"SecondLineAlone", "HttpsPort=443\n", 1, "......"},
                                         CommandCase{"Empty", "", 1, "......"}),
                         NameOfCase{});

TEST_F(HttpsPort, SaysWhenTheCommandFails)
{
    bmc.expect(kStart);
    bmc.expectCommandLine(kCommand).replies("half a reply").fails(3);
    EXPECT_EQ(find(), 1);
    expectError("[AUFPI]APMDiscoveryGetIPPort: pResp is NULL.\n");
}

TEST_F(HttpsPort, SaysWhenTheCommandRepliesNothing)
{
    bmc.expect(kStart);
    bmc.expectCommandLine(kCommand).repliesNothing();
    EXPECT_EQ(find(), 1);
    expectError("[AUFPI]APMDiscoveryGetIPPort: vorsk command failed vorsk get torvo.webserver.httpsport \n");
}

class HttpsPortNewGen : public DiscoveryBench {
protected:
    bench::Exchange& request() { return bmc.expect("B8 02 C7 03 00 00 0C 00 00 00 FF").preset(-1).replyLength(32); }
    s32              find() { return APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove(port); }

    astring port[8 + 1] = "........";
};

TEST_F(HttpsPortNewGen, HasItsLowByteFirst)
{
    request().answersAt(7, "BB 01");
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(port, "443");
    EXPECT_EQ(port[7], '\0');
    EXPECT_EQ(port[8], '\0');  // never written: the literal's own
    expectTrace("APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove : Entry.\n");
}

TEST_F(HttpsPortNewGen, IsWrittenEvenWhenTheBmcRefuses)
{
    request().answersAt(7, "FF FF").completes(0xC1);
    EXPECT_EQ(find(), 0xC1);
    EXPECT_STREQ(port, "65535");
    expectError("APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove : Failed status with error code 193.\n");
}

TEST_F(HttpsPortNewGen, IsEmptyWhenTheExchangeFails)
{
    request().fails();
    EXPECT_EQ(find(), -1);
    EXPECT_STREQ(port, "");
    expectError("APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove : QVHIPMCommand command for Generate failed!!\n");
}

}  // namespace
