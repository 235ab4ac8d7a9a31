/** @file doctor.h  The examination of the path from host to BMC: a table of steps, and what each found. */
#ifndef QVRFCTL_DOCTOR_H
#define QVRFCTL_DOCTOR_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "linkstate.h"
#include "platform.h"
#include "session.h"
#include "webprobe.h"

namespace qvrfctl {

enum class Result { ok, warning, failed, skipped };

/** What a step found, and what to do about it. */
struct Verdict {
    Result      result;
    std::string finding;
    std::string advice;
};

Verdict ok(std::string finding);
Verdict warning(std::string finding, std::string advice);
Verdict failed(std::string finding, std::string advice);
/** Not looked at: not needed here, or not possible after what failed before. */
Verdict skipped(std::string why);

/** What is known so far. Each step adds to it, and takes from it what those before found. */
struct Evidence {
    Evidence(const Context& c, bool mayProbe) : context(c), probes(mayProbe), target(c.target) {}

    const Context& context;
    bool           probes;  ///< may do what changes something on the host

    qvtools::Configuration configuration;
    std::string            bmcDevice;        ///< as the configuration has it, "device:/dev/ipmi0"
    bool                   answers = false;  ///< over IPMI

    std::optional<Endpoint>   endpoint;  ///< of the web server
    std::optional<u8>         mode;
    std::string               interface;  ///< of the USB NIC; empty: there is none
    LinkState                 link;
    bool                      reached = false;  ///< over TCP
    WebAnswer                 root;
    std::optional<Generation> generation;
    Target                    target;  ///< what the session is opened for
    std::unique_ptr<Context>  own;
    std::unique_ptr<Session>  session;
};

/** Where the web server is behind the USB NIC, the link's state counts; else it is not looked at. */
bool needsLink(const Evidence& evidence);

struct Step {
    int         number;  ///< the exit status when it is the first that fails; scripts rely on it
    const char* key;
    const char* label;
    Verdict (*run)(Evidence&);
};

struct StepTable {
    const Step* first;
    const Step* last;
    const Step* begin() const noexcept { return first; }
    const Step* end() const noexcept { return last; }
};
StepTable doctorSteps() noexcept;

struct Finding {
    const Step* step;
    Verdict     verdict;
};

/** One verdict for each step, in their order. Of the steps that failed the first alone says what to do: the others'
 * trouble may be no more than its consequence. */
struct Diagnosis {
    std::vector<Finding> findings;
    bool                 overdue = false;  ///< a step still hangs on a thread of its own: end the process with _exit()

    const Finding* firstFailed() const;
    Json           document() const;
    std::string    text() const;
};

/** Walks through the table. Ends within 30 s, whatever does not answer. */
Diagnosis examine(const Context& context, bool probes);

const char* nameOf(Result result) noexcept;

// The steps: of the host, of the link to the BMC, of its web server, of what its users see.
Verdict checkConfiguration(Evidence& evidence);
Verdict checkLibraries(Evidence& evidence);
Verdict checkModule(Evidence& evidence);
Verdict checkDevice(Evidence& evidence);
Verdict checkPermission(Evidence& evidence);
Verdict checkFirmware(Evidence& evidence);
Verdict checkPassThrough(Evidence& evidence);
Verdict checkUsbNic(Evidence& evidence);
Verdict checkCarrier(Evidence& evidence);
Verdict checkAddresses(Evidence& evidence);
Verdict checkArp(Evidence& evidence);
Verdict checkTcp(Evidence& evidence);
Verdict checkTls(Evidence& evidence);
Verdict checkRoot(Evidence& evidence);
Verdict checkGeneration(Evidence& evidence);
Verdict checkToken(Evidence& evidence);
Verdict checkSession(Evidence& evidence);
Verdict checkEvents(Evidence& evidence);
Verdict checkClock(Evidence& evidence);
Verdict checkSessionsLeft(Evidence& evidence);
Verdict checkPackage(Evidence& evidence);
Verdict checkAgent(Evidence& evidence);
Verdict checkLeftovers(Evidence& evidence);

}  // namespace qvrfctl

#endif
