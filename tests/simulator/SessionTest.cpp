/** @file SessionTest.cpp  Sessions over real TLS: opened, used, expired, closed. */
#include "Desk.h"
#include "Tokens.h"
#include "ipmi/vmwire.h"

namespace {

constexpr const char kNew[] = "/redfish/v1/SessionService/Sessions";
constexpr const char kOld[] = "/redfish/v1/Sessions";

class Session : public Desk {
protected:
    void enrol(const std::string& token)
    {
        IpmiClient        host(sim().ipmiUnixPath());
        IpmiClient::Bytes run{vmwire::kOemNetFn << 2,
                              vmwire::kOemRun,
                              1,
                              0,
                              0,
                              0,
                              static_cast<std::uint8_t>(vmwire::Verb::enrolToken),
                              static_cast<std::uint8_t>(token.size()),
                              static_cast<std::uint8_t>(token.size() >> 8)};
        for (std::size_t at = 0; at < token.size(); at += 100) {
            IpmiClient::Bytes write{vmwire::kOemNetFn << 2,
                                    vmwire::kOemWrite,
                                    1,
                                    0,
                                    0,
                                    0,
                                    static_cast<std::uint8_t>(at),
                                    static_cast<std::uint8_t>(at >> 8)};
            const std::string piece = token.substr(at, 100);
            write.insert(write.end(), piece.begin(), piece.end());
            host.exchangeBytes(write);
        }
        const auto reply = host.exchangeBytes(run);
        ASSERT_EQ(hexOf({reply.begin(), reply.begin() + 7}), "CC 02 00 00 00 00 00");
    }
    /** The way a host does it: no body, and neither content type nor chunks. */
    HttpAnswer logInWithToken(const std::string& token, const std::string& scheme = "bearer",
                              const std::string& collection = kNew)
    {
        HttpCall request{"POST", url(collection)};
        request.headers = {"Authorization: " + scheme + ' ' + token, "Accept: application/json",
                           "Content-Type:", "Transfer-Encoding:"};
        return perform(request);
    }
};

TEST_F(Session, OpensWithAnEnrolledTokenOnce)
{
    const std::string token = loginToken(sim(), "agent");
    EXPECT_EQ(logInWithToken(token).status, 401) << "not enrolled yet";
    enrol(token);
    const HttpAnswer opened = logInWithToken(token);
    ASSERT_EQ(opened.status, 201) << opened.body;
    EXPECT_EQ(opened.value("X-Auth-Token").size(), 32u);
    EXPECT_THAT(opened.header, testing::HasSubstr("\r\nX-Auth-Token: "));
    EXPECT_THAT(opened.value("Location"), testing::StartsWith(std::string(kNew) + '/'));
    EXPECT_EQ(Json::parse(opened.body)["UserName"], "agent");
    EXPECT_EQ(logInWithToken(token).status, 401) << "one login is all that it was good for";
}

TEST_F(Session, TakesTheSchemeInAnyCaseAndATokenAsOftenAsConfigured)
{
    control("token-logins 0");
    const std::string token = loginToken(sim(), "agent");
    enrol(token);
    for (const char* scheme : {"bearer", "Bearer", "BEARER"})
        EXPECT_EQ(logInWithToken(token, scheme).status, 201) << scheme;
    EXPECT_EQ(logInWithToken(token, "Basic").status, 401);
    control("forget-tokens");
    EXPECT_EQ(logInWithToken(token).status, 401);
}

TEST_F(Session, IsNeededForEverythingButTheServiceRoot)
{
    EXPECT_EQ(get("/redfish").status, 200);
    EXPECT_EQ(get("/redfish/v1").status, 200);
    EXPECT_EQ(get("/redfish/v1/").status, 200);
    for (const char* path : {"/redfish/v1/Systems", "/redfish/v1/SSE", "/redfish/v1/nowhere", kNew}) {
        const HttpAnswer refused = get(path);
        EXPECT_EQ(refused.status, 401) << path;
        EXPECT_TRUE(Json::parse(refused.body).contains("error")) << path;
    }
    EXPECT_EQ(call("PATCH", "/redfish/v1", "{}").status, 401);
    logIn();
    EXPECT_EQ(get("/redfish/v1/Systems").status, 200);
    token_.back() = token_.back() == '0' ? '1' : '0';
    EXPECT_EQ(get("/redfish/v1/Systems").status, 401);
}

TEST_F(Session, LivesFromCreationToDeletion)
{
    logIn();
    const std::string member = std::string(kNew) + "/1";
    EXPECT_EQ(Json::parse(get(kNew).body)["Members"], Json::array({Json{{"@odata.id", member}}}));
    EXPECT_EQ(Json::parse(get(member).body)["UserName"], "root");
    const HttpAnswer closed = call("DELETE", member);
    EXPECT_EQ(closed.status, 200);
    EXPECT_FALSE(closed.body.empty());
    EXPECT_EQ(get("/redfish/v1/Systems").status, 401);
}

TEST_F(Session, IsDeletedWithoutABodyOnRequest)
{
    torvosim::Options options;
    options.sessionDeleteBody = false;
    start(options);
    logIn();
    const HttpAnswer closed = call("DELETE", std::string(kNew) + "/1");
    EXPECT_EQ(closed.status, 204);
    EXPECT_EQ(closed.count("Content-Length"), 0);
    EXPECT_EQ(closed.body, "");
}

TEST_F(Session, IsRefusedAboveTheLimit)
{
    control("session-limit 1");
    logIn();
    EXPECT_EQ(logInWithPassword().status, 503);
    control("expire");
    EXPECT_EQ(logInWithPassword().status, 201);
    EXPECT_EQ(control("stats")["logins"], 2);
    EXPECT_EQ(control("stats")["loginsRefused"], 1);
}

TEST_F(Session, ExpiresOnRequestAndWhenIdle)
{
    logIn();
    control("expire 1");
    EXPECT_EQ(get("/redfish/v1/Systems").status, 401);
    logIn();
    control("session-timeout 1");
    EXPECT_EQ(get("/redfish/v1/Systems").status, 200);
    EXPECT_TRUE(reaches("sessions", 0));
    EXPECT_EQ(get("/redfish/v1/Systems").status, 401);
}

TEST_F(Session, IsFoundInOneGenerationsCollectionOnly)
{
    const std::string body = Json{{"UserName", "root"}, {"Password", "simulator"}}.dump();
    EXPECT_EQ(call("POST", kNew, body).status, 201);
    EXPECT_EQ(call("POST", kOld, body).status, 404);
    control("generation old");
    EXPECT_EQ(call("POST", kNew, body).status, 404);
    const HttpAnswer opened = call("POST", kOld, body);
    EXPECT_EQ(opened.status, 201);
    EXPECT_THAT(opened.value("Location"), testing::StartsWith(std::string(kOld) + '/'));
}

TEST_F(Session, NeedsRightCredentials)
{
    EXPECT_EQ(logInWithPassword("root", "wrong").status, 401);
    EXPECT_EQ(logInWithPassword("", "").status, 401);
    EXPECT_EQ(call("POST", kNew, "no JSON").status, 401);
    EXPECT_EQ(call("POST", kNew).status, 401);
    EXPECT_EQ(control("user-check root simulator")["accepted"], true);
}

struct TlsRange {
    const char* name;
    const char* min;
    const char* max;
    long        client;  ///< newest version that the client has
    CURLcode    result;
};
class Tls : public Desk, public testing::WithParamInterface<TlsRange> {};

TEST_P(Tls, SpeaksTheConfiguredVersions)
{
    torvosim::Options options;
    options.tlsMin = GetParam().min;
    options.tlsMax = GetParam().max;
    start(options);
    HttpCall request{"GET", url("/redfish/v1")};
    request.options = [](CURL* easy) { curl_easy_setopt(easy, CURLOPT_SSLVERSION, GetParam().client); };
    EXPECT_EQ(perform(request).curl, GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Ranges, Tls,
    testing::Values(TlsRange{"Newest", "1.3", "1.3", CURL_SSLVERSION_MAX_DEFAULT, CURLE_OK},
                    TlsRange{"HostTooOld", "1.3", "1.3", CURL_SSLVERSION_TLSv1_2 | CURL_SSLVERSION_MAX_TLSv1_2,
                             CURLE_SSL_CONNECT_ERROR},
                    TlsRange{"BmcTooOld", "1.0", "1.1", CURL_SSLVERSION_TLSv1_2, CURLE_SSL_CONNECT_ERROR}),
    [](const auto& c) { return std::string(c.param.name); });

TEST_F(Session, CertificateIsForTheAddressesServed)
{
    HttpCall request{"GET", url("/redfish/v1")};
    request.options = [this](CURL* easy) {
        curl_easy_setopt(easy, CURLOPT_CAINFO, sim().certificatePath().c_str());
        curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
        curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    };
    EXPECT_EQ(perform(request).curl, CURLE_OK);
}

TEST_F(Session, ServesIpv6OnTheSamePort)
{
    if (sim().httpsAddresses().size() < 2) GTEST_SKIP() << "this host has no ::1";
    HttpCall request{"GET", "https://[::1]:" + std::to_string(sim().httpsPort()) + "/redfish/v1"};
    EXPECT_EQ(perform(request).status, 200);
}

}  // namespace
