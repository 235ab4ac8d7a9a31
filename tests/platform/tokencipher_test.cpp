/** @file tokencipher_test.cpp  Round trip, tampering, limits and cost of the token encryption. */
#include "tokencipher.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <cstring>
#include <numeric>

#include "owners.h"
#include "smsecure.h"

namespace {

/** One encryption with what it gave. */
struct Encrypted {
    explicit Encrypted(const std::string& text)
    {
        status = SMqvoxaPBKDF2Encrypt(text.c_str(), static_cast<u32>(text.size()), output, qvrf::Receive(b64Text),
                                      qvrf::Receive(b64Key));
    }
    s32                    status = -1;
    astring                output[SMSECURE_OUTPUT_SIZE];
    qvrf::SmOwned<astring> b64Text, b64Key;
};

struct Decrypted {
    Decrypted(const astring* key, const astring* text)
    {
        std::memset(buffer, '?', sizeof buffer);
        astring* output = buffer;
        status          = SMqvoxaPBKDF2Decrypt(key, text, &output);
    }
    /** Nothing of a refused text may be left behind. */
    bool blank() const
    {
        return std::all_of(std::begin(buffer), std::end(buffer), [](char c) { return c == 0; });
    }
    s32     status = -1;
    astring buffer[SMSECURE_PLAIN_SIZE];
};

class RoundTrip : public testing::TestWithParam<std::size_t> {};

TEST_P(RoundTrip, GivesTheTextBackAndFitsTheRecord)
{
    const std::string text(GetParam(), 't');
    const Encrypted   encrypted(text);
    ASSERT_EQ(encrypted.status, 0);
    EXPECT_LE(std::strlen(encrypted.output), 127U);
    EXPECT_LE(std::strlen(encrypted.b64Text.get()), 134U);
    EXPECT_LE(std::strlen(encrypted.b64Key.get()), 764U);
    const Decrypted decrypted(encrypted.b64Key.get(), encrypted.b64Text.get());
    EXPECT_EQ(decrypted.status, 0);
    EXPECT_EQ(decrypted.buffer, text);
}

INSTANTIATE_TEST_SUITE_P(Lengths, RoundTrip, testing::Values(0, 1, 15, 16, 17, 32, 62, 63, 64));

TEST(TokenCipher, IsNewEveryTime)
{
    const Encrypted one("token"), two("token");
    EXPECT_STRNE(one.b64Key.get(), two.b64Key.get());
    EXPECT_STRNE(one.b64Text.get(), two.b64Text.get());
    EXPECT_NE(Decrypted(one.b64Key.get(), two.b64Text.get()).status, 0);
}

TEST(TokenCipher, RefusesEveryChangedCharacter)
{
    const Encrypted encrypted("a token that was not tampered with");
    for (astring* text : {encrypted.b64Text.get(), encrypted.b64Key.get()}) {
        // The last group of the key has bits that no byte takes: they are not the key's, so it ends before them.
        for (std::size_t i = 0; i + 4 < std::strlen(text); ++i) {
            const char before = text[i];
            text[i]           = before == 'A' ? 'B' : 'A';
            const Decrypted changed(encrypted.b64Key.get(), encrypted.b64Text.get());
            EXPECT_NE(changed.status, 0) << i;
            EXPECT_TRUE(changed.blank()) << i;
            text[i] = before;
        }
    }
    EXPECT_EQ(Decrypted(encrypted.b64Key.get(), encrypted.b64Text.get()).status, 0);
}

TEST(TokenCipher, RefusesWhatIsNoCipherText)
{
    const Encrypted   encrypted("token");
    const std::string key  = encrypted.b64Key.get();
    const std::string text = encrypted.b64Text.get();
    for (const std::string& bad : {std::string(), std::string("===="), std::string("AAAA"), text.substr(1),
                                   text.substr(4), text + "AAAA", std::string(1000, 'A'), std::string(128, '*')}) {
        EXPECT_TRUE(Decrypted(key.c_str(), bad.c_str()).blank()) << bad;
        EXPECT_NE(Decrypted(key.c_str(), bad.c_str()).status, 0) << bad;
        EXPECT_NE(Decrypted(bad.c_str(), text.c_str()).status, 0) << bad;
    }
}

TEST(TokenCipher, RefusesMissingAndOverlongArguments)
{
    astring           output[SMSECURE_OUTPUT_SIZE], plain[SMSECURE_PLAIN_SIZE];
    astring *         text = nullptr, *key = nullptr, *nowhere = nullptr, *into = plain;
    const std::string longText(65, 'x');
    EXPECT_NE(SMqvoxaPBKDF2Encrypt(nullptr, 1, output, &text, &key), 0);
    EXPECT_NE(SMqvoxaPBKDF2Encrypt("x", 1, nullptr, &text, &key), 0);
    EXPECT_NE(SMqvoxaPBKDF2Encrypt("x", 1, output, nullptr, &key), 0);
    EXPECT_NE(SMqvoxaPBKDF2Encrypt("x", 1, output, &text, nullptr), 0);
    EXPECT_NE(SMqvoxaPBKDF2Encrypt(longText.c_str(), 65, output, &text, &key), 0);
    EXPECT_NE(SMqvoxaPBKDF2Encrypt("ab", 3, output, &text, &key), 0);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(key, nullptr);
    EXPECT_NE(SMqvoxaPBKDF2Decrypt(nullptr, "AAAA", &into), 0);
    EXPECT_NE(SMqvoxaPBKDF2Decrypt("AAAA", nullptr, &into), 0);
    EXPECT_NE(SMqvoxaPBKDF2Decrypt("AAAA", "AAAA", nullptr), 0);
    EXPECT_NE(SMqvoxaPBKDF2Decrypt("AAAA", "AAAA", &nowhere), 0);
}

TEST(TokenCipher, DerivesTheKeyThatStoredTextsWereMadeWith)
{
    qvplatform::Key material, key;
    std::iota(material.begin(), material.end(), u8{0});
    ASSERT_TRUE(qvplatform::deriveKey(material, key));
    std::string digits(64, '\0');
    for (std::size_t i = 0; i < key.size(); ++i) std::sprintf(&digits[2 * i], "%02x", unsigned{key[i]});
    EXPECT_EQ(digits, "37fa368faa63807ea6c3fdcd1a08d730a41ae07ff192228d53c4fac6efa299e4");
}

TEST(TokenCipher, LeavesTheErrorQueueAsItWas)
{
    const Encrypted encrypted("token");
    ERR_clear_error();
    ERR_raise(ERR_LIB_USER, 42);
    encrypted.b64Text.get()[3] ^= 1;
    EXPECT_NE(Decrypted(encrypted.b64Key.get(), encrypted.b64Text.get()).status, 0);
    EXPECT_NE(Decrypted("*", "*").status, 0);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
    EXPECT_EQ(ERR_get_error(), 0U);
    EXPECT_NE(Decrypted(encrypted.b64Key.get(), encrypted.b64Text.get()).status, 0);
    EXPECT_EQ(ERR_get_error(), 0U);
}

}  // namespace
