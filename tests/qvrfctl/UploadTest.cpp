/** @file UploadTest.cpp  qvrfctl upload, and get without a session, against a simulator. */
#include <unistd.h>

#include <filesystem>

#include "ToolBench.h"

namespace {

constexpr char kTarget[]   = "/redfish/v1/UpdateService/MultipartUpload";
constexpr char kMetadata[] = R"({"Targets":["/redfish/v1/Systems"]})";

class UploadBench : public ToolBench {
protected:
    using ToolBench::ToolBench;

    std::string fileOf(const std::string& content) const
    {
        const std::string file = bmc.directory() + "/support log.zip";
        writeFile(file, content);
        return file;
    }
};

class EachUpload : public UploadBench, public testing::TestWithParam<const char*> {
protected:
    EachUpload() : UploadBench(GetParam()) {}
};
INSTANTIATE_TEST_SUITE_P(Generations, EachUpload, testing::Values("new", "old"), generationName);

struct Content {
    std::string bytes;
    const char* sha256;  // published test vectors of the digest
};

TEST_P(EachUpload, ArrivesWholeWithItsMetadata)
{
    const std::vector<Content> contents{
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const Content& content : contents) {
        const Json answer = document({"upload", kTarget, "--file", fileOf(content.bytes), "--metadata", kMetadata});
        EXPECT_EQ(answer["httpStatus"], 202);
        EXPECT_EQ(answer["method"], "POST");
        EXPECT_EQ(answer["body"]["Size"], content.bytes.size());
        EXPECT_EQ(answer["body"]["SHA256"], content.sha256);
        EXPECT_EQ(answer["body"]["FileName"], "support log.zip");
        EXPECT_EQ(answer["body"]["Metadata"], Json::parse(kMetadata));
        EXPECT_EQ(readFile(answer["body"]["StoredAs"]), content.bytes);
    }
    EXPECT_EQ(bmc.openSessions(), 0u);
}

TEST_P(EachUpload, IsSentOnceMoreWhenTheSessionHadEnded)
{
    bmc.control({"status", "401", "POST", kTarget, "1"});
    const Outcome outcome = tool({"upload", kTarget, "--file", fileOf("abc"), "--metadata", "{}", "--json"});
    ASSERT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_TRUE(has(outcome.err, "had ended the session")) << outcome.err;
    const Json answer = Json::parse(outcome.out);
    EXPECT_EQ(answer["sessionRenewed"], true);
    EXPECT_EQ(answer["body"]["Size"], 3);
}

class Upload : public UploadBench, public testing::Test {
protected:
    Upload() : UploadBench("old") {}
};

TEST_F(Upload, TakesItsMetadataFromAFileOrStandardInput)
{
    const std::string about = bmc.directory() + "/about.json";
    writeFile(about, kMetadata);
    ChildOptions input;
    input.input            = kMetadata;
    const std::string file = fileOf("abc");
    EXPECT_EQ(document({"upload", kTarget, "--file", file, "--metadata", '@' + about})["body"]["Metadata"],
              Json::parse(kMetadata));
    const Outcome outcome = tool({"upload", kTarget, "--file", file, "--metadata", "-"}, input);
    EXPECT_EQ(Json::parse(outcome.out)["Metadata"], Json::parse(kMetadata)) << outcome.err;
}

TEST_F(Upload, ThatIsRefusedOrCutIsAnError)
{
    const std::string file    = fileOf("abc");
    const Outcome     refused = tool({"upload", "/redfish/v1/nope", "--file", file, "--metadata", "{}"});
    EXPECT_EQ(refused.exit, 5) << refused.err;
    bmc.control({"cut", "10", "POST", kTarget, "1"});
    const Outcome cut = tool({"upload", kTarget, "--file", file, "--metadata", "{}"});
    EXPECT_EQ(cut.exit, 1);
    EXPECT_TRUE(has(cut.err, "status 103 (QVRFUTIL_CURL_FAILED): the upload was not completed")) << cut.err;
    EXPECT_EQ(bmc.openSessions(), 0u);
}

struct BadFile {
    const char* name;
    const char* file;
    const char* says;
};
class BadUpload : public testing::TestWithParam<BadFile> {};

/** Without any BMC: the file is looked at before anything is tried. */
TEST_P(BadUpload, IsRefusedBeforeAnythingIsSent)
{
    ChildOptions options;
    options.environment["QVPLATFORM_CONFIG"] = "/dev/null";
    const Outcome outcome =
        run({QVRFCTL_PROGRAM, "upload", kTarget, "--file", GetParam().file, "--metadata", "{}"}, options);
    EXPECT_EQ(outcome.exit, 2) << outcome.err;
    EXPECT_TRUE(has(outcome.err, GetParam().says)) << outcome.err;
}

INSTANTIATE_TEST_SUITE_P(Files, BadUpload,
                         testing::Values(BadFile{"Missing", "/nowhere/f", "cannot upload /nowhere/f: No such file"},
                                         BadFile{"Directory", "/", "cannot upload /: Is a directory"},
                                         BadFile{"Device", "/dev/null", "cannot upload /dev/null: it is not a file"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(Upload, OfAnUnreadableFileIsRefusedBeforeTheLogin)
{
    if (::geteuid() == 0) GTEST_SKIP() << "root reads every file";
    const std::string file = fileOf("abc");
    std::filesystem::permissions(file, std::filesystem::perms::none);
    const Outcome outcome = tool({"upload", kTarget, "--file", file, "--metadata", "{}"});
    EXPECT_EQ(outcome.exit, 2);
    EXPECT_TRUE(has(outcome.err, "Permission denied")) << outcome.err;
    EXPECT_EQ(Json::parse(bmc.control({"stats"}))["logins"], 0);
}

class WithoutSession : public OnEachGeneration {};
INSTANTIATE_TEST_SUITE_P(Generations, WithoutSession, testing::Values("new", "old"), generationName);

TEST_P(WithoutSession, ReadsWhatIsForEverybodyAndLogsNobodyIn)
{
    const Json root = document({"get", "--no-auth", "/redfish/v1"});
    EXPECT_EQ(root["httpStatus"], 200);
    EXPECT_EQ(root["body"]["@odata.id"], "/redfish/v1");
    EXPECT_EQ(document({"get", "--no-auth", "/test/bytes/300000"})["body"].get<std::string>().size(), 300000u);
    const Json echo = document({"get", "--no-auth", "/test/echo"});
    for (const Json& header : echo["body"]["headers"]) EXPECT_NE(header[0], "X-Auth-Token");
    const Outcome refused = tool({"get", "--no-auth", "/redfish/v1/Systems"});
    EXPECT_EQ(refused.exit, 5) << refused.err;
    EXPECT_TRUE(has(refused.err, "HTTP 401 Unauthorized")) << refused.err;
    EXPECT_EQ(Json::parse(bmc.control({"stats"}))["logins"], 0);
}

TEST_P(WithoutSession, SaysThatNoAnswerCame)
{
    bmc.control({"cut", "10", "GET", "/redfish", "1"});
    const Outcome cut = tool({"get", "--no-auth", "/redfish/v1"});
    EXPECT_EQ(cut.exit, 1);
    EXPECT_TRUE(has(cut.err, "status -1 (QVRFUTIL_FAILURE): the BMC gave no complete answer within 5 s")) << cut.err;
    bmc.stop();
    EXPECT_EQ(tool({"get", "--no-auth", "/redfish/v1"}).exit, 3);
}

}  // namespace
