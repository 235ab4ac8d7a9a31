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
    if (haveCurl()) add(kCurl, coldCurl(port));
    if (haveSushy()) add(kSushy, coldSushy(port));
    if (haveRedfishtool()) add(kRedfishtool, coldRedfishtool(port));
    return sides;
}

}  // namespace

void measure(const Arguments& arguments)
{
    if (!arguments.word("--child").empty()) return child(arguments.word("--port"));
    const Bmc     bmc;
    const Outcome outcome = takeTurns(everybody(bmc.port()), arguments.effort(15), 1);
    report({"cold process: login, one GET, logout", "ms", 1, outcome.medians("ms")});
    report({"cold process, CPU time", "ms", 1, outcome.medians("cpuMs")});
    report({"cold process, peak memory", "MiB", 1, outcome.medians("peakMib")});
}

}  // namespace bench
