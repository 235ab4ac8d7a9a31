/** @file SessionServiceTest.cpp  The client of the BMC's session service, against a scripted TLS server. */
#include "RedfishOnTheBench.h"
#include "oxarfutilHelper.h"
#include "oxarfutilHelperLx.h"

namespace {

/** The two texts that a login hands out. */
struct Login {
    astring* token = nullptr;
    astring* id    = nullptr;
    ~Login()
    {
        SMFreeMem(token);
        SMFreeMem(id);
    }
};

class SessionService : public RedfishOnTheBench {
protected:
    s32 create(Login& login, const char* loginToken = "a.b.c", u8 oAuth = 1)
    {
        return OXACreateRedfishSession("127.0.0.1", server.port().c_str(), '4', loginToken, "root", nullptr, oAuth,
                                       &login.token, &login.id);
    }
    s32 remove(u8 v4 = 4, const char* id = "7")
    {
        return OXADeleteRedfishSession("127.0.0.1", server.port().c_str(), v4, kToken, 32, id);
    }
};

struct Collection {
    const char* name;
    booln       newer;
    const char* path;
};
class SessionCollection : public SessionService, public testing::WithParamInterface<Collection> {};

TEST_P(SessionCollection, LogsInAndOutAtTheGenerationsPath)
{
    giSServerNewGenAndAbove = GetParam().newer;
    const std::string path  = GetParam().path;
    answerLogin(kToken, "42");
    server.answer(200, "{}");
    Login login;
    ASSERT_EQ(create(login), 0);
    EXPECT_STREQ(login.token, kToken);
    EXPECT_STREQ(login.id, "42");
    EXPECT_EQ(remove(4, login.id), 0);

    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0], "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + server.port() +
                               "\r\nAuthorization: bearer a.b.c\r\nAccept: application/json\r\n"
                               "Content-Length: 0\r\n\r\n");
    EXPECT_EQ(requests[1], "DELETE " + path + "/42 HTTP/1.1\r\nHost: 127.0.0.1:" + server.port() +
                               "\r\nAccept: */*\r\nX-AUTH-TOKEN: " + kToken + "\r\n\r\n");
}

INSTANTIATE_TEST_SUITE_P(Generations, SessionCollection,
                         testing::Values(Collection{"Newer", TRUE, "/redfish/v1/SessionService/Sessions"},
                                         Collection{"Older", FALSE, "/redfish/v1/Sessions"}),
                         NameOfCase());

struct LoginAnswer {
    const char* name;
    int         code;
    const char* headers;
    s32         status;
    const char *token, *id;  // nullptr: nothing handed out
};
class LoginAnswers : public SessionService, public testing::WithParamInterface<LoginAnswer> {};

TEST_P(LoginAnswers, AreJudged)
{
    const LoginAnswer& c = GetParam();
    server.answer(c.code, "", c.headers);
    Login login;
    EXPECT_EQ(create(login), c.status);
    EXPECT_STREQ(login.token, c.token);
    EXPECT_STREQ(login.id, c.id);
}

#define TOKEN "0123456789abcdef0123456789ABCDEF"
INSTANTIATE_TEST_SUITE_P(
    Headers, LoginAnswers,
    testing::Values(
        LoginAnswer{"LowerCase", 201, "x-auth-token: " TOKEN "\r\nlocation: /s/9\r\n", 0, TOKEN, "9"},
        LoginAnswer{"AllCapitals", 201, "X-AUTH-TOKEN: " TOKEN "\r\nLocation: /s/9\r\n", -1, nullptr, nullptr},
        LoginAnswer{"Ok200", 200, "X-Auth-Token: " TOKEN "\r\nLocation: /s/9\r\n", -1, nullptr, nullptr},
        LoginAnswer{"Unauthorised", 401, "", -1, nullptr, nullptr},
        LoginAnswer{"SessionLimit", 503, "", 503, nullptr, nullptr},
        LoginAnswer{"NoLocation", 201, "X-Auth-Token: " TOKEN "\r\n", -1, TOKEN, nullptr},
        LoginAnswer{"NoSlash", 201, "X-Auth-Token: " TOKEN "\r\nLocation: 9\r\n", -1, TOKEN, nullptr},
        LoginAnswer{"LongToken", 201, "X-Auth-Token: " TOKEN "more\r\nLocation: /s/abc\r\n", 0, TOKEN, "abc"},
        LoginAnswer{"ShortToken", 201, "X-Auth-Token: short\r\nLocation: /redfish/v1/x/12345\r\n", 0,
                    "short\r\nLocation: /redfish/v1/x/1", "12345"}),
    NameOfCase());

TEST_F(SessionService, CutsALongIdentifier)
{
    const std::string id(80, 'i');
    answerLogin(kToken, id);
    Login login;
    ASSERT_EQ(create(login), 0);
    EXPECT_EQ(login.id, id.substr(0, 64));
}

TEST_F(SessionService, ReadsNoFurtherThanTheHeaderText)
{
    std::string header = "X-Auth-Token: ab";
    Login       login;
    EXPECT_EQ(qvrf::GetTokenSSID(header.data(), &login.token, &login.id), -1);
    EXPECT_STREQ(login.token, "ab");
    std::string endless = "X-Auth-Token: " + std::string(kToken) + "\r\nLocation: /s/1";
    Login       other;
    EXPECT_EQ(qvrf::GetTokenSSID(endless.data(), &other.token, &other.id), -1);
    expectError("GetTokenSSID: pTemp2 is NULL.\n");
}

