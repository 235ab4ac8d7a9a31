/** @file commandLink.cpp  qvrfctl link: looks at the USB NIC and sets it up. */
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "commands.h"
#include "day/rounds.h"
#include "linkstate.h"
#include "osprivlege.h"
#include "qvstatus.h"
#include "reach.h"

namespace qvrfctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kInterfaceNameSize = 64;
constexpr s32         kOutOfMemory       = 9;
constexpr booln       kIpv4              = 0;

// A USB device that was just plugged in has to be recognised by the kernel, and its interface be named.
constexpr auto kPlugInTime  = std::chrono::seconds(10);
constexpr auto kPlugInPause = std::chrono::milliseconds(250);

// The kernel reports the carrier some time after the interface is up.
constexpr auto kCarrierTime  = std::chrono::seconds(5);
constexpr auto kCarrierPause = std::chrono::milliseconds(20);

constexpr char kCheckLink[] = "check that the pass-through is on and the interface up with 'qvrfctl link status'";
constexpr char kSwitchOffAndOn[] =
    "switch the OS-to-BMC pass-through off and on in the BMC's settings: the BMC then plugs its USB NIC in anew";
constexpr char kCheckRight[] =
    "run it as root with CAP_NET_ADMIN and CAP_NET_RAW; the platform's debug log (suptlib.loglevel=error) says more";

Failure outOfMemory()
{
    return libraryFailure("set the link up", QVRFUTIL_OUT_OF_MEMORY);
}

Failure noInterface(const char* advice)
{
    return Failure(kExitNoLink, "no interface of this host is the BMC's USB NIC (USB device 7a3e/c051)", advice,
                   "OXA_USBNIC_ENABLE_FAILED", OXA_USBNIC_ENABLE_FAILED);
}

/** What the host knows about the link and what the BMC tells: nothing where it could not be had. */
struct Findings {
    std::optional<std::string> interface;
    std::optional<u8>          mode;
    std::optional<std::string> bmcAddress;
};

std::optional<std::string> findInterface()
{
    std::array<astring, kInterfaceNameSize> name{};
    const s32                               st = GetUSBNICInterfaceName(name.data());
    if (st == kOutOfMemory) throw outOfMemory();
    if (st != 0 || name[0] == '\0') return std::nullopt;
    return name.data();
}

std::optional<u8> askMode()
{
    u8 mode = 0;
    return APMDiscoveryGetOSToBMCStatus(&mode) == 0 ? std::optional<u8>(mode) : std::nullopt;
}

/** The one that the library sets the link up for, whatever the BMC's generation. */
std::optional<std::string> askAddress()
{
    std::array<astring, APM_IPV4_ADDRESS_SIZE> address{};
    const s32                                  st = APMDiscoveryUSBNICIPAddress(address.data());
    if (st == kOutOfMemory) throw outOfMemory();
    if (st != 0 || address[0] == '\0') return std::nullopt;
    return address.data();
}

// ---- link status -----------------------------------------------------------------------------------------------

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text.empty() ? "(none)" : text;
}

template <class Value>
Json orNull(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json();
}

Json documentOf(const Findings& found, const LinkState& link)
{
    return {{"interface", orNull(found.interface)},
            {"flags", link.flags},
            {"hardwareAddress", link.hardwareAddress},
            {"ipv4Addresses", link.ipv4Addresses},
            {"ipv6Addresses", link.ipv6Addresses},
            {"passThrough", found.mode ? Json(passThroughText(*found.mode)) : Json()},
            {"passThroughMode", orNull(found.mode)},
            {"bmcAddress", orNull(found.bmcAddress)}};
}

std::string textOf(const Findings& found, const LinkState& link)
{
    constexpr char nothing[] = "not available";
    std::string    text      = labelled("interface", found.interface.value_or(nothing));
    if (found.interface) {
        text += labelled("flags", joined(link.flags));
        if (!link.hardwareAddress.empty()) text += labelled("hardware address", link.hardwareAddress);
        text += labelled("IPv4", joined(link.ipv4Addresses)) + labelled("IPv6", joined(link.ipv6Addresses));
    }
    return text + labelled("pass-through", found.mode ? passThroughText(*found.mode) : nothing) +
           labelled("BMC's IPv4", found.bmcAddress.value_or(nothing));
}

void showStatus(const Context& context, const Show& show)
{
    Findings   found{findInterface(), {}, {}};
    const bool answers = answersOverIpmi();
    if (answers) {
        found.mode       = askMode();
        found.bmcAddress = askAddress();
    }
    const LinkState link = found.interface ? readLink(*found.interface) : LinkState();
    show(documentOf(found, link), textOf(found, link));
    context.output.flush();  // what is known stands before the failure
    if (!answers) throw noAnswerOverIpmi();
    if (!found.interface)
        throw noInterface(found.mode == kPassThroughUsbNic ? "check the host's USB devices and network drivers"
                                                           : "'qvrfctl link setup' switches the pass-through on");
}

// ---- link setup ------------------------------------------------------------------------------------------------

/** Each takes what those before it found, and tells how it went. A step that cannot be done throws. */
struct Step {
    const char* key;
    const char* label;
    std::string (*run)(Findings&);
};

std::string switchOn(Findings& found)
{
    found.mode = askMode();
    if (!found.mode) throw noAnswerOverIpmi();
    if (*found.mode == kPassThroughUsbNic) return "was on";
    if (*found.mode != kPassThroughOff)
        throw Failure(kExitNoLink, "the BMC passes through in another mode: " + passThroughText(*found.mode),
                      "choose the USB NIC in the BMC's settings");
    if (APMDiscoverySetOSToBMCStatus(kPassThroughUsbNic) != 0)
        throw Failure(kExitLibrary, "the BMC did not switch the OS-to-BMC pass-through on",
                      "check that the BMC takes changes (no lockdown mode)");
    return "switched on";
}

