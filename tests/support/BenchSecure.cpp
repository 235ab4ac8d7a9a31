/**
 * @file BenchSecure.cpp
 * The cryptography service on the bench.
 *
 * "Encryption" is reversible and no more: the text's bytes in hexadecimal, last byte first, with the fixed key text
 * "bench-key". So a record never holds the plain text, and the wrong texts do not decrypt.
 */
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "BenchPlatform.h"
#include "LibraryCalls.h"

namespace {

constexpr char kKey[] = "bench-key";

bench::Platform& platform()
{
    return bench::Platform::instance();
}

std::string textOf(const astring* text)
{
    return text ? text : "";
}

}  // namespace

extern "C" {

s32 SMqvoxaPBKDF2Encrypt(const astring* text, u32 length, astring* output, astring** b64Text, astring** b64Key)
{
    const bench::Paused paused;
    platform().record("SMqvoxaPBKDF2Encrypt " + std::to_string(length));
    if (platform().failsNow("SMqvoxaPBKDF2Encrypt")) return 1;
    if (platform().crypto.encryptStatus != 0) return platform().crypto.encryptStatus;
    if (length >= SMSECURE_PLAIN_SIZE) return 1;
    std::string cipher;
    for (u32 i = length; i-- > 0;) {
        const u8 byte = static_cast<u8>(text[i]);
        cipher += bench::hexOf(&byte, 1);
    }
    *b64Text = platform().newText(cipher);
    *b64Key  = platform().newText(kKey);
    std::snprintf(output, SMSECURE_OUTPUT_SIZE, "sealed:%u", length);
    return 0;
}

s32 SMqvoxaPBKDF2Decrypt(const astring* b64Key, const astring* b64Text, astring** output)
{
    const bench::Paused paused;
    platform().record("SMqvoxaPBKDF2Decrypt");
    if (platform().failsNow("SMqvoxaPBKDF2Decrypt")) return 1;
    if (platform().crypto.decryptStatus != 0) return platform().crypto.decryptStatus;
    const std::string cipher = textOf(b64Text);
    if (textOf(b64Key) != kKey || cipher.size() % 2 != 0 || cipher.size() / 2 >= SMSECURE_PLAIN_SIZE) return 1;
    std::string plain;
    for (std::size_t i = 0; i < cipher.size(); i += 2)
        plain += static_cast<char>(std::stoul(cipher.substr(i, 2), nullptr, 16));
    std::reverse(plain.begin(), plain.end());
    std::memcpy(*output, plain.c_str(), plain.size() + 1);
    return 0;
}

s32 SMSecureGenerateBMCLoginToken(u32 reserved, const astring* userName, u32 role)
{
    const bench::Paused paused;
    platform().record("SMSecureGenerateBMCLoginToken " + std::to_string(reserved) + " " + textOf(userName) + " " +
                      std::to_string(role));
    return platform().failsNow("SMSecureGenerateBMCLoginToken") ? 1 : platform().token.generateStatus;
}

s32 SMSecureGetBMCLoginToken(astring** token, u32* length)
{
    const bench::Paused paused;
    platform().record("SMSecureGetBMCLoginToken");
    if (platform().failsNow("SMSecureGetBMCLoginToken")) return 1;
    if (platform().token.getStatus != 0) return platform().token.getStatus;
    *token  = platform().newText(platform().token.text);
    *length = static_cast<u32>(platform().token.text.size());
    return 0;
}

s32 OSVerifyDigitalSignature(OxaSignatureObject* object)
{
    const bench::Paused paused;
    platform().record("OSVerifyDigitalSignature " + textOf(object->pVerifyFile));
    platform().keepSignatureCheck({textOf(object->pCommonName), textOf(object->pKey), textOf(object->pVerifyFile),
                                   textOf(object->pSignFile), textOf(object->pSignDB)});
    return platform().failsNow("OSVerifyDigitalSignature") ? 1 : platform().signatureStatus;
}

}  // extern "C"
