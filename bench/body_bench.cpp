/**
 * @file body_bench.cpp  A body of 64 MB into memory: time and peak memory.
 *
 * libcurl ends with its accumulator, or copies from there into a caller's buffer, which is what the library's contract
 * asks for; each transfer has a process of its own, in changing order. The curl command keeps nothing in memory.
 */
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bmc.h"
#include "gets.h"
#include "outside.h"
#include "sides.h"

namespace bench {

namespace {

constexpr u32  kBodySize  = 64u << 20;
constexpr char kRawCopy[] = "raw-copy";

/** The caller's: not touched before the answer goes in. */
using Buffer = qvrf::MallocOwned<astring>;

void transfer(const std::string& side, const std::string& port, const Agent& agent, const Bytes& bytes, astring* buffer)
{
    if (side == kLibrary) return getByLibrary(bytes, buffer);
    RawAnswer answer;
    rawGet({port, bytes.path, agent.token()}, answer);
    check(answer, bytes.size);
    if (side == kRawCopy) std::memcpy(buffer, answer.body.bytes, bytes.size + 1);
}

/** One transfer after a small one, which has everything loaded. */
void child(const std::string& side, const std::string& port)
{
    const Agent  agent(port);
    const Buffer buffer(static_cast<astring*>(std::malloc(kBodySize + 1)));
    if (!buffer) throw std::bad_alloc();
    transfer(side, port, agent, Bytes(1), std::make_unique<astring[]>(2).get());
    const double    before    = memoryKib("VmRSS");
    const double    cpuBefore = cpuSeconds();
    const Stopwatch watch;
    transfer(side, port, agent, Bytes(kBodySize), buffer.get());
    tell("ms", watch.seconds() * 1e3);
    tell("cpuMs", (cpuSeconds() - cpuBefore) * 1e3);
    tell("peakMib", memoryKib("VmHWM") / 1024);
    tell("growthMib", (memoryKib("VmHWM") - before) / 1024);
}

Sides everybody(const std::string& port, const Agent& agent)
{
    Sides sides;
    for (const char* const name : {kLibrary, kRaw, kRawCopy})
        sides.push_back({name, [=] { return findingsOf({self(), "--child", name, "--port", port}); }});
    const std::string path = Bytes(kBodySize).path;
    if (haveCurl()) {
        const Resource resource(port, path, agent.token());
        sides.push_back({kCurl, [=] { return timedProcess(curlCommand({"-H", resource.tokenLine, resource.url})); }});
    }
    if (haveSushy()) sides.push_back({kSushy, [=] { return findingsOf(sushyCommand(port, {"body", path})); }, 3});
    return sides;
}

/** @p figures with libcurl and its copy in the place of libcurl. */
Figures besideTheCopy(Figures figures)
{
    figures[kRaw] = figures.at(kRawCopy);
    figures.erase(kRawCopy);
    return figures;
}

Figures besideTheAccumulator(Figures figures)
{
    figures.erase(kRawCopy);
    return figures;
}

}  // namespace

void measure(const Arguments& arguments)
{
    if (const std::string side = arguments.word("--child"); !side.empty()) return child(side, arguments.word("--port"));
    const Bmc     bmc;
    const Agent   agent(bmc.port());
    const Outcome outcome = takeTurns(everybody(bmc.port(), agent), arguments.effort(15));
    report({"GET 64 MB, raw copies to the caller's buffer too", "ms", 1, besideTheCopy(outcome.medians("ms")),
            Limit::ratio, 1.05});
    report({"GET 64 MB, CPU time of the process, raw copies too", "ms", 1, besideTheCopy(outcome.medians("cpuMs"))});
    report({"GET 64 MB, raw ends with its accumulator", "ms", 1, besideTheAccumulator(outcome.medians("ms"))});
    constexpr double kBodyMib = kBodySize / 1048576.0;
    report({"GET 64 MB, memory above the idle process", "MiB", 1, besideTheAccumulator(outcome.medians("growthMib")),
            Limit::value, 2 * kBodyMib + 8});
    report({"GET 64 MB, peak memory of the process", "MiB", 1, besideTheAccumulator(outcome.medians("peakMib"))});
}

}  // namespace bench
