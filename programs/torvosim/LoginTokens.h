/** @file LoginTokens.h  Login tokens (signed JWTs): enrolled over IPMI, given for a session over HTTPS. */
#ifndef TORVOSIM_LOGINTOKENS_H
#define TORVOSIM_LOGINTOKENS_H

#include <ctime>
#include <map>
#include <string>
#include <string_view>

#include "Support.h"

namespace torvosim {

class LoginTokens {
public:
    /** @param key  shared with the token service  @param loginsPerToken  0: any number */
    void configure(std::string key, unsigned loginsPerToken);

    /** Makes a sound token good for logins. @return empty, or why it is refused */
    std::string enrol(std::string_view token);
    /** Uses up one login. @return empty and the user in @p user, or why it is refused */
    std::string logIn(std::string_view token, std::string& user);
    void        setLoginsPerToken(unsigned logins);
    void        forgetAll();
    std::size_t enrolled();

private:
    struct Claims {
        std::string user;
        std::time_t expires = 0;
    };
    struct Enrolled {
        std::time_t expires = 0;
        unsigned    logins  = 0;
    };
    struct State {
        std::string                     key;
        unsigned                        loginsPerToken = 1;
        std::map<std::string, Enrolled> tokens;  // by their digest: the token itself is not kept
    };

    static std::string check(const std::string& key, std::string_view token, Claims& claims);

    Guarded<State> state_;
};

}  // namespace torvosim

#endif
