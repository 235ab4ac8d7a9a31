/** @file Tokens.h  Login tokens as the token service makes them, and some that it would not make. */
#ifndef TESTS_SIMULATOR_TOKENS_H
#define TESTS_SIMULATOR_TOKENS_H

#include <jwt.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

#include "torvosim.h"

inline std::string encodedToken(const std::string& user, long lifeSeconds, jwt_alg_t algorithm, const std::string& key)
{
    jwt_t* jwt = nullptr;
    jwt_new(&jwt);
    jwt_add_grant(jwt, "sub", user.c_str());
    jwt_add_grant_int(jwt, "exp", std::time(nullptr) + lifeSeconds);
    static long number = 0;
    jwt_add_grant_int(jwt, "jti", ++number);
    jwt_set_alg(jwt, algorithm, key.empty() ? nullptr : reinterpret_cast<const unsigned char*>(key.data()),
                static_cast<int>(key.size()));
    char*       text  = jwt_encode_str(jwt);
    std::string token = text;
    std::free(text);
    jwt_free(jwt);
    return token;
}

/** @param key  empty: the one that the simulator shares */
inline std::string loginToken(const torvosim::Simulator& simulator, const std::string& user, long lifeSeconds = 60,
                              std::string key = {})
{
    if (key.empty()) {
        std::ifstream file(simulator.tokenKeyPath());
        std::getline(file, key);
    }
    return encodedToken(user, lifeSeconds, JWT_ALG_HS256, key);
}

inline std::string unsignedToken(const std::string& user)
{
    return encodedToken(user, 60, JWT_ALG_NONE, {});
}

#endif
