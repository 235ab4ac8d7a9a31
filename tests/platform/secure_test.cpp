/** @file secure_test.cpp  Token encryption and login tokens: round trips, tampering, limits, enrolment. */
#include <gmock/gmock.h>
#include <jwt.h>
#include <openssl/err.h>

#include <algorithm>
#include <numeric>

#include "logintoken.h"
#include "peer.h"
#include "scratch.h"
#include "smsecure.h"
#include "tokencipher.h"

namespace {

using qvplatform::asText;
using Jwt = std::unique_ptr<jwt_t, qvrf::GivenBackBy<&jwt_free>>;

struct Encrypted {
    explicit Encrypted(const std::string& text)
        : status(SMqvoxaPBKDF2Encrypt(text.c_str(), static_cast<u32>(text.size()), output, qvrf::Receive(b64Text),
                                      qvrf::Receive(b64Key)))
    {
    }
    qvrf::SmOwned<astring> b64Text, b64Key;
    astring                output[SMSECURE_OUTPUT_SIZE];
    s32                    status;
};

/** The text, or "refused" when nothing of it was left behind. */
std::string decrypted(const astring* key, const astring* text)
{
    astring  buffer[SMSECURE_PLAIN_SIZE];
    astring* output = std::fill_n(buffer, sizeof buffer, '?') - sizeof buffer;
    if (SMqvoxaPBKDF2Decrypt(key, text, &output) == 0) return buffer;
    return std::all_of(std::begin(buffer), std::end(buffer), [](char c) { return c == 0; }) ? "refused" : "left behind";
}

TEST(TokenCipher, GivesTheTextBackAndFitsTheRecord)
{
    for (const std::size_t length : {0U, 1U, 15U, 16U, 17U, 32U, 63U, 64U}) {
        const std::string text(length, 't');
        const Encrypted   one(text), two(text);
        ASSERT_EQ(one.status + two.status, 0);
        EXPECT_LE(std::strlen(one.output), 127U);
        EXPECT_LE(std::strlen(one.b64Text.get()), 134U);
        EXPECT_LE(std::strlen(one.b64Key.get()), 764U);
        EXPECT_EQ(decrypted(one.b64Key.get(), one.b64Text.get()), text);
        EXPECT_EQ(decrypted(one.b64Key.get(), two.b64Text.get()), "refused") << "every key and nonce is new";
    }
}

TEST(TokenCipher, RefusesEveryChangeAndLeavesTheErrorQueueAsItWas)
{
    const Encrypted   whole("a token that was not tampered with");
    const std::string key = whole.b64Key.get(), text = whole.b64Text.get();
    ERR_clear_error();
    ERR_raise(ERR_LIB_USER, 42);
    // The last group of the key has bits that no byte takes: they are not the key's, so it ends before them.
    for (std::size_t i = 0; i + 4 < text.size(); ++i) {
        std::string changedText = text, changedKey = key;
        changedText[i] = text[i] == 'A' ? 'B' : 'A';
        EXPECT_EQ(decrypted(key.c_str(), changedText.c_str()), "refused") << i;
        if (i + 4 >= key.size()) continue;
        changedKey[i] = key[i] == 'A' ? 'B' : 'A';
        EXPECT_EQ(decrypted(changedKey.c_str(), text.c_str()), "refused") << i;
    }
    for (const std::string& bad : {std::string(), std::string("===="), std::string("AAAA"), text.substr(1),
                                   text.substr(4), text + "AAAA", std::string(1000, 'A'), std::string(128, '*')}) {
        EXPECT_EQ(decrypted(key.c_str(), bad.c_str()), "refused") << bad;
        EXPECT_EQ(decrypted(bad.c_str(), text.c_str()), "refused") << bad;
    }
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
    EXPECT_EQ(ERR_get_error(), 0U);
}

TEST(TokenCipher, RefusesMissingAndOverlongArguments)
{
    astring           room[SMSECURE_OUTPUT_SIZE], *text = nullptr, *key = nullptr;
    const std::string tooLong(65, 'x');
    const std::tuple<const char*, u32, astring*, astring**, astring**> rows[] = {
        {nullptr, 1, room, &text, &key}, {"x", 1, nullptr, &text, &key},           {"x", 1, room, nullptr, &key},
        {"x", 1, room, &text, nullptr},  {tooLong.c_str(), 65, room, &text, &key}, {"ab", 3, room, &text, &key}};
    for (const auto& row : rows) EXPECT_NE(std::apply(SMqvoxaPBKDF2Encrypt, row), 0);
    EXPECT_TRUE(text == nullptr && key == nullptr);
    EXPECT_EQ(decrypted(nullptr, "AAAA") + decrypted("AAAA", nullptr), "refusedrefused");
    EXPECT_TRUE(SMqvoxaPBKDF2Decrypt("AAAA", "AAAA", nullptr) && SMqvoxaPBKDF2Decrypt("AAAA", "AAAA", &text));
}

TEST(TokenCipher, DerivesTheKeyThatStoredTextsWereMadeWith)
{
    qvplatform::Key material, key;
    std::iota(material.begin(), material.end(), u8{0});
    ASSERT_TRUE(qvplatform::deriveKey(material, key));
    EXPECT_THAT((std::vector<unsigned char>(key.begin(), key.begin() + 8)),
                testing::ElementsAre(0x37, 0xfa, 0x36, 0x8f, 0xaa, 0x63, 0x80, 0x7e));
}

const std::string kKey = "0123456789abcdef0123456789abcdef";

Jwt decoded(std::string_view token, const std::string& key)
{
    jwt_t* raw = nullptr;
    jwt_decode(&raw, std::string(token).c_str(), reinterpret_cast<const unsigned char*>(key.data()),
               static_cast<int>(key.size()));
    return Jwt(raw);
}

TEST(KeyFile, IsReadWithoutItsLineEndWhenItIsOursAlone)
{
    const Scratch scratch;
    const auto    keyIn = [&](const std::string& content) {
        return std::string(asText(qvplatform::readTokenKey(scratch.write("key", content).c_str())));
    };
    for (const Row& row : casesOf("token keys")) EXPECT_EQ(keyIn(row[0]), row[1]);
    EXPECT_EQ(keyIn(std::string(4096, 'k')).size() + keyIn(std::string(4097, 'k')).size(), 4096U);
    for (const Row& row : casesOf("key files")) {
        scratch.write("key", kKey);
        ASSERT_TRUE(scratch.run(row[0]));
        EXPECT_TRUE(qvplatform::readTokenKey((scratch / "key").c_str()).empty()) << row[0];
    }
}

class Login : public testing::Test {
protected:
    Login() { environment().write("token.key", kKey + "\n"); }

