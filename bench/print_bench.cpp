/** @file print_bench.cpp  What the debug print costs while it is switched off. */
#include <cstdlib>
#include <fstream>

#include "process.h"
#include "sides.h"
#include "trace.h"

namespace bench {

namespace {

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

}  // namespace

void measure(const Arguments&)
{
    const ScratchDirectory scratch;
    const std::string      config = scratch.path() + "/platform.cfg";
    std::ofstream(config) << "suptlib.loglevel=off\n";
    ::setenv("QVPLATFORM_CONFIG", config.c_str(), 1);
    static constexpr char op[] = "QVRFUTILSendRequest";
    __SysDbgPrint4("%s : the first line reads the settings.\n", op);
    const double line  = nanosecondsOf([] { __SysDbgPrint4("%s : Http Code = %d\n", op, 200); });
    const double scope = nanosecondsOf([] { const qvrf::TraceScope trace(op); });
    report({"debug print off, a line", "ns", 2, {{kLibrary, line}}, Limit::value, 20});
    report({"debug print off, entry and exit of a scope", "ns", 2, {{kLibrary, scope}}, Limit::value, 40});
}

}  // namespace bench
