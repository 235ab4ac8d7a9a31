/**
 * @file cold_bench.cpp  From nothing to an answer and away: a process that logs in, gets one resource and logs out.
 *
 *   cold_bench [--effort PERCENT]
 */
#include <stdexcept>

#include "bmc.h"
#include "coldpath.h"
#include "outside.h"
#include "qvrfutil.h"
#include "sides.h"

namespace bench {

namespace {

constexpr char kTool[] = "qvrfctl";

void child(const std::string& port)
{
    const Agent    agent(port);
    static astring buffer[65536];
    astring*       body   = buffer;
    u32            length = 0;
    u16            http   = 0;
    if (QVRFUTILSendRequest(kColdPath, nullptr, &body, sizeof buffer, &length, QVRFUTIL_REQUEST_GET, &http, FALSE,
                            nullptr, nullptr) != 0 ||
        http != 200)
        throw std::runtime_error("the library's GET failed");
}

Sides everybody(const std::string& port)
{
    Sides      sides;
    const auto add = [&](const char* name, Words words) {
        sides.push_back({name, [words] { return timedProcess(words); }});
    };
    add(kLibrary, {self(), "--child", kLibrary, "--port", port});
    add(kRaw, {sibling("cold_raw"), port});
    add(kTool, {sibling("qvrfctl"), "--address", "127.0.0.1", "--port", port, "get", kColdPath});
    if (haveCurl()) add(kCurl, coldCurl(port));
    if (haveSushy()) add(kSushy, coldSushy(port));
    if (haveRedfishtool()) add(kRedfishtool, coldRedfishtool(port));
    return sides;
}

/** A program around the library, and the tool: @p most, where there is one, is the tool's. */
void reportBoth(const Outcome& outcome, const std::string& what, const char* figure, const char* unit, double most)
{
    Figures      sides = outcome.medians(figure);
    const double tool  = sides.at(kTool);
    sides.erase(kTool);
    report({"cold process: login, one GET, logout" + what, unit, 1, sides});
    report({"cold process: qvrfctl get" + what,
            unit,
            1,
            {{kRaw, sides.at(kRaw)}, {kLibrary, tool}},
            most > 0 ? Limit::ratio : Limit::none,
            most});
}

}  // namespace

void measure(const Arguments& arguments)
{
    if (!arguments.word("--child").empty()) return child(arguments.word("--port"));
    const Bmc     bmc;
    const Outcome outcome = takeTurns(everybody(bmc.port()), arguments.effort(15), 1);
    reportBoth(outcome, "", "ms", "ms", 1.25);
    reportBoth(outcome, ", CPU time", "cpuMs", "ms", 0);
    reportBoth(outcome, ", peak memory", "peakMib", "MiB", 0);
}

}  // namespace bench
