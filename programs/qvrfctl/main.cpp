/** @file main.cpp  qvrfctl: the library's Redfish client and BMC discovery on the command line. */
#include <signal.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>
#include <vector>

#include "commands.h"
#include "day/settings.h"
#include "librarylog.h"
#include "process.h"
#include "suggestion.h"
#include "wrapped.h"

namespace qvrfctl {
namespace {

constexpr char kFooter[] =
    "Examples:\n"
    "  qvrfctl discover                      what the BMC says about itself\n"
    "  qvrfctl get /redfish/v1/Systems       read a resource\n"
    "  qvrfctl doctor                        what is wrong when nothing works\n"
    "  qvrfctl help user                     how to manage users\n"
    "\n"
    "Exit status: 0 done; 1 the library or the BMC failed; 2 wrong usage, nothing was sent; 3 no answer over IPMI; "
    "4 no Redfish session; 5 HTTP status of 400 or above; 6 the result could not be written; "
    "7 carried out, but the answer did not fit; 8 time was over, or the event stream was; "
    "9 no USB NIC, or the BMC does not answer on it; from 11 on the step of doctor that failed. See qvrfctl(1).";

struct Parsed {
    CLI::App                 app{"Talks to this server's BMC: Redfish requests, users, discovery.", "qvrfctl"};
    Options                  options;
    Action                   action;
    std::vector<std::string> helpOn;
    std::string              note;  ///< about the file of settings
    std::string              told;  ///< the help, or the version, that was all there was to do
};

// ---- wrong command lines ----------------------------------------------------------------------------------------

/** The innermost command that the command line names. */
const CLI::App& namedIn(const CLI::App& app)
{
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? app : namedIn(*parsed.front());
}

std::vector<std::string> commandNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* sub : app.get_subcommands({})) names.push_back(sub->get_name());
    return names;
}

std::vector<std::string> optionNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* part = &app; part != nullptr; part = part->get_parent())
        for (const CLI::Option* option : part->get_options())
            for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    return names;
}

std::string callOf(const CLI::App& app)
{
    return app.get_parent() == nullptr ? "" : callOf(*app.get_parent()) + ' ' + app.get_name();
}

/** The failure that a word is which nobody expected, with the one that may have been meant. */
Failure unknownWord(const CLI::App& app, const std::string& word)
{
    const CLI::App&   at       = namedIn(app);
    const bool        isOption = word.front() == '-';
    const auto        known    = isOption ? optionNames(at) : commandNames(at);
    const std::string meant    = qvtools::nearest(word.substr(0, word.find('=')), known);
    const char*       kind     = isOption ? "option" : known.empty() ? "word" : "command";
    return wrongUsage(std::string("unknown ") + kind + " '" + word + "'",
                      meant.empty() ? "see 'qvrfctl help" + callOf(at) + "'" : "did you mean '" + meant + "'?");
}

Failure parseFailure(const CLI::App& app, const CLI::ParseError& error)
{
    for (const std::string& word : app.remaining(true))
        if (!word.empty() && word != "--") return unknownWord(app, word);
    return wrongUsage(error.what(), "see 'qvrfctl help" + callOf(namedIn(app)) + "'");
}

// ---- the command line -------------------------------------------------------------------------------------------

std::string helpOn(CLI::App& app, const std::vector<std::string>& words)
{
    CLI::App* about = &app;
    for (const std::string& word : words) {
        const auto names = commandNames(*about);
        if (std::find(names.begin(), names.end(), word) == names.end())
            throw wrongUsage("no help: there is no command '" + word + "'",
                             "did you mean '" + qvtools::nearest(word, names) + "'?");
        about = about->get_subcommand(word);
    }
    std::string call = about->get_parent() != nullptr ? "qvrfctl" + callOf(*about->get_parent()) : "";
    return qvtools::wrapped(about->help(call));
}

/** @return false when all there was to do is done (help, --version); throws Failure for a wrong command line */
bool parse(Parsed& parsed, int argc, char** argv)
{
    CLI::App& app = parsed.app;
    app.set_version_flag("--version", "qvrfctl " QVRFCTL_VERSION);
    app.footer(kFooter);
    app.fallthrough();  // common options may follow the command
    app.require_subcommand(0, 1);
    parsed.note = readSettings(parsed.options);  // the command line wins
    declareOptions(Arguments(app), parsed.options);
    std::vector<std::pair<CLI::App*, Action>> actions;
    for (const Command& command : commands()) {
        CLI::App* sub = app.add_subcommand(command.name, command.summary);
        sub->footer(std::string("Example: ") + command.example);
        actions.emplace_back(sub, command.declare(Arguments(*sub)));
    }
    CLI::App* help = app.add_subcommand("help", "tell how a command is used");
    help->add_option("COMMAND", parsed.helpOn, "the command, and its own command where it has some");
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& done) {
        std::ostringstream text;
        app.exit(done, text, text);
        parsed.told = qvtools::wrapped(text.str());
        return false;
    } catch (const CLI::ParseError& error) {
        throw parseFailure(app, error);
    }
    if (help->parsed()) parsed.told = helpOn(app, parsed.helpOn);
    if (help->parsed()) return false;
    for (auto& [sub, action] : actions)
        if (sub->parsed()) parsed.action = std::move(action);
    if (!parsed.action) throw wrongUsage("a command is missing", "see 'qvrfctl --help'");
    return true;
}

/** With --verbose: what the library itself had to say about a failure. */
void tellLibraryErrors(const Options& options)
{
    if (!options.style.verbose) return;
    for (const std::string& line : libraryErrors())
        std::fprintf(stderr, "qvrfctl: library: %s\n", harmlessLine(line).c_str());
}

/** @return exit status */
int run(int argc, char** argv)
{
    Parsed                  parsed;
    std::unique_ptr<Output> output;
    try {
        const bool hasCommand = parse(parsed, argc, argv);
        output                = std::make_unique<Output>(parsed.options.style);
        if (!parsed.note.empty()) output->note(parsed.note);
        output->write(parsed.told);
        output->flush();
        if (!hasCommand) return kExitOk;
        const Target target = targetOf(parsed.options);
        Interrupts   interrupts;
        parsed.action({parsed.options, target, *output, interrupts});
        output->flush();
        return kExitOk;
    } catch (const Failure& failure) {
        tellLibraryErrors(parsed.options);
        report(failure, parsed.options.style.json && (!output || !output->hasDocument()));
        return failure.exit();
    }
}

}  // namespace
}  // namespace qvrfctl

int main(int argc, char** argv)
{
    qvtools::settleProcess();
    // "| head" must not end the program before its session is closed: the write fails instead.
    ::signal(SIGPIPE, SIG_IGN);
    try {
        return qvrfctl::run(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "qvrfctl: %s\n", qvrfctl::harmlessLine(e.what()).c_str());
        return qvrfctl::kExitLibrary;
    }
}
