/** @file TreeTest.cpp  The Redfish resources: built-in, from a mockup, and the plain files and test resources. */
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "Desk.h"

namespace {

namespace fs = std::filesystem;

constexpr const char kSubscriptions[] = "/redfish/v1/EventService/Subscriptions";
constexpr const char kChassis[]       = "/redfish/v1/Chassis/System.Embedded.1";

class ScratchDir {
public:
    ScratchDir()
    {
        std::string pattern = (fs::temp_directory_path() / "torvosim-test-XXXXXX").string();
        path_               = ::mkdtemp(pattern.data());
    }
    ~ScratchDir() { fs::remove_all(path_); }
    ScratchDir(const ScratchDir&)            = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    std::string path() const { return path_.string(); }
    void        write(const std::string& name, const std::string& text) const
    {
        fs::create_directories((path_ / name).parent_path());
        std::ofstream(path_ / name) << text;
    }

private:
    fs::path path_;
};

class Tree : public Desk {
protected:
    /** Every "@odata.id" in @p json. */
    static void collect(const Json& json, std::set<std::string>& links)
    {
        if (json.is_object() && json.contains("@odata.id")) links.insert(json["@odata.id"].get<std::string>());
        if (json.is_structured())
            for (const Json& inner : json) collect(inner, links);
    }
};

TEST_F(Tree, HasNoLinkThatLeadsNowhere)
{
    logIn();
    std::set<std::string>    seen;
    std::vector<std::string> open{"/redfish/v1"};
    while (!open.empty()) {
        const std::string path = open.back();
        open.pop_back();
        if (!seen.insert(path).second) continue;
        const HttpAnswer answer = get(path);
        ASSERT_EQ(answer.status, 200) << path;
        EXPECT_EQ(Json::parse(answer.body)["@odata.id"], path);
        std::set<std::string> links;
        collect(Json::parse(answer.body), links);
        open.insert(open.end(), links.begin(), links.end());
    }
    EXPECT_GT(seen.size(), 20u);
}

TEST_F(Tree, IsWrittenInMemory)
{
    logIn();
    const HttpAnswer created = call("POST", kSubscriptions, R"({"Destination":"https://host/"})");
    ASSERT_EQ(created.status, 201) << created.body;
    const std::string own = created.value("Location");
    EXPECT_EQ(own, std::string(kSubscriptions) + "/1");
    EXPECT_EQ(Json::parse(created.body)["Destination"], "https://host/");
    EXPECT_EQ(Json::parse(get(kSubscriptions).body)["Members@odata.count"], 1);
    EXPECT_EQ(call("POST", kSubscriptions, R"({"Id":"1"})").status, 409);

    const HttpAnswer patched = call("PATCH", own, R"({"Context":"mine","@odata.id":"/elsewhere"})");
    EXPECT_EQ(patched.status, 200);
    EXPECT_EQ(Json::parse(patched.body)["Destination"], "https://host/") << "what is not named stays";
    EXPECT_EQ(Json::parse(get(own).body)["Context"], "mine");

    EXPECT_EQ(call("DELETE", own).status, 204);
    EXPECT_EQ(get(own).status, 404);
    EXPECT_EQ(Json::parse(get(kSubscriptions).body)["Members"], Json::array());
}

TEST_F(Tree, RefusesWhatAResourceDoesNotTake)
{
    logIn();
    const HttpAnswer refused = call("DELETE", "/redfish/v1/SessionService");
    EXPECT_EQ(refused.status, 405);
    EXPECT_THAT(refused.value("Allow"), testing::HasSubstr("PATCH"));
    EXPECT_EQ(call("POST", kChassis, "{}").status, 405);
    EXPECT_EQ(call("PATCH", kSubscriptions, "{}").status, 405);
    EXPECT_EQ(call("PATCH", kChassis, "[1]").status, 400);
    EXPECT_EQ(call("PATCH", kChassis, "{").status, 400);
    EXPECT_EQ(call("POST", kSubscriptions, "").status, 400);
    EXPECT_EQ(get("/redfish/v1/Nowhere").status, 404);
    EXPECT_EQ(call("POST", "/redfish/v1/Systems/System.Embedded.1/Actions/ComputerSystem.Reset", "{}").status, 204);
    EXPECT_EQ(call("POST", "/redfish/v1/Systems/System.Embedded.1/Actions/ComputerSystem.Explode", "{}").status, 404);
}

TEST_F(Tree, TellsChangesByEtag)
{
    logIn();
    HttpCall conditional{"PATCH", url(kChassis)};
    conditional.headers = {"X-Auth-Token: " + token_, "If-Match: " + get(kChassis).value("ETag")};
    conditional.body    = R"({"IndicatorLED":"Lit"})";
    EXPECT_EQ(perform(conditional).status, 200);
    EXPECT_EQ(perform(conditional).status, 412);
}

TEST_F(Tree, AnswersHeadWithoutBody)
{
    const HttpAnswer whole = get("/redfish/v1");
    const HttpAnswer head  = call("HEAD", "/redfish/v1");
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.body, "");
    EXPECT_EQ(head.value("Content-Length"), std::to_string(whole.body.size()));
}

TEST_F(Tree, ComesFromAMockup)
{
    const ScratchDir dir;
    dir.write("index.json", R"({"Name":"Mockup Root"})");
    dir.write("Notes/index.json", R"({"Members":[]})");
    dir.write("Somewhere/index.json", R"({"@odata.id":"/redfish/v1/Elsewhere/","Name":"Moved"})");
    dir.write("redfish/v1/Full/index.json", R"({"Name":"Full Path"})");
    torvosim::Options options;
    options.mockupDir = dir.path();
    start(options);
    EXPECT_EQ(Json::parse(get("/redfish/v1").body)["Name"], "Mockup Root");
    logIn();
    EXPECT_EQ(get("/redfish/v1/Elsewhere").status, 200);
    EXPECT_EQ(get("/redfish/v1/Full").status, 200);
    EXPECT_EQ(get("/redfish/v1/Systems").status, 404) << "not the built-in tree";
    EXPECT_EQ(call("POST", "/redfish/v1/Notes", R"({"Text":"hello"})").status, 201);
    EXPECT_EQ(call("DELETE", "/redfish/v1/Notes/1").status, 204);
}

struct BadMockup {
    const char* name;
    const char* file;
    const char* text;
    const char* complaint;
};
class Mockup : public testing::TestWithParam<BadMockup> {};

TEST_P(Mockup, ThatIsWrongIsNamed)
{
    const ScratchDir dir;
    dir.write(GetParam().file, GetParam().text);
    torvosim::Options options;
    options.mockupDir = dir.path();
    torvosim::Simulator simulator(options);
    try {
        simulator.start();
        FAIL() << "started with a wrong mockup";
    } catch (const std::exception& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr(GetParam().complaint));
    }
}

