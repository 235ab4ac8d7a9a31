/**
 * @file body_bench.cpp  A body of 64 MB into a caller's buffer: time and peak memory.
 *
 * Three sides: libcurl ending with its accumulator; libcurl copying from there into a caller's buffer, which is what
 * the library's contract asks for; the library. Each transfer has a process of its own, in changing order.
 */
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>

#include "bmc.h"
#include "figures.h"
#include "qvrfutil.h"
#include "rawcurl.h"

namespace {

using namespace bench;

constexpr u32      kBodySize  = 64u << 20;
constexpr unsigned kRounds    = 15;
constexpr char     kLibrary[] = "library", kRaw[] = "raw", kRawCopy[] = "raw-copy";

/** The caller's: not touched before the answer goes in. */
using Buffer = qvrf::MallocOwned<astring>;

std::string pathOf(u32 size)
{
    return "/test/bytes/" + std::to_string(size);
}

void byLibrary(u32 size, astring* buffer)
{
    u32       length = 0;
    u16       http   = 0;
    const s32 status = QVRFUTILSendRequest(pathOf(size).c_str(), nullptr, &buffer, size + 1, &length,
                                           QVRFUTIL_REQUEST_GET, &http, FALSE, nullptr, nullptr);
    if (status != 0 || http != 200 || length != size + 1) throw std::runtime_error("the library's GET failed");
}

void byCurl(const Agent& agent, const std::string& port, u32 size, astring* buffer)
{
    RawAnswer answer;
    rawGet({port, pathOf(size), agent.token()}, answer);
    if (answer.http != 200 || answer.body.size != size) throw std::runtime_error("libcurl's GET failed");
    if (buffer != nullptr) std::memcpy(buffer, answer.body.bytes, size + 1);
}

/** One transfer after a small one, which has everything loaded. */
int child(const std::string& side, const std::string& port)
{
    const Agent agent(port);
    const auto  transfer = [&](u32 size, astring* buffer) {
        if (side == kLibrary)
            byLibrary(size, buffer);
        else
            byCurl(agent, port, size, side == kRawCopy ? buffer : nullptr);
    };
    const Buffer buffer(static_cast<astring*>(std::malloc(kBodySize + 1)));
    if (!buffer) throw std::bad_alloc();
    transfer(1, std::make_unique<astring[]>(2).get());
    const double    before    = memoryKib("VmRSS");
    const double    cpuBefore = cpuSeconds();
    const Stopwatch watch;
    transfer(kBodySize, buffer.get());
    tell("seconds", watch.seconds());
    tell("cpu", cpuSeconds() - cpuBefore);
    tell("peak", memoryKib("VmHWM"));
    tell("growth", memoryKib("VmHWM") - before);
    return 0;
}

struct Side {
    Samples milliseconds, cpuMilliseconds, growthMib, peakMib;
};

void compare()
{
    const Bmc                   bmc;
    std::map<std::string, Side> sides;
    std::vector<std::string>    order = {kLibrary, kRaw, kRawCopy};
    std::minstd_rand            random(1);
    for (unsigned i = 0; i < kRounds; ++i) {
        std::shuffle(order.begin(), order.end(), random);
        for (const std::string& name : order) {
            Findings found = measureInChild({"--child", name, bmc.port()});
            sides[name].milliseconds.add(found.at("seconds") * 1e3);
            sides[name].cpuMilliseconds.add(found.at("cpu") * 1e3);
            sides[name].growthMib.add(found.at("growth") / 1024);
            sides[name].peakMib.add(found.at("peak") / 1024);
        }
    }
    const Side &library = sides[kLibrary], &raw = sides[kRaw], &copy = sides[kRawCopy];
    report({"64 MB body, raw copies to the caller's buffer too", copy.milliseconds.median(),
            library.milliseconds.median(), "ms", 1, Row::Limit::ratio, 1.05});
    report({"64 MB body, the same in CPU time of the process", copy.cpuMilliseconds.median(),
            library.cpuMilliseconds.median(), "ms", 1});
    report({"64 MB body, raw ends with its accumulator", raw.milliseconds.median(), library.milliseconds.median(), "ms",
            1});
    remark(
        "64 MB body: the second comparison has no target: what the library takes longer there is the one copy that "
        "its contract asks for, into memory that nobody touched before");
    constexpr double kBodyMib = kBodySize / 1048576.0;
    report({"64 MB body, memory at the peak above the idle process", copy.growthMib.median(),
            library.growthMib.median(), "MiB", 1, Row::Limit::value, 2 * kBodyMib + 8});
    remark("64 MB body: peak of the whole process: raw %.1f MiB, raw with copy %.1f MiB, library %.1f MiB",
           raw.peakMib.median(), copy.peakMib.median(), library.peakMib.median());
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        if (argc == 4 && std::strcmp(argv[1], "--child") == 0) return child(argv[2], argv[3]);
        compare();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "body_bench: %s\n", error.what());
        return 1;
    }
}
