/** @file ServerPower.cpp  The server's power. */
#include "ServerPower.h"

#include <algorithm>
#include <ctime>

namespace torvosim {

namespace {

constexpr std::string_view kOn          = "On";
constexpr std::string_view kOff         = "Off";
constexpr std::string_view kPoweringOn  = "PoweringOn";
constexpr std::string_view kPoweringOff = "PoweringOff";

struct ResetRow {
    std::string_view type;
    bool             whenOff;  // possible with a server that is off; else with one that is on
    bool             down;
    bool             up;
    bool             asked;  // the operating system has to do it
};
constexpr ResetRow kResets[] = {
    {"On", true, false, true, false},
    {"ForceOn", true, false, true, false},
    {"ForceOff", false, true, false, false},
    {"GracefulShutdown", false, true, false, true},
    {"GracefulRestart", false, true, true, true},
    {"ForceRestart", false, true, true, false},
    {"PowerCycle", false, true, true, false},
    {"Nmi", false, false, false, false},
};

/** What a request means here and now: the button is pressed for another thing on a server that is off. */
std::string_view meaningOf(const std::string& type, bool off)
{
    if (type == "PushPowerButton") return off ? "On" : "GracefulShutdown";
    if (type.empty()) return off ? "On" : "ForceRestart";
    return type;
}

}  // namespace

void ServerPower::goOn(State& s)
{
    while (!s.ahead.empty() && s.ahead.front().when <= Clock::now()) {
        s.now = s.ahead.front().state;
        s.ahead.pop_front();
        if (s.now != kOn) continue;
        s.lastReset = std::max<std::int64_t>(std::time(nullptr), s.lastReset + 1);  // newer, however fast it was
        s.cameUp    = true;
    }
}

void ServerPower::setOut(State& s, bool down, bool up)
{
    s.ahead.clear();
    auto       when = Clock::now();
    const auto step = [&](std::string_view on, std::string_view then) {
        s.ahead.push_back({when, on});
        when += std::chrono::milliseconds(s.timeMs);
        s.ahead.push_back({when, then});
    };
    if (down) step(kPoweringOff, kOff);
    if (up) step(kPoweringOn, kOn);
    goOn(s);
}

ServerPower::Outcome ServerPower::reset(const std::string& resetType)
{
    return state_.with([&](State& s) {
        goOn(s);
        const std::string_view type = meaningOf(resetType, s.now == kOff);
        const auto*            row =
            std::find_if(std::begin(kResets), std::end(kResets), [&](const auto& r) { return r.type == type; });
        if (row == std::end(kResets)) return Outcome::unknownType;
        // On its way down it hears no second request, but whoever pulls the plug is heard.
        const bool possible =
            row->whenOff ? s.now == kOff || s.now == kPoweringOff : s.now == kOn || (s.now != kOff && !row->asked);
        if (!possible) return Outcome::alreadySo;
        if (row->asked && s.ignored > 0) {
            --s.ignored;
        } else if (row->down || row->up) {
            setOut(s, row->down, row->up);
        }
        return Outcome::accepted;
    });
}

std::string ServerPower::state()
{
    return state_.with([](State& s) {
        goOn(s);
        return std::string(s.now);
    });
}

std::int64_t ServerPower::lastReset()
{
    return state_.with([](State& s) {
        goOn(s);
        return s.lastReset;
    });
}

bool ServerPower::cameUp()
{
    return state_.with([](State& s) {
        goOn(s);
        return std::exchange(s.cameUp, false);
    });
}

void ServerPower::setTime(unsigned milliseconds)
{
    state_.with([&](State& s) { s.timeMs = milliseconds; });
}

void ServerPower::ignore(unsigned count)
{
    state_.with([&](State& s) { s.ignored = count; });
}

}  // namespace torvosim
