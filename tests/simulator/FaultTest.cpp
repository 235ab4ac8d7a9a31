/** @file FaultTest.cpp  Responses that go wrong on request. */
#include "Desk.h"

namespace {

constexpr const char kRoot[] = "/redfish/v1";

class HttpFault : public Desk {};

TEST_F(HttpFault, StatusHoldsForItsMethodPathAndCount)
{
    control("status 503 GET /redfish/v1 2");
    EXPECT_EQ(get("/test/bytes/1").status, 200);
    EXPECT_EQ(call("HEAD", kRoot).status, 200);
    EXPECT_EQ(get(kRoot).status, 503);
    EXPECT_EQ(get(kRoot).status, 503);
    EXPECT_EQ(get(kRoot).status, 200);
}

TEST_F(HttpFault, StatusMeansThatNothingWasDone)
{
    logIn();
    control("status 500 POST /redfish/v1/EventService 1");
    EXPECT_EQ(call("POST", "/redfish/v1/EventService/Subscriptions", "{}").status, 500);
    EXPECT_EQ(Json::parse(get("/redfish/v1/EventService/Subscriptions").body)["Members@odata.count"], 0);
}

TEST_F(HttpFault, LastsUntilClearedWithoutACount)
{
    control("status 404");
    EXPECT_EQ(get(kRoot).status, 404);
    EXPECT_EQ(get(kRoot).status, 404);
    EXPECT_EQ(control("faults")["faults"].size(), 1u);
    control("clear");
    EXPECT_EQ(get(kRoot).status, 200);
}

struct Cut {
    const char* name;
    const char* line;
    CURLcode    result;
    std::size_t bodyBytes;
};
class CutResponse : public Desk, public testing::WithParamInterface<Cut> {};

TEST_P(CutResponse, EndsTheConnectionThere)
{
    control(GetParam().line);
    const HttpAnswer answer = get("/test/bytes/100000");
    EXPECT_EQ(answer.curl, GetParam().result) << curl_easy_strerror(answer.curl);
    EXPECT_EQ(answer.header.size() + answer.body.size(), GetParam().bodyBytes);
    EXPECT_EQ(get("/test/bytes/100000").curl, CURLE_OK) << "once was asked for";
}

INSTANTIATE_TEST_SUITE_P(Places, CutResponse,
                         testing::Values(Cut{"BeforeTheFirstByte", "cut 0 1", CURLE_GOT_NOTHING, 0},
                                         Cut{"InTheHeader", "cut 15 1", CURLE_GOT_NOTHING, 0},
                                         Cut{"InTheBody", "cut 5000 GET /test 1", CURLE_PARTIAL_FILE, 5000}),
                         [](const auto& c) { return std::string(c.param.name); });

TEST_F(HttpFault, ChangesHeaders)
{
    control("drop server");
    control("add-header \"X-Auth-Token: short\"");
    control("duplicate content-type");
    const HttpAnswer answer = get(kRoot);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.count("Server"), 0);
    EXPECT_EQ(answer.value("X-Auth-Token"), "short");
    EXPECT_EQ(answer.count("Content-Type"), 2);
}

TEST_F(HttpFault, SendsHeadersWithoutEndUpToABound)
{
    control("endless-header 20000 GET /redfish 1");
    const HttpAnswer answer = get(kRoot);
    EXPECT_NE(answer.curl, CURLE_OK);
    EXPECT_GE(answer.header.size(), 19000u);
    EXPECT_LE(answer.header.size(), 20400u);
    EXPECT_EQ(answer.body, "");
    EXPECT_EQ(get(kRoot).curl, CURLE_OK);
}

TEST_F(HttpFault, SendsRawBytes)
{
    control("raw \"HTTP/1.1 201 Created\\r\\nLocation: none\\r\\n\\r\\n\\x41\" * * 1");
    const HttpAnswer answer = get(kRoot);
    EXPECT_EQ(answer.status, 201);
    EXPECT_EQ(answer.header, "HTTP/1.1 201 Created\r\nLocation: none\r\n\r\n");
    EXPECT_EQ(answer.body, "A");
}

TEST_F(HttpFault, DelaysAnswersAndStopEndsTheDelay)
{
    control("delay 600000 GET /redfish 1");
    HttpCall request{"GET", url(kRoot)};
    request.timeoutMs = 500;
    EXPECT_EQ(perform(request).curl, CURLE_OPERATION_TIMEDOUT);
    control("delay 600000 GET /redfish 1");
    std::thread waiting([&] { EXPECT_NE(perform({"GET", url(kRoot)}).curl, CURLE_OK); });
    while (!control("faults")["faults"].empty()) std::this_thread::yield();
    sim().stop();  // within the test's time limit, not the delay's ten minutes
    waiting.join();
}

struct BadLine {
    const char* name;
    const char* line;
};
class BadFault : public Desk, public testing::WithParamInterface<BadLine> {};

TEST_P(BadFault, IsRefusedAndChangesNothing)
{
    const Json answer = Json::parse(sim().control(GetParam().line));
    EXPECT_EQ(answer["ok"], false);
    EXPECT_NE(answer["error"], "");
    EXPECT_EQ(control("faults")["faults"], Json::array());
}

INSTANTIATE_TEST_SUITE_P(Lines, BadFault,
                         testing::Values(BadLine{"NoNumber", "delay soon"}, BadLine{"StatusTooSmall", "status 100"},
                                         BadLine{"StatusTooLarge", "status 600"},
                                         BadLine{"NoPath", "status 500 GET redfish"}, BadLine{"CountZero", "cut 5 0"},
                                         BadLine{"NoColon", "add-header Server"}, BadLine{"WrongEscape", "raw \\q"},
                                         BadLine{"NoFile", "raw @/does/not/exist"},
                                         BadLine{"NoHex", "ipmi-cc 30 BF xx"}, BadLine{"TooFewWords", "ipmi-cc 30"},
                                         BadLine{"HalfAByte", "ipmi-reply 30 BF 001"}),
                         [](const auto& c) { return std::string(c.param.name); });

}  // namespace
