/** @file logintoken_test.cpp  Login tokens: claims, key file, enrolment, handing out. */
#include "logintoken.h"

#include <gmock/gmock.h>
#include <jwt.h>

#include <thread>

#include "environment.h"
#include "owners.h"
#include "scriptedpeer.h"
#include "smsecure.h"
#include "smsupport.h"

namespace {

using qvplatform::asText;
using Jwt = std::unique_ptr<jwt_t, qvrf::GivenBackBy<&jwt_free>>;

const std::string kKey = "0123456789abcdef0123456789abcdef";

Jwt decoded(const std::string& token, const std::string& key)
{
    jwt_t* raw = nullptr;
    if (jwt_decode(&raw, token.c_str(), reinterpret_cast<const unsigned char*>(key.data()),
                   static_cast<int>(key.size())) != 0)
        return nullptr;
    return Jwt(raw);
}

TEST(LoginToken, CarriesItsClaims)
{
    const auto text = qvplatform::writeToken(kKey, "oxa-user-of-16ch", 4, 1700000000);
    const Jwt  jwt  = decoded(std::string(asText(text)), kKey);
    ASSERT_TRUE(jwt);
    EXPECT_EQ(jwt_get_alg(jwt.get()), JWT_ALG_HS256);
    EXPECT_STRNE(jwt_get_grant(jwt.get(), "iss"), nullptr);
    EXPECT_STREQ(jwt_get_grant(jwt.get(), "sub"), "oxa-user-of-16ch");
    EXPECT_EQ(jwt_get_grant_int(jwt.get(), "role"), 4);
    EXPECT_EQ(jwt_get_grant_int(jwt.get(), "iat"), 1700000000);
    EXPECT_EQ(jwt_get_grant_int(jwt.get(), "exp"), 1700000300);
    EXPECT_EQ(std::string(jwt_get_grant(jwt.get(), "jti")).size(), 32U);
    EXPECT_LT(text.size(), 500U);
    EXPECT_NE(text, qvplatform::writeToken(kKey, "oxa-user-of-16ch", 4, 1700000000));
}

TEST(LoginToken, IsSignedWithTheKey)
{
    const auto text = qvplatform::writeToken(kKey, "u", 1, 1700000000);
    EXPECT_FALSE(decoded(std::string(asText(text)), std::string(32, 'k')));
}

TEST(LoginToken, ForANameThatIsNoTextIsNotWritten)
{
    EXPECT_TRUE(qvplatform::writeToken(kKey, "\xff\xfe", 1, 1700000000).empty());
}

struct KeyCase {
    const char* name;
    std::string content;
    std::string key;
};

class KeyFile : public testing::TestWithParam<KeyCase> {};

TEST_P(KeyFile, IsReadWithoutItsLineEnd)
{
    const Scratch scratch;
    EXPECT_EQ(asText(qvplatform::readTokenKey(scratch.write("key", GetParam().content).c_str())), GetParam().key);
}

INSTANTIATE_TEST_SUITE_P(Contents, KeyFile,
                         testing::Values(KeyCase{"Plain", kKey, kKey}, KeyCase{"Newline", kKey + "\n", kKey},
                                         KeyCase{"CarriageReturn", kKey + "\r\n", kKey},
                                         KeyCase{"OneLineEndOnly", kKey + "\n\n", kKey + "\n"},
                                         KeyCase{"TooShort", std::string(31, 'k') + "\n", ""}, KeyCase{"Empty", "", ""},
                                         KeyCase{"Greatest", std::string(4096, 'k'), std::string(4096, 'k')},
                                         KeyCase{"TooLong", std::string(4097, 'k'), ""}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(KeyFile, IsOursAloneToRead)
{
    const Scratch scratch;
    const auto    file = scratch.write("key", kKey);
    ASSERT_EQ(::symlink("key", (scratch / "link").c_str()), 0);
    EXPECT_TRUE(qvplatform::readTokenKey((scratch / "link").c_str()).empty());
    for (const mode_t mode : {0640u, 0604u, 0620u}) {
        ASSERT_EQ(::chmod(file.c_str(), mode), 0);
        EXPECT_TRUE(qvplatform::readTokenKey(file.c_str()).empty()) << mode;
    }
}

class Login : public testing::Test {
protected:
    Login() { environment().write("token.key", kKey + "\n"); }

    static std::string fetch()
    {
        qvrf::SecretText token;
        u32              length = 99;
        const s32        status = SMSecureGetBMCLoginToken(qvrf::Receive(token), &length);
        EXPECT_EQ(status == 0, token != nullptr);
        EXPECT_EQ(length, token ? std::strlen(token.get()) : 0);
        return token ? token.get() : "";
    }

    s32          verdict = 0;
    std::string  enrolled;
    ScriptedPeer peer{environment() / "bmc", TextBmc([this](vmwire::Verb verb, const std::string& text) {
                          EXPECT_EQ(verb, vmwire::Verb::enrolToken);
                          enrolled = text;
                          return std::pair{verdict, std::string()};
                      })};
};

TEST_F(Login, TokenIsEnrolledAndHandedOutOnce)
{
    ASSERT_EQ(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    const std::string token = fetch();
    EXPECT_EQ(token, enrolled);
    EXPECT_TRUE(decoded(token, kKey));
    EXPECT_EQ(fetch(), "");
}

TEST_F(Login, TokenBelongsToItsThread)
{
    ASSERT_EQ(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    std::string elsewhere = "?";
    std::thread([&] { elsewhere = fetch(); }).join();
    EXPECT_EQ(elsewhere, "");
    EXPECT_NE(fetch(), "");
}

TEST_F(Login, TokenThatTheBmcRefusesIsNotHandedOut)
{
    ASSERT_EQ(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    verdict = 1;
    EXPECT_NE(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    EXPECT_EQ(fetch(), "");
}

TEST_F(Login, NeedsAKey)
{
    environment().write("token.key", "short");
    EXPECT_NE(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    std::filesystem::remove(environment() / "token.key");
    EXPECT_NE(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    EXPECT_EQ(peer.requests(), 0);
}

TEST_F(Login, WithoutAUserIsTheAgentsOwn)
{
    ASSERT_EQ(SMSecureGenerateBMCLoginToken(0, "", 0), 0);
    const Jwt jwt = decoded(fetch(), kKey);
    ASSERT_TRUE(jwt);
    EXPECT_STREQ(jwt_get_grant(jwt.get(), "sub"), "agent");
}

TEST_F(Login, NeedsAUserNameAndPlacesForTheResult)
{
    astring* token  = nullptr;
    u32      length = 0;
    EXPECT_NE(SMSecureGenerateBMCLoginToken(0, nullptr, 4), 0);
    EXPECT_NE(SMSecureGenerateBMCLoginToken(0, std::string(129, 'u').c_str(), 4), 0);
    EXPECT_EQ(peer.requests(), 0);
    ASSERT_EQ(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    EXPECT_NE(SMSecureGetBMCLoginToken(nullptr, &length), 0);
    EXPECT_NE(SMSecureGetBMCLoginToken(&token, nullptr), 0);
    EXPECT_NE(fetch(), "");  // nothing was lost
}

}  // namespace
