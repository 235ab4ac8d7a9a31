/** @file main.cpp  The program: command line, signals, and the client of a running simulator's control socket. */
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <sstream>

#include "Control.h"
#include "Link.h"
#include "Support.h"
#include "torvosim.h"
#include "wrapped.h"

namespace {

using torvosim::Options;

// As the tools of the host have them.
constexpr int kExitFailed   = 1;
constexpr int kExitUsage    = 2;
constexpr int kExitNoAnswer = 3;

constexpr char kLinkName[]   = "torvousb0";
constexpr int  kMostSessions = 10000;

struct CommandLine {
    Options                  options;
    std::string              generation = "new";
    std::string              readyFile;
    std::string              configFile;
    std::string              ctlSocket;
    std::vector<std::string> ctlWords;
    unsigned                 ctlTimeout = 10;
    std::vector<std::string> facts;
    CLI::Option*             netns    = nullptr;
    std::string              linkName = kLinkName;
};

void addRunOptions(CLI::App& app, CommandLine& line)
{
    Options& o = line.options;
    app.add_option("--https-address", o.httpsAddresses, "Address to serve HTTPS on; repeatable [127.0.0.1 and ::1]");
    app.add_option("--https-port", o.httpsPort, "HTTPS port; 0: a free one of four digits, 443 with --netns [0]");
    line.netns = app.add_option("--netns", o.linkNamespace,
                                "Put the BMC at the far end of a link, as 169.254.1.1 in a network namespace of its "
                                "own, with this name if there is one. Needs root")
                     ->expected(0, 1)
                     ->excludes("--https-address");
    app.add_option("--netns-link", line.linkName, "Name of this end of the link")
        ->capture_default_str()
        ->needs("--netns");
    const CLI::IsMember versions({"1.0", "1.1", "1.2", "1.3"});
    app.add_option("--tls-min", o.tlsMin, "Oldest TLS version, 1.0 to 1.3 [1.2]")->check(versions);
    app.add_option("--tls-max", o.tlsMax, "Newest TLS version, 1.0 to 1.3 [1.3]")->check(versions);
    app.add_option("--state-dir", o.stateDir,
                   "Where sockets, keys and uploads go [a directory below $TMPDIR, removed at the end]");
    app.add_option("--ipmi-unix", o.ipmiUnix, "Path of the IPMI socket [ipmi.sock in the state directory]");
    app.add_option("--ipmi-tcp", o.ipmiTcp, "host:port for IPMI over TCP as well");
    app.add_option("--control-socket", o.controlSocket,
                   "Path of the control socket [control.sock in the state directory]");
    app.add_option("--token-key", o.tokenKeyFile, "File with the key of login tokens [made new]")
        ->check(CLI::ExistingFile);
    app.add_option("--mockup", o.mockupDir, "Tree of index.json files to serve instead of the built-in one")
        ->check(CLI::ExistingDirectory);
    app.add_option("--package-dir", o.packageDir, "Files to serve below /software/oxa/")->check(CLI::ExistingDirectory);
    app.add_option("--open-prefix", o.openPrefixes,
                   "Paths that need no session, beside /test and /software; repeatable");
    app.add_option("--generation", line.generation, "BMC generation, new or old [new]")
        ->check(CLI::IsMember({"new", "old"}));
    app.add_option("--session-limit", o.sessionLimit, "Sessions at a time [8]")->check(CLI::Range(0, kMostSessions));
    app.add_option("--session-timeout", o.sessionTimeoutSeconds, "Idle seconds that end a session; 0: never [1800]");
    app.add_option("--token-logins", o.loginsPerToken, "Logins that one token is good for; 0: any number [1]");
    app.add_flag("!--delete-no-body", o.sessionDeleteBody,
                 "DELETE of a session answers 204 instead of 200 with a body");
    app.add_option("--event-interval", o.eventIntervalMs, "Milliseconds between events on a stream; 0: none [0]");
    app.add_option("--root-password", o.rootPassword, "Password of the BMC user root [simulator]");
    app.add_option("--set", line.facts, "FACT=VALUE, as the control word set takes it; repeatable");
    app.add_option("--control", o.controlLines, "A control line to carry out at the start; repeatable");
    app.add_option("--trace", o.trace, "File for the trace of all traffic; - for standard output");
    app.add_option("--ready-file", line.readyFile, "JSON file written when everything listens");
    app.add_option("--write-config", line.configFile, "Reference-platform configuration file to write");
}

void addFacts(CommandLine& line)
{
    for (const std::string& fact : line.facts) {
        const auto equals = fact.find('=');
        if (equals == std::string::npos) throw std::invalid_argument("--set " + fact + ": it is FACT=VALUE");
        line.options.controlLines.push_back(
            torvosim::joinWords({"set", fact.substr(0, equals), fact.substr(equals + 1)}));
    }
}

void printSummary(const torvosim::Simulator& simulator, const CommandLine& line)
{
    for (const std::string& address : simulator.httpsAddresses()) {
        const bool v6 = address.find(':') != std::string::npos;
        std::printf("HTTPS    https://%s%s%s:%u/redfish/v1\n", v6 ? "[" : "", address.c_str(), v6 ? "]" : "",
                    unsigned{simulator.httpsPort()});
    }
    if (!line.options.linkName.empty())
        std::printf("Link     %s: this end, down until it is set up\n", line.options.linkName.c_str());
    std::printf("IPMI     unix:%s\n", simulator.ipmiUnixPath().c_str());
    if (!simulator.ipmiTcp().empty()) std::printf("IPMI     tcp:%s\n", simulator.ipmiTcp().c_str());
    std::printf("Control  torvosim ctl --socket %s help\n", simulator.controlPath().c_str());
    std::fflush(stdout);
}

int serve(CommandLine& line)
{
    addFacts(line);
    if (line.netns->count() > 0) line.options.linkName = line.linkName;
    line.options.newGeneration = line.generation == "new";

    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGTERM);
    ::sigaddset(&signals, SIGINT);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    const torvosim::Descriptor arrived(::signalfd(-1, &signals, SFD_CLOEXEC));