TEST_F(SessionService, ChecksItsArguments)
{
    Login      login;
    const auto port   = server.port();
    const auto create = [&](const char* address, const char* p, const char* jwt, const char* user, const char* password,
                            u8 oAuth) {
        return OXACreateRedfishSession(address, p, '4', jwt, user, password, oAuth, &login.token, &login.id);
    };
    EXPECT_EQ(create(nullptr, port.c_str(), "j", nullptr, nullptr, 1), 271);
    EXPECT_EQ(create("127.0.0.1", nullptr, "j", nullptr, nullptr, 1), 271);
    EXPECT_EQ(create("127.0.0.1", port.c_str(), nullptr, "u", "p", 1), 271);
    EXPECT_EQ(create("127.0.0.1", port.c_str(), nullptr, nullptr, "p", 0), 271);
    EXPECT_EQ(create("127.0.0.1", port.c_str(), nullptr, "u", "p", 0), -1);
    expectError("OSCreateRedfishSession: invalid values for Session creation.\n");
    EXPECT_EQ(create("127.0.0.1", port.c_str(), std::string(501, 'j').c_str(), "u", nullptr, 1), -1);
    EXPECT_EQ(create(std::string(60, '1').c_str(), port.c_str(), "j", "u", nullptr, 1), -1);
    EXPECT_EQ(OXADeleteRedfishSession(nullptr, port.c_str(), 4, kToken, 32, "1"), 271);
    EXPECT_EQ(OXADeleteRedfishSession("127.0.0.1", port.c_str(), 4, nullptr, 32, "1"), 271);
    EXPECT_TRUE(server.requests().empty());
    expectTrace("OXADeleteRedfishSession: Exit with status: 271.\n");
}

struct DeleteAnswer {
    const char* name;
    const char* bytes;
    s32         status;
};
class DeleteAnswers : public SessionService, public testing::WithParamInterface<DeleteAnswer> {};

TEST_P(DeleteAnswers, WithoutABodyCountAsSuccess)
{
    server.answer({GetParam().bytes, false});
    EXPECT_EQ(remove(), GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, DeleteAnswers,
    testing::Values(DeleteAnswer{"Ok", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}", 0},
                    DeleteAnswer{"NoContent", "HTTP/1.1 204 No Content\r\n\r\n", 0},
                    DeleteAnswer{"RefusedWithBody", "HTTP/1.1 401 No\r\nContent-Length: 2\r\n\r\n{}", -1},
                    DeleteAnswer{"RefusedWithoutBody", "HTTP/1.1 401 No\r\nContent-Length: 0\r\n\r\n", 0},
                    DeleteAnswer{"NoReply", "", -1}),
    NameOfCase());

TEST_F(SessionService, DeleteSendsAtMost32CharactersOfTheToken)
{
    server.answer(200, "{}");
    const std::string longToken = std::string(kToken) + "tail";
    EXPECT_EQ(OXADeleteRedfishSession("127.0.0.1", server.port().c_str(), 4, longToken.c_str(), 36, "7"), 0);
    EXPECT_NE(server.requests().at(0).find(std::string(kToken) + "\r\n"), std::string::npos);
}

struct Url {
    const char* name;
    booln       newer;
    const char* address;
    const char* logged;
};
class CreateUrl : public SessionService, public testing::WithParamInterface<Url> {};

TEST_P(CreateUrl, BracketsIPv6OnTheOlderGenerationOnly)
{
    giSServerNewGenAndAbove = GetParam().newer;
    Login login;
    OXACreateRedfishSession(GetParam().address, "1", '6', "j", nullptr, nullptr, 1, &login.token, &login.id);
    expectTrace(std::string("OSCreateRedfishSession URI: ") + GetParam().logged + "\n");
}

INSTANTIATE_TEST_SUITE_P(Generations, CreateUrl,
                         testing::Values(Url{"Older", FALSE, "::1", "https://[::1]:1/redfish/v1/Sessions"},
                                         Url{"Newer", TRUE, "[::1]",
                                             "https://[::1]:1/redfish/v1/SessionService/Sessions"}),
                         NameOfCase());

TEST_F(SessionService, EveryFailureGivesAStatusAndFreesEverything)
{
    Login      login;
    const auto allocations =
        walkFailures([&] { answerLogin(); },
                     [&] {
                         Login own;
                         return create(own);
                     },
                     [](const std::string&, s32 status) { EXPECT_TRUE(status == 272 || status == -1) << status; });
    EXPECT_GE(allocations, 4U);
    for (const bool deleting : {false, true}) {
        unsigned nth = 1;
        for (s32 status = -1; status != 0; ++nth) {
            ASSERT_LT(nth, 60U);
            deleting ? server.answer(200, "{}") : answerLogin();
            bench::failCurlCall(nth);
            Login own;
            status = deleting ? remove() : create(own);
            if (bench::failedCurlCall().empty()) continue;
            EXPECT_EQ(status, bench::failedCurlCall() == "curl_slist_append" ? 272 : -1) << bench::failedCurlCall();
        }
        EXPECT_GT(nth, 12U);
    }
}

}  // namespace
