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

using namespace rig;

extern "C" {

s32 SMqvoxaPBKDF2Encrypt(const astring* text, u32 length, astring* output, astring** b64Text, astring** b64Key)
{
    const Paused paused;
    if (refused("SMqvoxaPBKDF2Encrypt", length)) return 1;
    if (platform().encryptStatus != 0) return platform().encryptStatus;
    if (length >= SMSECURE_PLAIN_SIZE) return 1;
    std::string cipher;
    for (u32 i = length; i-- > 0;) {
        const u8 byte = static_cast<u8>(text[i]);
        cipher += hexOf(&byte, 1);
    }
    *b64Text = platform().newText(cipher);
    *b64Key  = platform().newText("bench-key");
    std::snprintf(output, SMSECURE_OUTPUT_SIZE, "sealed:%u", length);
    return 0;
}

s32 SMqvoxaPBKDF2Decrypt(const astring* b64Key, const astring* b64Text, astring** output)
{
    const Paused paused;
    if (refused("SMqvoxaPBKDF2Decrypt")) return 1;
    if (platform().decryptStatus != 0) return platform().decryptStatus;
    const std::string cipher = textOf(b64Text);
    if (textOf(b64Key) != "bench-key" || cipher.size() % 2 != 0 || cipher.size() / 2 >= SMSECURE_PLAIN_SIZE) return 1;
    std::string plain;
    for (std::size_t i = 0; i < cipher.size(); i += 2)
        plain += static_cast<char>(std::stoul(cipher.substr(i, 2), nullptr, 16));
    std::reverse(plain.begin(), plain.end());
    std::memcpy(*output, plain.c_str(), plain.size() + 1);
    return 0;
}

s32 SMSecureGenerateBMCLoginToken(u32 reserved, const astring* userName, u32 role)
{
    const Paused paused;
    return refused("SMSecureGenerateBMCLoginToken", reserved, textOf(userName), role) ? 1 : platform().generateStatus;
}

s32 SMSecureGetBMCLoginToken(astring** token, u32* length)
{
    const Paused paused;
    if (refused("SMSecureGetBMCLoginToken")) return 1;
    if (platform().getStatus != 0) return platform().getStatus;
    *token  = platform().newText(platform().loginToken);
    *length = static_cast<u32>(platform().loginToken.size());
    return 0;
}

s32 OSVerifyDigitalSignature(OxaSignatureObject* object)
{
    const Paused paused;
    const bool   fails = refused("OSVerifyDigitalSignature", textOf(object->pVerifyFile), textOf(object->pSignFile),
                                 textOf(object->pCommonName), textOf(object->pKey), textOf(object->pSignDB));
    return fails ? 1 : platform().signatureStatus;
}

}  // extern "C"