    static std::string fetch()
    {
        qvrf::SmOwned<astring> token;
        u32                    length = 99;
        const s32              status = SMSecureGetBMCLoginToken(qvrf::Receive(token), &length);
        EXPECT_EQ(status == 0, token != nullptr);
        EXPECT_EQ(length, token ? std::strlen(token.get()) : 0);
        return token ? token.get() : "";
    }

    s32         verdict = 0;
    std::string enrolled;
    Peer        peer{environment() / "bmc", TextBmc([this](vmwire::Verb verb, const std::string& text) {
                  EXPECT_EQ(verb, vmwire::Verb::enrolToken);
                  enrolled = text;
                  return std::pair{verdict, std::string()};
              })};
};

TEST_F(Login, TokenIsEnrolledAndHandedOutOnceToItsThread)
{
    ASSERT_EQ(SMSecureGenerateBMCLoginToken(0, "", 4), 0);
    std::thread([] { EXPECT_EQ(fetch(), ""); }).join();
    u32      length = 0;
    astring* token  = nullptr;
    EXPECT_TRUE(SMSecureGetBMCLoginToken(nullptr, &length) && SMSecureGetBMCLoginToken(&token, nullptr));
    const Jwt jwt = decoded(enrolled, kKey);
    ASSERT_TRUE(jwt && !decoded(enrolled, std::string(32, 'k')));
    EXPECT_EQ(jwt_get_alg(jwt.get()), JWT_ALG_HS256);
    EXPECT_STREQ(jwt_get_grant(jwt.get(), "iss"), "qvoxa");
    EXPECT_STREQ(jwt_get_grant(jwt.get(), "sub"), "agent") << "where no user was named";
    EXPECT_EQ(jwt_get_grant_int(jwt.get(), "role"), 4);
    EXPECT_EQ(jwt_get_grant_int(jwt.get(), "exp") - jwt_get_grant_int(jwt.get(), "iat"), 300);
    EXPECT_EQ(std::strlen(jwt_get_grant(jwt.get(), "jti")), 32U);
    EXPECT_EQ(fetch(), enrolled);
    EXPECT_EQ(fetch(), "");
    const std::string before = enrolled;
    ASSERT_EQ(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    EXPECT_STREQ(jwt_get_grant(decoded(enrolled, kKey).get(), "sub"), "oxa");
    EXPECT_NE(enrolled, before);
}

TEST_F(Login, TokenOfAFailureIsNoneNotTheOneBefore)
{
    ASSERT_EQ(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    verdict = 1;
    EXPECT_NE(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    EXPECT_EQ(fetch(), "");
    const int before = peer.requests();
    for (const std::string& user : {std::string(129, 'u'), std::string("\xff\xfe")})
        EXPECT_NE(SMSecureGenerateBMCLoginToken(0, user.c_str(), 4), 0);
    EXPECT_NE(SMSecureGenerateBMCLoginToken(0, nullptr, 4), 0);
    environment().write("token.key", "short");
    EXPECT_NE(SMSecureGenerateBMCLoginToken(0, "oxa", 4), 0);
    EXPECT_EQ(peer.requests(), before);
}

}  // namespace