std::string awaitInterface(Findings& found)
{
    const bool isJustOn = found.mode == kPassThroughOff;
    const auto deadline = Clock::now() + (isJustOn ? kPlugInTime : Clock::duration());
    while (!(found.interface = findInterface())) {
        if (Clock::now() >= deadline) throw noInterface("check the host's USB devices and network drivers");
        std::this_thread::sleep_for(kPlugInPause);
    }
    return *found.interface;
}

std::string learnAddress(Findings& found)
{
    found.bmcAddress = askAddress();
    if (!found.bmcAddress) throw libraryFailure("find the BMC's end of the link", OXA_BMC_CMD_NO_IPADDRESS);
    return *found.bmcAddress;
}

bool isRunning(const std::string& interface)
{
    const auto flags = readLink(interface).flags;
    return std::find(flags.begin(), flags.end(), "RUNNING") != flags.end();
}

/**
 * Up, with its carrier there. A USB interface that was just plugged in and goes up, down and up within a moment can
 * lose its carrier for good; so it comes up here and settles, before the policy takes it down once more.
 */
void bringUp(const std::string& interface)
{
    std::string name = interface;
    if (SetIFFlags(name.data(), IFF_UP, AF_INET) != 0)
        throw Failure(kExitLibrary, "cannot bring " + interface + " up", kCheckRight);
    const auto deadline = Clock::now() + kCarrierTime;
    while (!isRunning(interface) && Clock::now() < deadline) std::this_thread::sleep_for(kCarrierPause);
}

std::string setIpv6Policy(Findings& found)
{
    bringUp(*found.interface);
    const pid_t self = ::getpid();
    const s32   st   = SetAddrGenModePolicyForUSBNICIPV6(found.interface->data());
    // Without the command `ip` the process that should have become it comes back here as well.
    if (::getpid() != self) ::_exit(127);
    if (st != 0) throw Failure(kExitLibrary, "cannot bring " + *found.interface + " up", kCheckRight);
    return "link-local address made from the hardware address";
}

std::string addressAndProbe(Findings& found)
{
    const s32 st = SetUSBNICInterface();
    if (st == kOutOfMemory) throw outOfMemory();
    const std::string host = joined(readLink(*found.interface).ipv4Addresses);
    if (st == 0) return *found.bmcAddress + " answers, host is " + host;
    if (LXcheckHostIPVersion(found.interface->data(), kIpv4) != 0)
        throw Failure(kExitLibrary, "cannot give " + *found.interface + " an IPv4 address", kCheckRight);
    const bool carrier = isRunning(*found.interface);
    throw Failure(kExitNoLink,
                  "the BMC at " + *found.bmcAddress + " does not answer ARP requests of " + *found.interface + " (" +
                      host + (carrier ? ")" : "): the interface has no carrier"),
                  carrier ? kCheckLink : kSwitchOffAndOn);
}

/** The interface goes down and up for its IPv6 address: that comes before anything is sent over it. */
constexpr Step kSteps[] = {
    {"passThrough", "pass-through", switchOn},        {"interface", "interface", awaitInterface},
    {"bmcAddress", "BMC's IPv4", learnAddress},       {"ipv6", "IPv6", setIpv6Policy},
    {"probe", "IPv4 and ARP probe", addressAndProbe},
};

class StepReport {
public:
    explicit StepReport(Output& output) : output_(output) {}

    void add(const Step& step, bool done, const std::string& outcome, Clock::duration took)
    {
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
        steps_.push_back({{"step", step.key}, {"done", done}, {"outcome", outcome}, {"milliseconds", ms}});
        if (output_.json()) return;
        output_.write(labelled(step.label, (done ? outcome : "failed") + " (" + std::to_string(ms) + " ms)"));
        output_.flush();  // the next step takes its time
    }
    void finish(const Findings& found)
    {
        if (!output_.json()) return;
        output_.document(
            {{"interface", orNull(found.interface)}, {"bmcAddress", orNull(found.bmcAddress)}, {"steps", steps_}});
    }

private:
    Output& output_;
    Json    steps_ = Json::array();
};

void setUp(const Context& context)
{
    if (const s32 st = AutoUpdateCheckUserPrivilege(); st != 0)
        throw Failure(kExitLibrary, "setting the link up needs root", "run it with sudo");
    const Library library(context.target.generation);
    StepReport    report(context.output);
    Findings      found;
    for (const Step& step : kSteps) {
        const auto start = Clock::now();
        try {
            const std::string outcome = step.run(found);
            report.add(step, true, outcome, Clock::now() - start);
        } catch (const Failure& failure) {
            report.add(step, false, failure.what(), Clock::now() - start);
            report.finish(found);
            context.output.flush();
            throw;
        }
    }
    report.finish(found);
}

}  // namespace

Action declareLink(Arguments arguments)
{
    const Arguments setup  = arguments.command("setup", "bring the USB NIC up, give it an address, probe the BMC");
    auto            rounds = std::make_shared<Rounds>();
    declareRounds(arguments.command("status", "show the USB NIC, its addresses, and what the BMC says about it"),
                  *rounds, false);
    return [setup, rounds](const Context& context) {
        if (setup.isNamed()) return setUp(context);
        const Library library(context.target.generation);
        inRoundsWithoutSession(context, *rounds, [&](const Show& show) { showStatus(context, show); });
    };
}

}  // namespace qvrfctl
