/** @file print_bench.cpp  What the debug print costs while it is switched off. */
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

#include "figures.h"
#include "process.h"
#include "trace.h"

namespace {

using namespace bench;

constexpr unsigned kCalls   = 2'000'000;
constexpr unsigned kBatches = 15;

template <class Call>
double nanosecondsOf(Call call)
{
    Samples nanoseconds;
    for (unsigned batch = 0; batch < kBatches; ++batch) {
        const Stopwatch watch;
        for (unsigned i = 0; i < kCalls; ++i) call();
        nanoseconds.add(watch.seconds() * 1e9 / kCalls);
    }
    return nanoseconds.median();
}

void measure()
{
    const ScratchDirectory scratch;
    const std::string      config = scratch.path() + "/platform.cfg";
    std::ofstream(config) << "suptlib.loglevel=off\n";
    ::setenv("QVPLATFORM_CONFIG", config.c_str(), 1);
    static constexpr char op[] = "QVRFUTILSendRequest";
    __SysDbgPrint4("%s : the first line reads the settings.\n", op);
    report({"debug print off, a line",
            {},
            nanosecondsOf([] { __SysDbgPrint4("%s : Http Code = %d\n", op, 200); }),
            "ns",
            2,
            Row::Limit::value,
            20});
    report({"debug print off, entry and exit of a scope",
            {},
            nanosecondsOf([] { const qvrf::TraceScope trace(op); }),
            "ns",
            2,
            Row::Limit::value,
            40});
}

}  // namespace

int main()
{
    try {
        measure();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "print_bench: %s\n", error.what());
        return 1;
    }
}
