/** @file main.cpp  qvoxa-sync: keeps the agent current from the package that the BMC holds. */
#include <cstdio>
#include <exception>
#include <optional>

#include "actions.h"
#include "environment.h"
#include "interrupts.h"
#include "process.h"
#include "report.h"

namespace qvoxasync {
namespace {

Result performHere(const Options& options, const char* program)
{
    // With --json the library's lines, and those of an uninstaller, make room for the document.
    std::optional<qvtools::StdoutToStderr> diverted;
    if (options.json) diverted.emplace();
    const Environment environment(options.action, program);
    return perform(options);
}

int succeed(const Options& options, const Result& result)
{
    const bool       nothing = result.status == kStatusNothingToDo;
    const ExitStatus exit    = nothing && options.exitCode ? kExitNothingToDo : kExitOk;
    if (options.json) {
        printDocument(options, nothing ? "nothing-to-do" : result.outcome, result.status, exit, result.facts, nullptr);
    } else if (options.action == Action::versionReport) {
        finishOutput();  // the lines are the result here; elsewhere an update counts, read or not
    }
    return exit;
}

int fail(const Options& options, const Failure& failure, const nlohmann::ordered_json& facts)
try {
    report(failure);
    if (options.json && failure.exit() != kExitOutput)
        printDocument(options, "failed", failure.status().value_or(0), failure.exit(), facts, &failure);
    return failure.exit();
} catch (const Failure& unwritten) {
    report(unwritten);
    return failure.exit();
}

int run(int argc, const char* const* argv)
{
    Options options;
    Result  result;
    try {
        if (!parse(argc, argv, options)) {
            finishOutput();
            return kExitOk;
        }
        result = performHere(options, argc > 0 ? argv[0] : "");
        if (result.status != 0 && result.status != kStatusNothingToDo)
            throw libraryFailure(options.action, result.status, result.reason);
        return succeed(options, result);
    } catch (const Failure& failure) {
        return fail(options, failure, result.facts);
    }
}

}  // namespace
}  // namespace qvoxasync

int main(int argc, char** argv)
{
    qvtools::settleProcess();
    qvoxasync::surviveBrokenPipes();
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // a log sees each line when it is said, and none twice or never
    try {
        return qvoxasync::run(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "qvoxa-sync: %s: try again\n", e.what());
        return qvoxasync::kExitFailed;
    }
}
