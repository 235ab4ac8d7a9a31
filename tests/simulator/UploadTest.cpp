/** @file UploadTest.cpp  Uploads of a form with metadata and a file. */
#include <fstream>
#include <iterator>

#include "Desk.h"
#include "Support.h"

namespace {

constexpr const char kTarget[] = "/redfish/v1/UpdateService/MultipartUpload";

struct Part {
    const char* name;
    const char* type;  ///< nullptr: none of its own
    const char* file;  ///< file name; nullptr: plain data
    std::string data;
};

class Upload : public Desk {
protected:
    void SetUp() override { logIn(); }

    HttpAnswer upload(const std::vector<Part>& parts)
    {
        HttpCall request{"POST", url(kTarget)};
        request.headers = {"Accept: */*", "X-Auth-Token: " + token_};
        request.form    = [&](CURL*, curl_mime* form) {
            for (const Part& row : parts) {
                curl_mimepart* part = curl_mime_addpart(form);
                curl_mime_name(part, row.name);
                curl_mime_data(part, row.data.data(), row.data.size());
                if (row.type != nullptr) curl_mime_type(part, row.type);
                if (row.file != nullptr) curl_mime_filename(part, row.file);
            }
        };
        return perform(request);
    }
    static Part metadata(const std::string& text = R"({"Kind":"Log"})")
    {
        return {"metadata", "application/json", nullptr, text};
    }
};

TEST_F(Upload, IsStoredAndItsDigestTold)
{
    // More than curl sends without asking ("Expect: 100-continue"), with things that look like a delimiter.
    std::string data;
    while (data.size() < 3u * 1024 * 1024)
        data += "\r\n--\r\n-----" + std::to_string(data.size()) + std::string(1, '\0');
    const HttpAnswer answer = upload({metadata(), {"LogZip", nullptr, "log.zip", data}});
    ASSERT_EQ(answer.status, 202) << answer.body;
    const Json told = Json::parse(answer.body);
    EXPECT_EQ(told["Size"], data.size());
    EXPECT_EQ(told["SHA256"], torvosim::sha256Hex(data));
    EXPECT_EQ(told["FileName"], "log.zip");
    EXPECT_EQ(told["Metadata"]["Kind"], "Log");
    std::ifstream stored(told["StoredAs"].get<std::string>(), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stored), {}), data);
}

TEST_F(Upload, TakesAnEmptyFile)
{
    const HttpAnswer answer = upload({metadata(), {"LogZip", nullptr, "empty", ""}});
    ASSERT_EQ(answer.status, 202) << answer.body;
    EXPECT_EQ(Json::parse(answer.body)["Size"], 0);
}

TEST_F(Upload, RefusesAWrongForm)
{
    const Part                                      file{"LogZip", nullptr, "log.zip", "data"};
    const std::pair<std::vector<Part>, const char*> cases[] = {
        {{file, metadata()}, "part 1 is 'LogZip', not metadata"},
        {{metadata()}, "lacks one of its parts"},
        {{metadata(), {"Other", nullptr, "log.zip", "data"}}, "part 2 is 'Other', not LogZip"},
        {{metadata("{"), file}, "the metadata is not JSON"},
        {{{"metadata", "text/plain", nullptr, "{}"}, file}, "not application/json"},
        {{metadata(), {"LogZip", nullptr, nullptr, "data"}}, "names no file"},
        {{metadata(), file, file}, "more than the two parts"},
    };
    for (const auto& [parts, complaint] : cases) {
        const HttpAnswer answer = upload(parts);
        EXPECT_EQ(answer.status, 400) << complaint;
        EXPECT_THAT(answer.body, testing::HasSubstr(complaint));
    }
    EXPECT_EQ(call("POST", kTarget, "{}").status, 415);
}

TEST_F(Upload, NeedsASession)
{
    token_.clear();
    EXPECT_EQ(upload({metadata(), {"LogZip", nullptr, "log.zip", std::string(2000000, 'x')}}).status, 401);
}

}  // namespace
