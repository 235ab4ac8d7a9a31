/** @file logintoken.cpp  Login tokens: written, made known to the BMC, handed out once. */
#include "logintoken.h"

#include <fcntl.h>
#include <jwt.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "owners.h"
#include "settings.h"
#include "shield.h"
#include "smsecure.h"
#include "smsupport.h"
#include "torvotext.h"
#include "trust.h"
#include "vmwire.h"

namespace qvplatform {
namespace {

constexpr char        kIssuer[]     = "qvoxa";
constexpr long        kLifeSeconds  = 5 * 60;
constexpr std::size_t kLeastKey     = 32;  // a shorter one is weaker than the hash it drives
constexpr std::size_t kMostKey      = 4096;
constexpr std::size_t kMostUserName = 128;

constexpr s32 kFailed  = 1;
constexpr s32 kInvalid = 2;

/** Who logs in when no user was named: a session that is opened on demand before the agent ever named one. */
constexpr char kAgent[] = "agent";

using Token = std::unique_ptr<jwt_t, qvrf::GivenBackBy<&jwt_free>>;

struct JwtTextGivenBack {
    void operator()(char* text) const noexcept
    {
        qvrf::wipe(text, std::strlen(text));
        std::free(text);
    }
};

/** A random id, so that two tokens of one second differ and the BMC can tell a token that was used. */
bool randomId(std::array<char, 33>& text)
{
    std::array<unsigned char, 16> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) return false;
    for (std::size_t i = 0; i < bytes.size(); ++i) std::snprintf(&text[2 * i], 3, "%02x", unsigned{bytes[i]});
    return true;
}

/** The token that this thread made and nobody fetched yet. */
thread_local Bytes t_token;

/** Assigning would keep the old text in the vector's memory; swapping gives it to the allocator that wipes. */
void keep(Bytes token) noexcept
{
    t_token.swap(token);
}

s32 failed(const char* why)
{
    __SysDbgPrint3("SMSecureGenerateBMCLoginToken : %s\n", why);
    return kFailed;
}

s32 generate(const astring* userName, u32 role)
{
    const std::string& keyFile = settings().tokenKeyFile;
    if (keyFile.empty()) return failed("secure.tokenkey is not set.");
    const Bytes key = readTokenKey(keyFile.c_str());
    if (key.empty()) return kFailed;
    const char* const subject = *userName != '\0' ? userName : kAgent;
    Bytes             token   = writeToken(asText(key), subject, role, std::time(nullptr));
    if (token.empty()) return failed("the token could not be written.");

    s32       verdict = 0;
    const s32 status  = QVHIPMTextTransaction(static_cast<u8>(vmwire::Verb::enrolToken), token.data(),
                                              static_cast<u32>(token.size()), &verdict, nullptr);
    if (status != 0) return failed("the BMC could not be told of the token.");
    if (verdict != 0) return failed("the BMC does not accept the token.");
    keep(std::move(token));
    return 0;
}

}  // namespace

Bytes writeToken(std::string_view key, const char* userName, u32 role, std::time_t now)
{
    std::array<char, 33> id{};
    jwt_t*               raw = nullptr;
    if (!randomId(id) || jwt_new(&raw) != 0) return {};
    const Token token(raw);
    const auto* keyBytes = reinterpret_cast<const unsigned char*>(key.data());
    const bool  written  = jwt_add_grant(raw, "iss", kIssuer) == 0 && jwt_add_grant(raw, "sub", userName) == 0 &&
                         jwt_add_grant_int(raw, "role", static_cast<long>(role)) == 0 &&
                         jwt_add_grant_int(raw, "iat", static_cast<long>(now)) == 0 &&
                         jwt_add_grant_int(raw, "exp", static_cast<long>(now) + kLifeSeconds) == 0 &&
                         jwt_add_grant(raw, "jti", id.data()) == 0 &&
                         jwt_set_alg(raw, JWT_ALG_HS256, keyBytes, static_cast<int>(key.size())) == 0;
    if (!written) return {};
    const std::unique_ptr<char, JwtTextGivenBack> text(jwt_encode_str(raw));
    Bytes                                         result;
    if (text) append(result, text.get());
    return result;
}

Bytes readTokenKey(const char* file)
{
    const qvrf::Descriptor opened(::open(file, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat            status {};
    const bool             there     = opened && ::fstat(opened.get(), &status) == 0;
    const char*            objection = there ? objectionTo(status, kOpenToOthers) : std::strerror(errno);
    if (objection != nullptr) {
        __SysDbgPrint3("readTokenKey : %s cannot be used: %s\n", file, objection);
        return {};
    }
    Bytes       key(kMostKey + 1);
    std::size_t size = 0;
    while (size < key.size()) {
        const ssize_t got = ::read(opened.get(), key.data() + size, key.size() - size);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) size = 0;
        if (got <= 0) break;
        size += static_cast<std::size_t>(got);
    }
    const bool tooLong = size > kMostKey;
    if (size > 0 && key[size - 1] == '\n') --size;
    if (size > 0 && key[size - 1] == '\r') --size;
    if (size < kLeastKey || tooLong) {
        __SysDbgPrint3("readTokenKey : %s: the key must have %d to %d bytes.\n", file, static_cast<int>(kLeastKey),
                       static_cast<int>(kMostKey));
        return {};
    }
    return {key.begin(), key.begin() + static_cast<std::ptrdiff_t>(size)};
}

}  // namespace qvplatform

extern "C" s32 SMSecureGenerateBMCLoginToken(u32, const astring* userName, u32 role)
{
    static constexpr char op[] = "SMSecureGenerateBMCLoginToken";
    return qvrf::shielded<s32>(op, qvplatform::kFailed, [&]() -> s32 {
        qvplatform::keep({});  // after a failure there is no token, not the one before
        if (userName == nullptr) return qvplatform::kInvalid;
        if (::strnlen(userName, qvplatform::kMostUserName + 1) > qvplatform::kMostUserName) return qvplatform::kInvalid;
        return qvplatform::generate(userName, role);
    });
}

extern "C" s32 SMSecureGetBMCLoginToken(astring** token, u32* length)
{
    if (token == nullptr || length == nullptr) return qvplatform::kInvalid;
    *token  = nullptr;
    *length = 0;
    if (qvplatform::t_token.empty()) return qvplatform::kFailed;
    astring* copy = qvplatform::handOut(qvplatform::asText(qvplatform::t_token));
    if (copy == nullptr) return qvplatform::kFailed;
    *token  = copy;
    *length = static_cast<u32>(qvplatform::t_token.size());
    qvplatform::keep({});
    return 0;
}
