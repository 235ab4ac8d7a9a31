/** @file LibraryCalls.cpp  Transcript, failures and holdings of the library under test. */
#include "LibraryCalls.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

namespace rig {
namespace {

thread_local Place t_place  = Place::outside;
thread_local int   t_paused = 0;

struct Named {
    std::string call;
    unsigned    countdown;
    Place       place;
    int         error;
};

struct State {
    std::mutex                         guard;
    std::vector<std::string>           notes[3];
    unsigned                           countdown = 0;
    Place                              place     = Place::caller;
    std::map<std::string, unsigned>    asked;  // since failNth
    std::vector<Named>                 named;
    std::string                        failed;
    std::map<const void*, const char*> held;
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
    if (s.countdown != 0 && s.place == t_place && !oneOfTooMany(s, call) && --s.countdown == 0) return EIO;
    for (Named& named : s.named)
        if (named.call == call && named.place == t_place && named.countdown != 0 && --named.countdown == 0)
            return named.error;
    return 0;
}

}  // namespace

Inside::Inside(Place place) noexcept : before_(std::exchange(t_place, place)), pausedBefore_(std::exchange(t_paused, 0))
{
}
Inside::~Inside()
{
    t_place  = before_;
    t_paused = pausedBefore_;
}
Paused::Paused() noexcept
{
    ++t_paused;
}
Paused::~Paused()
{
    --t_paused;
}

Place here() noexcept
{
    return t_place;
}
bool counting() noexcept
{
    return t_place != Place::outside && t_paused == 0;
}

void note(const std::string& line)
{
    if (t_place == Place::outside) return;
    const Paused paused;
    const Guard  lock(state().guard);
    state().notes[static_cast<int>(t_place)].push_back(line);
}

std::vector<std::string> takeNotes(Place place)
{
    const Guard lock(state().guard);
    return std::exchange(state().notes[static_cast<int>(place)], {});
}

void noFailures()
{
    const Guard lock(state().guard);
    state().countdown = 0;
    state().named.clear();
    state().failed.clear();
}

void failNth(unsigned nth, Place place)
{
    const Guard lock(state().guard);
    state().countdown = nth;
    state().place     = place;
    state().asked.clear();
}

void failNamed(const std::string& call, unsigned nth, Place place, int error)
{
    const Guard lock(state().guard);
    state().named.push_back({call, nth, place, error});
}

bool fails(const char* call)
{
    if (t_place == Place::outside) return false;
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

void released(const void* what)
{
    const Paused paused;
    const Guard  lock(state().guard);
    state().held.erase(what);
}

std::map<std::string, std::size_t> held()
{
    const Guard                        lock(state().guard);
    std::map<std::string, std::size_t> kinds;
    for (const auto& [what, kind] : state().held) ++kinds[kind];
    return kinds;
}

}  // namespace rig
