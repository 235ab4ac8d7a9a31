/** @file options.cpp  Declares the options and refuses those that do not go together. */
#include "options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <sstream>

#include "suggestion.h"
#include "wrapped.h"

namespace qvoxasync {
namespace {

constexpr char kFooter[] =
    "Without --download, --version-report or --setup-link, updates the agent from the package that the BMC holds.\n\n"
    "Examples:\n"
    "  qvoxa-sync --version-report           which versions the BMC holds and this host has\n"
    "  qvoxa-sync --silent --exit-code       what a timer runs\n"
    "  qvoxa-sync --download /var/tmp        the package alone; nothing is installed\n"
    "Exit status: 0 done, or nothing to update; 1 failed; 2 wrong usage; 3 bad signature; 4 not root; 5 not "
    "downloaded; 6 another instance; 7 unsafe file or directory; 8 started from .update; 9 no link to the BMC; "
    "10 no common TLS version; 11 result not written; 12 could not compare; 14 out of memory; with --exit-code also "
    "13 nothing to update. See qvoxa-sync(1).";

struct Given {
    bool         report = false;
    bool         link   = false;
    CLI::Option *silent, *force, *arguments, *download, *versionReport, *setupLink, *exitCode, *json;
};

void declare(CLI::App& app, Options& options, Given& given)
{
    app.set_version_flag("--version", "qvoxa-sync " QVOXA_SYNC_VERSION);
    app.footer(kFooter);
    given.silent = app.add_flag("--silent", options.silent, "update unattended, when the BMC's package is newer");
    given.force =
        app.add_flag("--force", options.force, "uninstall, then install the BMC's package, whatever its version");
    given.arguments     = app.add_option("--install-args", options.installArguments,
                                         "more arguments for the installer, as the shell takes them");
    given.download      = app.add_option("--download", options.directory, "download the package to this directory");
    given.versionReport = app.add_flag("--version-report", given.report, "tell available and installed version");
    given.setupLink     = app.add_flag("--setup-link", given.link, "switch the link to the BMC on and set it up");
    given.json          = app.add_flag("--json", options.json, "print one JSON document; other lines go to stderr");
    given.exitCode      = app.add_flag("--exit-code", options.exitCode, "exit with 13 when there is nothing to update");
}

bool is(const CLI::Option* option)
{
    return option->count() > 0;
}

void refuseTogether(const CLI::Option* one, const CLI::Option* other)
{
    if (is(one) && is(other)) throw wrongUsage(one->get_name() + " does not go with " + other->get_name());
}

void refuseContradictions(const Options& options, const Given& given)
{
    const CLI::Option* actions[] = {given.download, given.versionReport, given.setupLink};
    for (const CLI::Option* action : actions) {
        for (const CLI::Option* other : actions)
            if (action != other) refuseTogether(action, other);
        for (const CLI::Option* ofUpdate : {given.silent, given.force, given.arguments})
            refuseTogether(action, ofUpdate);
    }
    refuseTogether(given.versionReport, given.exitCode);
    refuseTogether(given.setupLink, given.exitCode);
    if (is(given.download) && options.directory.empty()) throw wrongUsage("--download needs a directory");

    const bool unattended = options.silent || options.force;
    if (is(given.arguments) && !unattended)
        throw wrongUsage("--install-args needs --silent or --force", "otherwise the installer asks");
    if (options.action == Action::update && options.json && !unattended)
        throw wrongUsage("--json needs --silent or --force", "otherwise the installer talks on standard output");
}

Failure parseFailure(const CLI::App& app, const CLI::ParseError& error)
{
    const auto unknown = app.remaining();
    if (unknown.empty()) return wrongUsage(error.what());
    std::vector<std::string> known;
    for (const CLI::Option* option : app.get_options())
        for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
    const std::string meant = qvtools::nearest(unknown.front().substr(0, unknown.front().find('=')), known);
    const std::string what  = "unknown option '" + unknown.front() + '\'';
    return meant.empty() ? wrongUsage(what) : wrongUsage(what, "did you mean '" + meant + "'?");
}

}  // namespace

bool parse(int argc, const char* const* argv, Options& options)
{
    CLI::App app{"Updates the Torvo Service Module from the package that this server's BMC holds.", "qvoxa-sync"};
    Given    given{};
    declare(app, options, given);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& done) {
        std::ostringstream text;
        app.exit(done, text, text);
        std::fputs(qvtools::wrapped(text.str()).c_str(), stdout);
        return false;
    } catch (const CLI::ParseError& e) {
        throw parseFailure(app, e);
    }
    if (is(given.download)) options.action = Action::download;
    if (given.report) options.action = Action::versionReport;
    if (given.link) options.action = Action::setupLink;
    refuseContradictions(options, given);
    return true;
}

}  // namespace qvoxasync
