/** @file TextTest.cpp  What qvrfctl decides without a BMC: checks of its input, JSON as text, the table of statuses. */
#include <gtest/gtest.h>

#include <set>

#include "endpoint.h"
#include "failure.h"
#include "jsontext.h"
#include "qvstatus.h"

namespace qvrfctl {
namespace {

template <class Row>
std::string rowName(const testing::TestParamInfo<Row>& info)
{
    return info.param.name;
}

/** The failure of @p body; fails the test when there is none. */
template <class Body>
Failure failureOf(Body&& body)
{
    try {
        body();
    } catch (const Failure& f) {
        return f;
    }
    ADD_FAILURE() << "nothing was thrown";
    return wrongUsage("");
}

struct GoodEndpoint {
    const char* name;
    const char* address;
    const char* port;
    const char* taken;
    bool        ipv6;
};
class AcceptedEndpoint : public testing::TestWithParam<GoodEndpoint> {};

TEST_P(AcceptedEndpoint, IsTakenApart)
{
    const Endpoint endpoint = parseEndpoint(GetParam().address, GetParam().port);
    EXPECT_EQ(endpoint.address, GetParam().taken);
    EXPECT_EQ(endpoint.port, GetParam().port);
    EXPECT_EQ(endpoint.ipv6, GetParam().ipv6);
}

INSTANTIATE_TEST_SUITE_P(Endpoints, AcceptedEndpoint,
                         testing::Values(GoodEndpoint{"Ipv4", "169.254.1.1", "443", "169.254.1.1", false},
                                         GoodEndpoint{"LargestPort", "127.0.0.1", "9999", "127.0.0.1", false},
                                         GoodEndpoint{"Ipv6", "fe80::1234", "1", "fe80::1234", true},
                                         GoodEndpoint{"Ipv6InBrackets", "[::1]", "443", "::1", true},
                                         GoodEndpoint{"Ipv6IsShortened", "fe80:0000:0000:0000:0000:0000:0000:0001",
                                                      "443", "fe80::1", true},
                                         GoodEndpoint{"Ipv6WithZone", "fe80::1%usb0", "443", "fe80::1%usb0", true}),
                         rowName<GoodEndpoint>);

struct BadEndpoint {
    const char* name;
    const char* address;
    const char* port;
    const char* says;
};
class RefusedEndpoint : public testing::TestWithParam<BadEndpoint> {};

TEST_P(RefusedEndpoint, SaysWhatIsWrong)
{
    const Failure failure = failureOf([] { parseEndpoint(GetParam().address, GetParam().port); });
    EXPECT_EQ(failure.exit(), kExitUsage);
    EXPECT_NE(std::string(failure.what()).find(GetParam().says), std::string::npos) << failure.what();
}

INSTANTIATE_TEST_SUITE_P(
    Endpoints, RefusedEndpoint,
    testing::Values(BadEndpoint{"FiveDigits", "127.0.0.1", "44300", "more than four digits"},
                    BadEndpoint{"FiveDigitsWithZero", "127.0.0.1", "00443", "more than four digits"},
                    BadEndpoint{"PortIsZero", "127.0.0.1", "0", "not a number"},
                    BadEndpoint{"PortIsAWord", "127.0.0.1", "https", "not a number"},
                    BadEndpoint{"PortIsNegative", "127.0.0.1", "-1", "not a number"},
                    BadEndpoint{"PortIsEmpty", "127.0.0.1", "", "not a number"},
                    BadEndpoint{"HostName", "torvo.example", "443", "not an IP address"},
                    BadEndpoint{"ThreeNumbers", "127.0.1", "443", "not an IP address"},
                    BadEndpoint{"LeadingBlank", " 127.0.0.1", "443", "not an IP address"},
                    BadEndpoint{"UrlInAddress", "127.0.0.1/evil", "443", "not an IP address"},
                    BadEndpoint{"PortInAddress", "127.0.0.1:443", "443", "not an IPv6 address"},
                    BadEndpoint{"OneBracket", "[::1", "443", "not an IPv6 address"},
                    BadEndpoint{"NineGroups", "1:2:3:4:5:6:7:8:9", "443", "not an IPv6 address"},
                    BadEndpoint{"OddZone", "fe80::1%a/b", "443", "zone"},
                    BadEndpoint{"EmptyZone", "fe80::1%", "443", "zone"},
                    BadEndpoint{"TooLong", "2001:db81:aaaa:bbbb:cccc:dddd:eeee:ffff", "443", "too long"}),
    rowName<BadEndpoint>);

TEST(Endpoint, WithNulIsRefused)
{
    EXPECT_THROW(parseEndpoint(std::string("127.0.0.1\0x", 11), "443"), Failure);
}

TEST(Path, UpTo400PlainCharactersIsTaken)
{
    EXPECT_NO_THROW(checkPath("/redfish/v1/Systems?$top=1&$skip=%20"));
    EXPECT_NO_THROW(checkPath('/' + std::string(399, 'a')));
    for (const std::string& bad : {std::string(), std::string("redfish"), std::string("/a b"), std::string("/a\nX: y"),
                                   std::string("/\xc3\xa4"), '/' + std::string(400, 'a')})
        EXPECT_EQ(failureOf([&] { checkPath(bad); }).exit(), kExitUsage) << bad;
}

TEST(UserName, HasNoCharacterThatCouldEndACommandLine)
{
    for (const char* good : {"root", "a", "svc-agent_1.x", "abcdefghijklmnopqrstuv"})
        EXPECT_NO_THROW(checkUserName(good));
    for (const char* bad : {"", "a b", "a\nvorsk", "\"\"", "a;b", "abcdefghijklmnopqrstuvw", "\xc3\xa4"})
        EXPECT_EQ(failureOf([&] { checkUserName(bad); }).exit(), kExitUsage) << bad;
}

TEST(Body, ThatIsNotJsonIsRefusedWithItsPlace)
{
    for (const char* good : {"{}", " [1,2] ", "\"x\"", "null"}) EXPECT_NO_THROW(checkJsonBody(good));
    for (const char* bad : {"", "{", "{'a':1}", "{\"a\":1}x", "{\"a\":\"\xff\"}"})
        EXPECT_EQ(failureOf([&] { checkJsonBody(bad); }).exit(), kExitUsage) << bad;
    EXPECT_THROW(checkJsonBody(std::string("{}\0garbage", 10)), Failure);
    EXPECT_NE(std::string(failureOf([] { checkJsonBody("{\n \"a\" 1}"); }).what()).find("line 2"), std::string::npos);
}

struct Indentation {
    const char* name;
    const char* json;
    const char* indented;
};
class Indented : public testing::TestWithParam<Indentation> {};

TEST_P(Indented, KeepsEveryValue)
{
    EXPECT_EQ(indented(GetParam().json), GetParam().indented);
    EXPECT_EQ(indented(GetParam().indented), GetParam().indented);  // what is indented stays so
}

INSTANTIATE_TEST_SUITE_P(
    Json, Indented,
    testing::Values(Indentation{"Nothing", "", ""}, Indentation{"EmptyObject", "{ }", "{}"},
                    Indentation{"Scalar", "1.10", "1.10"},
                    Indentation{"NumbersStayAsTheyAre", "[1.10,123456789012345678901234567890]",
                                "[\n  1.10,\n  123456789012345678901234567890\n]"},
                    Indentation{"Nested", R"({"b":{"a":[{},[]]},"a":null})",
                                "{\n  \"b\": {\n    \"a\": [\n      {},\n      []\n    ]\n  },\n  \"a\": null\n}"},
                    Indentation{"StringsAreNotLookedInto", R"({"k":"{\"x\": [1,2]} \\"})",
                                "{\n  \"k\": \"{\\\"x\\\": [1,2]} \\\\\"\n}"}),
    rowName<Indentation>);

TEST(RedfishMessage, IsTheFirstOneForReaders)
{
    EXPECT_EQ(
        redfishMessage(R"({"error":{"message":"m","@Message.ExtendedInfo":[{"MessageId":"x"},{"Message":"e"}]}})"),
        "e");
    EXPECT_EQ(redfishMessage(R"({"error":{"message":"m","@Message.ExtendedInfo":[]}})"), "m");
    for (const char* none : {"", "x", "[]", "{}", R"({"error":1})", R"({"error":{"message":1}})"})
        EXPECT_EQ(redfishMessage(none), "") << none;
}

TEST(StatusTable, KnowsEveryStatusOfTheLibrary)
{
    std::set<std::string> names;
    const auto            check = [&](s32 status) {
        const StatusRow& row = statusRow(status);
        EXPECT_EQ(row.status, status);
        EXPECT_STRNE(row.name, "") << status;
        EXPECT_STRNE(row.meaning, "") << status;
        EXPECT_NE(row.exit, kExitOk) << status;
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
    };
    for (s32 status = OXA_INVALID_PARAM; status <= OXA_BMC_USBNIC_DISABLED; ++status) check(status);
    for (s32 status = QVRFUTIL_BUFFER_TOO_SMALL; status <= QVRFUTIL_SESSION_FAILURE; ++status) check(status);
    for (s32 status :
         {QVRFUTIL_FAILURE, QVRFUTIL_INVALID_PARAMETER, QVRFUTIL_OUT_OF_MEMORY, QVRFUTIL_EVENT_STREAM_BROKEN})
        check(status);
}

TEST(StatusTable, AnUnknownStatusIsTheLibrarysFailureAndNamesItsNumber)
{
    const Failure failure = libraryFailure("do it", 4711);
    EXPECT_EQ(failure.exit(), kExitLibrary);
    EXPECT_NE(std::string(failure.what()).find("cannot do it: status 4711"), std::string::npos) << failure.what();
}

TEST(SessionFailure, IsAMissingSessionUnlessIpmiIsToBlame)
{
    for (s32 status : {QVRFUTIL_FAILURE, QVRFUTIL_OUT_OF_MEMORY, OXA_BMC_SESSION_CREATION_FAILED,
                       OXA_REDFISH_TOKEN_GENERATION_FAILED, 4711})
        EXPECT_EQ(sessionFailure(status).exit(), kExitNoSession) << status;
    for (s32 status : {OXA_BMC_CMD_GET_FW_ERROR, OXA_BMC_CMD_NO_IPADDRESS, OXA_BMC_CMD_NO_IPPORT})
        EXPECT_EQ(sessionFailure(status).exit(), kExitUnreachable) << status;
}

TEST(DiscoveryReason, TellsRefusalsFromSilence)
{
    EXPECT_EQ(discoveryReason(1), "no usable answer over IPMI");
    EXPECT_EQ(discoveryReason(-1), "no usable answer over IPMI");
    EXPECT_EQ(discoveryReason(0xC1), "the BMC refused, completion code 0xc1: unknown command");
    EXPECT_EQ(discoveryReason(0xAB), "the BMC refused, completion code 0xab");
    EXPECT_NE(discoveryReason(271).find("271"), std::string::npos);
}

}  // namespace
}  // namespace qvrfctl
