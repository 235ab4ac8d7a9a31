/** @file FailureTest.cpp  Exit statuses of qvrfctl, and what it says when something is wrong. */
#include "ToolBench.h"

namespace {

using Words = std::vector<std::string>;

struct Fault {
    const char*        name;
    std::vector<Words> control;  ///< what goes wrong
    Words              arguments;
    int                exit;
    const char*        says;  ///< on standard error
};

template <class Row>
std::string rowName(const testing::TestParamInfo<Row>& row)
{
    return row.param.name;
}

class Failures : public ToolBench, public testing::TestWithParam<Fault> {
protected:
    Failures() : ToolBench("old") {}
};

TEST_P(Failures, HaveTheirExitStatusAndLeaveNoSession)
{
    for (const Words& words : GetParam().control) bmc.control(words);
    const Outcome outcome = tool(GetParam().arguments);
    EXPECT_EQ(outcome.exit, GetParam().exit) << outcome.err;
    EXPECT_TRUE(has(outcome.err, GetParam().says)) << outcome.err;
    bmc.control({"session-limit", "8"});
    EXPECT_EQ(bmc.openSessions(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    ExitStatus, Failures,
    testing::Values(
        Fault{"BrokenTransfer",
              {{"cut", "10", "GET", "/redfish", "1"}},
              {"get", "/redfish/v1"},
              1,
              "QVRFUTIL_CURL_FAILED"},
        Fault{"FirmwareRefused", {{"ipmi-cc", "30", "BF", "C0", "1"}}, {"session"}, 3, "OXA_BMC_CMD_GET_FW_ERROR"},
        Fault{"NoAddress", {{"set", "usbnic.hash", "off"}}, {"session"}, 3, "OXA_BMC_CMD_NO_IPADDRESS"},
        Fault{"NoSessionLeft", {{"session-limit", "0"}}, {"get", "/redfish/v1"}, 4, "OXA_BMC_SESSION_CREATION_FAILED"},
        Fault{"LoginRefused", {{"status", "401", "POST", "/redfish/v1/Sessions", "2"}}, {"session"}, 4, "advice:"},
        Fault{"NotFound", {}, {"get", "/redfish/v1/nope"}, 5, "HTTP 404 Not Found: There is no resource"},
        Fault{"NotAllowed", {}, {"delete", "/redfish/v1/AccountService/Accounts"}, 5, "HTTP 405 Method Not Allowed"},
        Fault{"ServerError", {{"status", "500", "GET", "/redfish", "1"}}, {"get", "/redfish/v1"}, 5, "HTTP 500"},
        Fault{"NoSuchDirectory", {}, {"get", "/redfish/v1", "-o", "/nowhere/file"}, 6, "cannot write /nowhere/file"},
        Fault{"OutputIsADirectory", {}, {"get", "/redfish/v1", "-o", "/"}, 6, "Is a directory"}),
    rowName<Fault>);

class Output : public OnOneGeneration {};

TEST_F(Output, ThatCannotBeWrittenIsAnErrorAndTheSessionIsClosed)
{
    ChildOptions full;
    full.outputFile = "/dev/full";
    EXPECT_EQ(tool({"get", "/redfish/v1"}, full).exit, 6);
    ChildOptions closed;
    closed.outputClosed = true;
    EXPECT_EQ(tool({"get", "/test/bytes/1000000"}, closed).exit, 6);
    EXPECT_EQ(bmc.openSessions(), 0u);
}

TEST_F(Output, IsAnErrorDocumentWithJson)
{
    bmc.control({"session-limit", "0"});
    const Json error = Json::parse(tool({"session", "--json"}).out).at("error");
    EXPECT_EQ(error["exit"], 4);
    EXPECT_EQ(error["status"], 100015);
    EXPECT_EQ(error["name"], "OXA_BMC_SESSION_CREATION_FAILED");
    EXPECT_NE(error["advice"], "");
}

TEST_F(Output, IsOneDocumentAlsoForHttpErrors)
{
    const Outcome outcome = tool({"get", "/redfish/v1/nope", "--json"});
    EXPECT_EQ(outcome.exit, 5);
    EXPECT_EQ(Json::parse(outcome.out)["httpStatus"], 404) << outcome.out;
}

TEST_F(Output, KeepsTheResultWhenTheSessionCannotBeClosed)
{
    bmc.control({"status", "500", "DELETE", sessions(), "1"});
    const Outcome outcome = tool({"get", "/redfish/v1"});
    EXPECT_EQ(outcome.exit, 0);
    EXPECT_TRUE(Json::accept(outcome.out));
    EXPECT_TRUE(has(outcome.err, "warning: the session 1 could not be closed")) << outcome.err;
}

TEST_F(Output, NamesIpmiWhenNobodyAnswersThere)
{
    bmc.stop();
    for (const Words& words : std::vector<Words>{{"discover"}, {"services"}, {"session"}, {"get", "/redfish/v1"}}) {
        const Outcome outcome = tool(words);
        EXPECT_EQ(outcome.exit, 3) << words[0];
        EXPECT_TRUE(has(outcome.err, "advice: check that the BMC's IPMI device exists")) << outcome.err;
    }
}

class NewerEndpoint : public ToolBench, public testing::Test {
protected:
    NewerEndpoint() : ToolBench("new") {}
};

TEST_F(NewerEndpoint, IsTakenFromTheCommandLine)
{
    bmc.control({"set", "port", "1"});  // what IPMI says does not count
    for (const char* address : {"127.0.0.1", "::1"}) {
        const Json shown = document({"session", "--address", address, "--port", bmc.port()});
        EXPECT_EQ(shown["ipVersion"], address == std::string("::1") ? 6 : 4);
        EXPECT_EQ(bmc.openSessions(), 0u);
    }
}

TEST_F(NewerEndpoint, WhereNobodyListensIsNoSession)
{
    const Outcome outcome = tool({"session", "--address", "127.0.0.1", "--port", "1"});
    EXPECT_EQ(outcome.exit, 4);
    EXPECT_TRUE(has(outcome.err, "status -1")) << outcome.err;
}

TEST_F(NewerEndpoint, WithAPortOfFiveDigitsIsRefusedBeforeTheLogin)
{
    bmc.control({"set", "port", "44300"});
    const Outcome outcome = tool({"session"});
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_TRUE(has(outcome.err, "more than four digits")) << outcome.err;
    EXPECT_EQ(Json::parse(bmc.control({"stats"}))["logins"], 0);
}

TEST_F(NewerEndpoint, GivesUpAfterTheSecondRefusal)
{
    bmc.control({"status", "401", "GET", "/redfish/v1/Systems"});
    const Outcome outcome = tool({"get", "/redfish/v1/Systems"});
    EXPECT_EQ(outcome.exit, 4);
    EXPECT_TRUE(has(outcome.err, "QVRFUTIL_SESSION_FAILURE")) << outcome.err;
    EXPECT_EQ(Json::parse(bmc.control({"stats"}))["requests"]["GET /redfish/v1/Systems 401"], 2);
}

struct BadInput {
    const char* name;
    Words       arguments;
    const char* says;
};
class BadCommandLine : public testing::TestWithParam<BadInput> {};

/** Without any BMC: nothing may be tried before the command line is found good. */
TEST_P(BadCommandLine, IsRefusedBeforeAnythingIsSent)
{
    Words command{QVRFCTL_PROGRAM};
    command.insert(command.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    ChildOptions options;
    options.environment["QVPLATFORM_CONFIG"] = "/dev/null";
    const Outcome outcome                    = run(command, options);
    EXPECT_EQ(outcome.exit, 2) << outcome.err;
    EXPECT_TRUE(has(outcome.err, GetParam().says)) << outcome.err;
    EXPECT_EQ(outcome.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BadCommandLine,
    testing::Values(
        BadInput{"Nothing", {}, "a command is missing"}, BadInput{"UnknownCommand", {"frob"}, "frob"},
        BadInput{"UnknownOption", {"session", "--frob"}, "--frob"}, BadInput{"NoPath", {"get"}, "PATH"},
        BadInput{"RelativePath", {"get", "redfish/v1"}, "does not begin with '/'"},
        BadInput{"PathWithBlank", {"get", "/a b"}, "percent-encoded"},
        BadInput{"LongPath", {"get", '/' + std::string(400, 'a')}, "401 characters"},
        BadInput{"PatchWithoutBody", {"patch", "/redfish/v1"}, "--data"},
        BadInput{"BodyIsNotJson", {"post", "/redfish/v1", "-d", "{'a':1}"}, "the body is not JSON"},
        BadInput{"BodyIsEmpty", {"post", "/redfish/v1", "-d", ""}, "the body is not JSON"},
        BadInput{"BodyFileMissing",
                 {"post", "/redfish/v1", "-d", "@/nowhere/body"},
                 "cannot read the body from /nowhere/body"},
        BadInput{"BodyFileIsADirectory", {"post", "/redfish/v1", "-d", "@/"}, "cannot read the body from /"},
        BadInput{"OutputWithHeaders", {"get", "/a", "-i", "-o", "x"}, "excludes"},
        BadInput{"NoAuthWithHeaders", {"get", "/a", "-i", "--no-auth"}, "excludes"},
        BadInput{"UploadWithoutFile", {"upload", "/a", "--metadata", "{}"}, "--file"},
        BadInput{"UploadWithoutMetadata", {"upload", "/a", "--file", "/dev/null"}, "--metadata"},
        BadInput{"MetadataIsNotJson",
                 {"upload", "/a", "--file", "/dev/null", "--metadata", "{a}"},
                 "the metadata is not JSON"},
        BadInput{"MetadataFileMissing",
                 {"upload", "/a", "--file", "/dev/null", "--metadata", "@/nowhere/m"},
                 "cannot read the metadata from /nowhere/m"},
        BadInput{"EventsOfRelativePath", {"events", "redfish"}, "does not begin with '/'"},
        BadInput{"EventsOfNoCount", {"events", "/a", "--count", "0"}, "--count"},
        BadInput{"EventsOfNegativeTime", {"events", "/a", "--timeout", "-1"}, "--timeout"},
        BadInput{"FiveDigitPort", {"--address", "127.0.0.1", "--port", "44300", "session"}, "more than four digits"},
        BadInput{"PortIsAWord", {"--address", "127.0.0.1", "--port", "https", "session"}, "not a number"},
        BadInput{"BadAddress", {"--address", "300.1.1.1", "session"}, "not an IP address"},
        BadInput{"BadIpv6", {"--address", "fe80::xyz", "session"}, "not an IPv6 address"},
        BadInput{"PortWithoutAddress", {"--port", "443", "session"}, "--port needs --address"},
        BadInput{
            "AddressOfOldGeneration", {"--address", "127.0.0.1", "--generation", "old", "session"}, "--generation old"},
        BadInput{"UnknownGeneration", {"--generation", "next", "session"}, "next"},
        BadInput{"UnknownPrivilege", {"--privilege", "admin", "session"}, "admin"},
        BadInput{"BadUser", {"--user", "a b", "session"}, "not a user name"},
        BadInput{"UserWithoutVerb", {"user"}, "subcommand"},
        BadInput{"AddWithoutPrivilege", {"user", "add", "x"}, "--privilege"},
        BadInput{"AddOfBadName", {"user", "add", "a;b", "--privilege", "ro"}, "not a user name"},
        BadInput{"AddOfRoot", {"user", "add", "root", "--privilege", "ro"}, "BMC's own user"},
        BadInput{"DeleteOfRoot", {"user", "delete", "root"}, "BMC's own user"}),
    rowName<BadInput>);

TEST(HelpAndVersion, SucceedWithoutABmc)
{
    EXPECT_EQ(run({QVRFCTL_PROGRAM, "--version"}).out.rfind("qvrfctl ", 0), 0u);
    const Outcome help = run({QVRFCTL_PROGRAM, "--help"});
    EXPECT_EQ(help.exit, 0);
    EXPECT_TRUE(has(help.out, "Exit status:")) << help.out;
}

}  // namespace
