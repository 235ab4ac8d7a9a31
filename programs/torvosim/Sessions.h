/** @file Sessions.h  The Redfish service's sessions. */
#ifndef TORVOSIM_SESSIONS_H
#define TORVOSIM_SESSIONS_H

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Support.h"

namespace torvosim {

struct Session {
    std::string  id;
    std::string  token;  ///< 32 characters
    std::string  user;
    std::int64_t created = 0;
    std::string  from;  ///< the client's address
};

class Sessions {
public:
    void configure(std::size_t limit, unsigned timeoutSeconds, bool newGeneration);

    /** A new session for @p user at the address @p from; nothing when the limit is reached. */
    std::optional<Session> open(const std::string& user, const std::string& from);
    /** Whether @p token belongs to a living session; keeps that session from timing out. */
    bool                     use(std::string_view token);
    bool                     close(std::string_view id);
    std::size_t              closeAll();  ///< how many there were
    std::optional<Session>   find(std::string_view id);
    std::vector<std::string> ids();

    void setLimit(std::size_t limit);
    void setTimeout(unsigned seconds);
    void setNewGeneration(bool isNew);
    bool newGeneration();
    /** The collection that answers in this generation. */
    std::string collection();

private:
    using Clock = std::chrono::steady_clock;
    struct Living {
        Session           session;
        Clock::time_point lastUse;
    };
    struct State {
        std::map<std::string, Living> byId;
        std::size_t                   limit         = 8;
        unsigned                      timeout       = 0;
        bool                          newGeneration = true;
        unsigned                      opened        = 0;
    };
    static void dropIdle(State& s);

    Guarded<State> state_;
};

constexpr const char kNewSessionCollection[] = "/redfish/v1/SessionService/Sessions";
constexpr const char kOldSessionCollection[] = "/redfish/v1/Sessions";

}  // namespace torvosim

#endif
