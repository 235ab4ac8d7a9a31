/** @file Sessions.cpp  The Redfish service's sessions. */
#include "Sessions.h"

#include <ctime>

namespace torvosim {

namespace {
constexpr std::size_t kTokenCharacters = 32;  // hosts take exactly so many
}

void Sessions::configure(std::size_t limit, unsigned timeoutSeconds, bool newGeneration)
{
    setLimit(limit);
    setTimeout(timeoutSeconds);
    setNewGeneration(newGeneration);
}

void Sessions::dropIdle(State& s)
{
    if (s.timeout == 0) return;
    const auto oldest = Clock::now() - std::chrono::seconds(s.timeout);
    for (auto it = s.byId.begin(); it != s.byId.end();)
        it = it->second.lastUse <= oldest ? s.byId.erase(it) : std::next(it);
}

std::optional<Session> Sessions::open(const std::string& user, const std::string& from)
{
    return state_.with([&](State& s) -> std::optional<Session> {
        dropIdle(s);
        if (s.byId.size() >= s.limit) return std::nullopt;
        Session session{std::to_string(++s.opened), randomHex(kTokenCharacters), user, std::time(nullptr), from};
        s.byId[session.id] = {session, Clock::now()};
        return session;
    });
}

bool Sessions::use(std::string_view token)
{
    return state_.with([&](State& s) {
        dropIdle(s);
        for (auto& [id, living] : s.byId) {
            if (living.session.token != token) continue;
            living.lastUse = Clock::now();
            return true;
        }
        return false;
    });
}

bool Sessions::close(std::string_view id)
{
    return state_.with([&](State& s) { return s.byId.erase(std::string(id)) != 0; });
}

std::size_t Sessions::closeAll()
{
    return state_.with([](State& s) {
        const std::size_t count = s.byId.size();
        s.byId.clear();
        return count;
    });
}

std::optional<Session> Sessions::find(std::string_view id)
{
    return state_.with([&](State& s) -> std::optional<Session> {
        dropIdle(s);
        const auto found = s.byId.find(std::string(id));
        if (found == s.byId.end()) return std::nullopt;
        return found->second.session;
    });
}

std::vector<std::string> Sessions::ids()
{
    return state_.with([](State& s) {
        dropIdle(s);
        std::vector<std::string> ids;
        for (const auto& [id, living] : s.byId) ids.push_back(id);
        return ids;
    });
}

void Sessions::setLimit(std::size_t limit)
{
    state_.with([&](State& s) { s.limit = limit; });
}

void Sessions::setTimeout(unsigned seconds)
{
    state_.with([&](State& s) { s.timeout = seconds; });
}

void Sessions::setNewGeneration(bool isNew)
{
    state_.with([&](State& s) { s.newGeneration = isNew; });
}

bool Sessions::newGeneration()
{
    return state_.with([](State& s) { return s.newGeneration; });
}

std::string Sessions::collection()
{
    return newGeneration() ? kNewSessionCollection : kOldSessionCollection;
}

}  // namespace torvosim
