/** @file ServerPower.h  The server's power: what it is now, and the way to what a reset asks for. */
#ifndef TORVOSIM_SERVERPOWER_H
#define TORVOSIM_SERVERPOWER_H

#include <chrono>
#include <deque>
#include <string>
#include <string_view>

#include "Support.h"

namespace torvosim {

class ServerPower {
public:
    enum class Outcome { accepted, unknownType, alreadySo };

    /** Sets out for what @p resetType of ComputerSystem.Reset asks for; empty: the service's own choice. */
    Outcome reset(const std::string& resetType);
    /** "On", "PoweringOff", "Off" or "PoweringOn", as the time has it. */
    std::string state();
    /** When the server last came out of a reset, seconds since the epoch. */
    std::int64_t lastReset();
    /** Whether the server has come up since this was asked last. */
    bool cameUp();

    /** How long PoweringOff and PoweringOn take. */
    void setTime(unsigned milliseconds);
    /** The operating system does not hear the next @p count requests to shut down. */
    void ignore(unsigned count);

private:
    using Clock = std::chrono::steady_clock;
    struct Step {
        Clock::time_point when;
        std::string_view  state;
    };
    struct State {
        std::string_view now = "On";
        std::deque<Step> ahead;
        std::int64_t     lastReset = 1767225600;  // 2026-01-01: what nobody has reset yet looks the same every time
        bool             cameUp    = false;
        unsigned         timeMs    = 1000;
        unsigned         ignored   = 0;
    };
    static void goOn(State& s);
    static void setOut(State& s, bool down, bool up);

    Guarded<State> state_;
};

}  // namespace torvosim

#endif