INSTANTIATE_TEST_SUITE_P(Trees, Mockup,
                         testing::Values(BadMockup{"NoJson", "index.json", "{", "index.json: "},
                                         BadMockup{"NoObject", "index.json", "[]", "a resource is a JSON object"},
                                         BadMockup{"NoRoot", "Systems/index.json", "{}", "service root"}),
                         [](const auto& c) { return std::string(c.param.name); });

TEST_F(Tree, ServesPackageFilesAndNothingBesideThem)
{
    const ScratchDir dir;
    dir.write("package/sha256sum", std::string(200000, 's'));
    dir.write("secret", "secret");
    torvosim::Options options;
    options.packageDir = dir.path() + "/package";
    start(options);
    EXPECT_EQ(get("/software/oxa/sha256sum").body, std::string(200000, 's'));
    EXPECT_EQ(get("/software/oxa/absent").status, 404);
    EXPECT_EQ(get("/software/oxa/").status, 404);
    HttpCall request{"GET", url("/software/oxa/../secret")};
    request.options = [](CURL* easy) { curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L); };
    EXPECT_EQ(perform(request).status, 404);
    request.url = url("/software/oxa/%2e%2e/secret");
    EXPECT_EQ(perform(request).status, 404);
}

TEST_F(Tree, OpensPrefixesOnRequest)
{
    torvosim::Options options;
    options.openPrefixes = {"/redfish/v1/Chassis"};
    start(options);
    EXPECT_EQ(get(kChassis).status, 200);
    EXPECT_EQ(get("/redfish/v1/Systems").status, 401);
}

class TestBytes : public Desk, public testing::WithParamInterface<std::size_t> {};

TEST_P(TestBytes, AreSoManyAndAlwaysTheSame)
{
    const HttpAnswer answer = get("/test/bytes/" + std::to_string(GetParam()));
    ASSERT_EQ(answer.body.size(), GetParam());
    for (std::size_t i = 0; i < answer.body.size(); ++i)
        ASSERT_EQ(answer.body[i], static_cast<char>('A' + i % 26)) << i;
}

INSTANTIATE_TEST_SUITE_P(Sizes, TestBytes, testing::Values(0, 1, 26 * 4096 - 1, 26 * 4096, 26 * 4096 + 1, 3000000));

TEST_F(Tree, EchoesRequests)
{
    HttpCall request{"POST", url("/test/echo?a=%20b")};
    request.headers   = {"X-Mine: yes"};
    request.body      = "line\n\"quoted\"";
    const Json echoed = Json::parse(perform(request).body);
    EXPECT_EQ(echoed["method"], "POST");
    EXPECT_EQ(echoed["target"], "/test/echo?a=%20b");
    EXPECT_EQ(echoed["body"], request.body);
    EXPECT_THAT(echoed["headers"], testing::Contains(Json::array({"X-Mine", "yes"})));
}

}  // namespace
