/**
 * @file tokencipher.cpp  SMqvoxaPBKDF2Encrypt and SMqvoxaPBKDF2Decrypt: AES-256-GCM under a derived key.
 *
 *   b64Key  = base64(32 bytes of key, derived from random material)           44 characters
 *   b64Text = base64(nonce 12, cipher text 0..64, tag 16)                     124 characters at most
 *   output  = the same text as b64Text: what a record keeps for show
 *
 * A request decrypts its token before it talks to the BMC, so this is made to cost next to nothing: the key is derived
 * once, when the token is encrypted, and is then nowhere but in the caller's record; the material is forgotten.
 */
#include "tokencipher.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "owners.h"
#include "smsecure.h"

namespace qvplatform {

namespace {

using qvrf::GivenBackBy;
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, GivenBackBy<&EVP_CIPHER_CTX_free>>;
using Derivation    = std::unique_ptr<EVP_KDF, GivenBackBy<&EVP_KDF_free>>;
using KdfContext    = std::unique_ptr<EVP_KDF_CTX, GivenBackBy<&EVP_KDF_CTX_free>>;
using TextOut       = qvrf::MallocOwned<astring>;

constexpr s32 kFailed   = 1;
constexpr s32 kInvalid  = 2;
constexpr s32 kNoMemory = 3;

constexpr std::size_t kNonce    = 12;
constexpr std::size_t kTag      = 16;
constexpr std::size_t kMaxPlain = SMSECURE_PLAIN_SIZE - 1;
constexpr std::size_t kMaxPack  = kNonce + kMaxPlain + kTag;

constexpr std::size_t encodedSize(std::size_t bytes)
{
    return (bytes + 2) / 3 * 4;
}
static_assert(encodedSize(kMaxPack) < SMSECURE_OUTPUT_SIZE, "the text for the record must fit with its NUL");
static_assert(encodedSize(kMaxPack) <= 134, "the session record has no room for more");

/** A buffer on the stack that is wiped when its scope ends. */
template <std::size_t N>
struct Wiped : std::array<unsigned char, N> {
    Wiped() : std::array<unsigned char, N>{} {}
    ~Wiped() { OPENSSL_cleanse(this->data(), N); }
    Wiped(Wiped&&) = delete;
};

struct WipedKey {
    Key bytes{};
    explicit WipedKey(const Key& key = {}) : bytes(key) {}
    ~WipedKey() { OPENSSL_cleanse(bytes.data(), bytes.size()); }
    WipedKey(WipedKey&&) = delete;
};

/**
 * Fetching walks OpenSSL's providers under their locks, which is slower than the whole decryption: once in a process,
 * and kept until it is gone, like OpenSSL's own: a thread may still send a request while exit() runs.
 */
const EVP_CIPHER* cipher()
{
    static const EVP_CIPHER* const fetched = EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr);
    return fetched;
}

/**
 * Errors of ours do not stay behind in the thread's queue, where the next caller of OpenSSL would take them for his.
 */
class ErrorsForgotten {
public:
    ErrorsForgotten() { ERR_set_mark(); }
    ~ErrorsForgotten() { ERR_pop_to_mark(); }
    ErrorsForgotten(ErrorsForgotten&&) = delete;
};

/** Cipher text and tag are written behind the nonce. */
bool seal(const Key& key, const unsigned char* plain, std::size_t size, unsigned char* pack)
{
    const CipherContext context(EVP_CIPHER_CTX_new());
    unsigned char*      text = pack + kNonce;
    int                 done = 0;
    return context && RAND_bytes(pack, kNonce) == 1 &&
           EVP_EncryptInit_ex2(context.get(), cipher(), key.data(), pack, nullptr) == 1 &&
           EVP_EncryptUpdate(context.get(), text, &done, plain, static_cast<int>(size)) == 1 &&
           EVP_EncryptFinal_ex(context.get(), text + done, &done) == 1 &&
           EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, kTag, text + size) == 1;
}

/** False as well when a single bit of key or pack was changed. */
bool open(const Key& key, unsigned char* pack, std::size_t size, unsigned char* plain)
{
    const CipherContext context(EVP_CIPHER_CTX_new());
    unsigned char*      text = pack + kNonce;
    int                 done = 0;
    return context && EVP_DecryptInit_ex2(context.get(), cipher(), key.data(), pack, nullptr) == 1 &&
           EVP_DecryptUpdate(context.get(), plain, &done, text, static_cast<int>(size)) == 1 &&
           EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, kTag, text + size) == 1 &&
           EVP_DecryptFinal_ex(context.get(), plain + done, &done) == 1;
}

