/** @file main.cpp  qvrfctl: the library's Redfish client and BMC discovery on the command line. */
#include <signal.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "commands.h"
#include "process.h"

namespace qvrfctl {
namespace {

constexpr char kFooter[] =
    "Exit status: 0 done; 1 the library or the BMC failed; 2 wrong usage, nothing was sent; 3 no answer over IPMI;\n"
    "4 no Redfish session; 5 HTTP status of 400 or above; 6 the result could not be written;\n"
    "7 carried out, but the answer did not fit; 8 the event stream was over early;\n"
    "9 no USB NIC, or the BMC does not answer on it. See qvrfctl(1).";

struct Parsed {
    CLI::App app{"Talks to this server's BMC: Redfish requests, users, discovery.", "qvrfctl"};
    Options  options;
    Action   action;
};

/** @return false when all there was to do is done (--help, --version); throws Failure for a wrong command line */
bool parse(Parsed& parsed, int argc, char** argv)
{
    CLI::App& app = parsed.app;
    app.set_version_flag("--version", "qvrfctl " QVRFCTL_VERSION);
    app.footer(kFooter);
    app.fallthrough();  // common options may follow the command
    app.require_subcommand(0, 1);
    declareOptions(app, parsed.options);
    std::vector<std::pair<CLI::App*, Action>> actions;
    for (const Command& command : commands()) {
        CLI::App* sub = app.add_subcommand(command.name, command.summary);
        actions.emplace_back(sub, command.declare(*sub));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& done) {
        app.exit(done);
        return false;
    } catch (const CLI::ParseError& e) {
        throw wrongUsage(e.what(), "see 'qvrfctl --help'");
    }
    for (auto& [sub, action] : actions)
        if (sub->parsed()) parsed.action = std::move(action);
    if (!parsed.action) throw wrongUsage("a command is missing", "see 'qvrfctl --help'");
    return true;
}

/** @return exit status */
int run(int argc, char** argv)
{
    Parsed                  parsed;
    std::unique_ptr<Output> output;
    try {
        if (!parse(parsed, argc, argv)) return kExitOk;
        output              = std::make_unique<Output>(parsed.options.style);
        const Target target = targetOf(parsed.options);
        Interrupts   interrupts;
        parsed.action({parsed.options, target, *output, interrupts});
        output->flush();
        return kExitOk;
    } catch (const Failure& failure) {
        report(failure, parsed.options.style.json && (!output || !output->hasDocument()));
        return failure.exit();
    }
}

}  // namespace
}  // namespace qvrfctl

int main(int argc, char** argv)
{
    qvtools::beginProcess();
    // "| head" must not end the program before its session is closed: the write fails instead.
    ::signal(SIGPIPE, SIG_IGN);
    try {
        return qvrfctl::run(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "qvrfctl: %s\n", e.what());
        return qvrfctl::kExitLibrary;
    }
}