    torvosim::Simulator simulator(line.options);
    simulator.start();
    if (!line.configFile.empty()) torvosim::writeFile(line.configFile, simulator.platformConfig());
    printSummary(simulator, line);
    if (!line.readyFile.empty()) torvosim::writeFile(line.readyFile, simulator.readyJson() + '\n');

    pollfd ends[] = {{arrived.get(), POLLIN, 0}, {simulator.stopDescriptor(), POLLIN, 0}};
    while (::poll(ends, 2, -1) <= 0) {
    }
    simulator.stop();
    return 0;
}

int sendControl(const CommandLine& line)
{
    const std::string answer = torvosim::controlOverSocket(line.ctlSocket, line.ctlWords, line.ctlTimeout);
    std::printf("%s\n", answer.c_str());
    return answer.find("\"ok\":true") != std::string::npos ? 0 : 1;
}

int complain(const std::string& text, int status)
{
    std::fprintf(stderr, "torvosim: %s\n", text.c_str());
    return status;
}

constexpr char kExamples[] =
    "Examples:\n"
    "  torvosim --ready-file ready.json --write-config bmc.cfg &\n"
    "  QVPLATFORM_CONFIG=bmc.cfg qvrfctl discover\n"
    "  export TORVOSIM_CONTROL=$(jq -r .control ready.json)\n"
    "  torvosim ctl status 503 GET /redfish/v1/Systems 1\n\n";

/** What is no fault: --help and --version. */
int tell(const CLI::App& app, const CLI::ParseError& asked)
{
    std::ostringstream text;
    app.exit(asked, text, text);
    std::fputs(qvtools::wrapped(text.str()).c_str(), stdout);
    return 0;
}

int run(int argc, char** argv)
{
    CommandLine line;
    CLI::App    app("torvosim: a BMC on a desk. Serves Redfish over HTTPS and IPMI over sockets until SIGTERM.",
                    "torvosim");
    app.set_version_flag("--version", "torvosim " TORVOSIM_VERSION);
    app.footer(std::string(kExamples) + "Control words:\n" + torvosim::controlHelp());
    addRunOptions(app, line);
    CLI::App* ctl = app.add_subcommand("ctl", "Sends control words to a running simulator");
    ctl->add_option("--socket", line.ctlSocket, "Its control socket")->envname("TORVOSIM_CONTROL")->required();
    ctl->add_option("--timeout", line.ctlTimeout, "Seconds to wait for the answer [10]")->check(CLI::Range(1, 3600));
    ctl->add_option("words", line.ctlWords, "Control words; help lists them")->required();
    ctl->positionals_at_end();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return tell(app, error);
        return complain(error.what() + std::string(" (torvosim --help tells more)"), kExitUsage);
    }
    return ctl->parsed() ? sendControl(line) : serve(line);
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const torvosim::NoAnswer& error) {
        return complain(error.what(), kExitNoAnswer);
    } catch (const std::invalid_argument& error) {
        return complain(error.what(), kExitUsage);
    } catch (const std::exception& error) {
        return complain(error.what(), kExitFailed);
    }
}