/** The bytes that base64 @p text stands for, @p most of them at most; 0 when it is no such text. */
std::size_t decoded(const astring* text, unsigned char* bytes, std::size_t most)
{
    const std::size_t length = ::strnlen(text, encodedSize(most) + 1);
    if (length == 0 || length % 4 != 0 || length > encodedSize(most)) return 0;
    if (EVP_DecodeBlock(bytes, reinterpret_cast<const unsigned char*>(text), static_cast<int>(length)) < 0) return 0;
    const std::size_t padding = text[length - 1] != '=' ? 0 : text[length - 2] != '=' ? 1 : 2;
    return length / 4 * 3 - padding;
}

/** Base64 text of @p bytes for a caller of the library; empty when memory is out. */
TextOut encoded(const unsigned char* bytes, std::size_t size)
{
    TextOut text(static_cast<astring*>(std::malloc(encodedSize(size) + 1)));
    if (text) EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.get()), bytes, static_cast<int>(size));
    return text;
}

}  // namespace

bool deriveKey(const Key& material, Key& key) noexcept
{
    WipedKey         password{material};
    const Derivation pbkdf2(EVP_KDF_fetch(nullptr, "PBKDF2", nullptr));
    const KdfContext context(pbkdf2 ? EVP_KDF_CTX_new(pbkdf2.get()) : nullptr);
    char             digest[]   = "SHA256";
    char             salt[]     = "qvoxa session token";
    unsigned int     iterations = 1;
    const OSSL_PARAM words[]    = {
           OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_PASSWORD, password.bytes.data(), password.bytes.size()),
           OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
           OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SALT, salt, std::strlen(salt)),
           OSSL_PARAM_construct_uint(OSSL_KDF_PARAM_ITER, &iterations), OSSL_PARAM_construct_end()};
    return context && EVP_KDF_derive(context.get(), key.data(), key.size(), words) == 1;
}

}  // namespace qvplatform

using namespace qvplatform;

extern "C" s32 SMqvoxaPBKDF2Encrypt(const astring* text, u32 length, astring* output, astring** b64Text,
                                    astring** b64Key)
{
    if (b64Text != nullptr) *b64Text = nullptr;
    if (b64Key != nullptr) *b64Key = nullptr;
    if (text == nullptr || output == nullptr || b64Text == nullptr || b64Key == nullptr) return kInvalid;
    // A NUL inside would end the text early when it comes back.
    if (length > kMaxPlain || ::strnlen(text, length) != length) return kInvalid;

    const ErrorsForgotten forgotten;
    WipedKey              material, key;
    Wiped<kMaxPack>       pack;
    if (RAND_priv_bytes(material.bytes.data(), static_cast<int>(material.bytes.size())) != 1) return kFailed;
    if (!deriveKey(material.bytes, key.bytes)) return kFailed;
    if (!seal(key.bytes, reinterpret_cast<const unsigned char*>(text), length, pack.data())) return kFailed;

    TextOut cipherText = encoded(pack.data(), kNonce + length + kTag);
    TextOut keyText    = encoded(key.bytes.data(), key.bytes.size());
    if (!cipherText || !keyText) {
        if (keyText) OPENSSL_cleanse(keyText.get(), std::strlen(keyText.get()));
        return kNoMemory;
    }
    std::memcpy(output, cipherText.get(), std::strlen(cipherText.get()) + 1);
    *b64Text = cipherText.release();
    *b64Key  = keyText.release();
    return 0;
}

extern "C" s32 SMqvoxaPBKDF2Decrypt(const astring* b64Key, const astring* b64Text, astring** output)
{
    if (output == nullptr || *output == nullptr) return kInvalid;
    std::memset(*output, 0, SMSECURE_PLAIN_SIZE);
    if (b64Key == nullptr || b64Text == nullptr) return kInvalid;

    const ErrorsForgotten  forgotten;
    WipedKey               key;
    Wiped<kMaxPack + 2>    pack;  // the decoder writes whole groups of three
    Wiped<sizeof(Key) + 2> keyText;
    const std::size_t      packed = decoded(b64Text, pack.data(), kMaxPack);
    if (decoded(b64Key, keyText.data(), sizeof(Key)) != sizeof(Key)) return kInvalid;
    if (packed < kNonce + kTag || packed > kMaxPack) return kInvalid;
    std::memcpy(key.bytes.data(), keyText.data(), sizeof(Key));

    auto* plain = reinterpret_cast<unsigned char*>(*output);
    if (open(key.bytes, pack.data(), packed - kNonce - kTag, plain)) return 0;
    // The cipher hands its text out before it knows that the tag is wrong.
    OPENSSL_cleanse(*output, SMSECURE_PLAIN_SIZE);
    return kFailed;
}
