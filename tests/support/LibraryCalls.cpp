/** @file LibraryCalls.cpp  Transcript, failures and holdings of the library under test. */
#include "LibraryCalls.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

namespace rig {
namespace {

/** A call that is to fail. */
struct Awaited {
    std::string call;  // any when empty
    unsigned    countdown;
    Place       place;
    int         error;
};

struct State {
    std::mutex                         guard;
    std::vector<std::string>           notes[3];
    std::map<std::string, unsigned>    asked;  // since failNth
    std::vector<Awaited>               awaited;
    std::string                        failed;
    std::map<const void*, const char*> held;
    std::string                        releases;
};

State& state()
{
    static State* const all = new State;  // outlives every thread and static object
    return *all;
}

using Guard = std::lock_guard<std::mutex>;

/** A look through a host's processes reads as many files as there are: the first dozen stand for all. */
bool oneOfTooMany(State& s, const std::string& call)
{
    constexpr unsigned kEnough = 12;
    const bool         looped  = call == "read" || call == "readdir" || call == "fstat" || call == "close";
    return looped && ++s.asked[call] > kEnough;
}

/** The errno of this call's failure; 0 when it does not fail. */
int errorNow(State& s, const std::string& call)
{
    for (Awaited& next : s.awaited) {
        if (next.countdown == 0 || next.place != t_standing.place) continue;
        const bool meant = next.call.empty() ? !oneOfTooMany(s, call) : next.call == call;
        if (meant && --next.countdown == 0) return next.error;
    }
    return 0;
}

}  // namespace

void note(const std::string& line)
{
    if (t_standing.place == Place::outside) return;
    const Paused paused;
    const Guard  lock(state().guard);
    state().notes[static_cast<int>(t_standing.place)].push_back(line);
}

std::vector<std::string> takeNotes(Place place)
{
    const Guard lock(state().guard);
    return std::exchange(state().notes[static_cast<int>(place)], {});
}

void noFailures()
{
    const Guard lock(state().guard);
    state().awaited.clear();
    state().failed.clear();
}

void failNth(unsigned nth, Place place)
{
    const Guard lock(state().guard);
    state().asked.clear();
    state().awaited.insert(state().awaited.begin(), {{}, nth, place, EIO});
}

void failNamed(const std::string& call, unsigned nth, Place place, int error)
{
    const Guard lock(state().guard);
    state().awaited.push_back({call, nth, place, error});
}

bool fails(const char* call)
{
    if (t_standing.place == Place::outside) return false;
    const Paused paused;
    const Guard  lock(state().guard);
    const int    error = errorNow(state(), call);
    if (error == 0) return false;
    state().failed += (state().failed.empty() ? "" : " ") + std::string(call);
    errno = error;
    return true;
}

std::string failed()
{
    const Guard lock(state().guard);
    return state().failed;
}

void acquired(const void* what, const char* kind)
{
    if (what == nullptr) return;
    const Paused paused;
    const Guard  lock(state().guard);
    state().held[what] = kind;
}

void released(const void* what, bool forGood)
{
    const Paused paused;
    const Guard  lock(state().guard);
    const auto   found = state().held.find(what);
    if (found == state().held.end()) return;
    if (forGood && t_standing.place == Place::caller)
        state().releases += (state().releases.empty() ? "" : " ") + std::string(found->second);
    state().held.erase(found);
}

std::string takeReleases()
{
    const Guard lock(state().guard);
    return std::exchange(state().releases, {});
}

std::map<std::string, std::size_t> held()
{
    const Guard                        lock(state().guard);
    std::map<std::string, std::size_t> kinds;
    for (const auto& [what, kind] : state().held) ++kinds[kind];
    return kinds;
}

}  // namespace rig
