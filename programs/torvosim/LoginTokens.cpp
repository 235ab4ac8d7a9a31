/** @file LoginTokens.cpp  Login tokens: signed JWTs. */
#include "LoginTokens.h"

#include <jwt.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace torvosim {

namespace {

constexpr std::size_t kMostTokens = 256;

struct FreeJwt {
    void operator()(jwt_t* jwt) const noexcept { ::jwt_free(jwt); }
};

}  // namespace

void LoginTokens::configure(std::string key, unsigned loginsPerToken)
{
    state_.with([&](State& s) {
        s.key            = std::move(key);
        s.loginsPerToken = loginsPerToken;
    });
}

std::string LoginTokens::check(const std::string& key, std::string_view token, Claims& claims)
{
    jwt_t*            raw = nullptr;
    const std::string text(token);
    const int         rc = ::jwt_decode(&raw, text.c_str(), reinterpret_cast<const unsigned char*>(key.data()),
                                        static_cast<int>(key.size()));
    const std::unique_ptr<jwt_t, FreeJwt> jwt(raw);
    if (rc != 0 || !jwt) return "the token's signature or form is wrong";
    // An unsigned token decodes with any key.
    const jwt_alg_t algorithm = ::jwt_get_alg(jwt.get());
    if (algorithm != JWT_ALG_HS256 && algorithm != JWT_ALG_HS384 && algorithm != JWT_ALG_HS512)
        return "the token is not signed with the shared key";

    const char* user = ::jwt_get_grant(jwt.get(), "sub");
    claims.expires   = ::jwt_get_grant_int(jwt.get(), "exp");
    if (user == nullptr || *user == '\0') return "the token names no user";
    if (claims.expires <= std::time(nullptr)) return "the token is expired";
    claims.user = user;
    return {};
}

std::string LoginTokens::enrol(std::string_view token)
{
    return state_.with([&](State& s) -> std::string {
        Claims claims;
        if (std::string problem = check(s.key, token, claims); !problem.empty()) return problem;
        for (auto it = s.tokens.begin(); it != s.tokens.end();)
            it = it->second.expires <= std::time(nullptr) ? s.tokens.erase(it) : std::next(it);
        if (s.tokens.size() >= kMostTokens) return "too many tokens are enrolled";
        s.tokens[sha256Hex(token)] = {claims.expires, 0};
        return {};
    });
}

std::string LoginTokens::logIn(std::string_view token, std::string& user)
{
    return state_.with([&](State& s) -> std::string {
        Claims claims;
        if (std::string problem = check(s.key, token, claims); !problem.empty()) return problem;
        const auto found = s.tokens.find(sha256Hex(token));
        if (found == s.tokens.end()) return "the token is not enrolled, or was used up";
        if (s.loginsPerToken != 0 && ++found->second.logins >= s.loginsPerToken) s.tokens.erase(found);
        user = claims.user;
        return {};
    });
}

void LoginTokens::setLoginsPerToken(unsigned logins)
{
    state_.with([&](State& s) { s.loginsPerToken = logins; });
}

void LoginTokens::forgetAll()
{
    state_.with([](State& s) { s.tokens.clear(); });
}

std::size_t LoginTokens::enrolled()
{
    return state_.with([](State& s) { return s.tokens.size(); });
}

}  // namespace torvosim
