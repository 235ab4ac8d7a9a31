/** @file doctorHost.cpp  The steps on the host: configuration, libraries, the way to the BMC over IPMI. */
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "OxaAutoUpdateUtils.h"
#include "doctor.h"
#include "reach.h"

namespace qvrfctl {
namespace {

constexpr char kDevice[] = "device:";
constexpr char kUnix[]   = "unix:";

/** Shorter texts than a version say that there is no package, here as for the update tool. */
constexpr std::size_t kLongestNoVersion = 4;

constexpr char kNoDevice[] = "the configuration cannot be used";

bool begins(const std::string& text, const char* opening)
{
    return text.rfind(opening, 0) == 0;
}

/** "/dev/ipmi0" of "device:/dev/ipmi0"; empty for a TCP endpoint, which has no file. */
std::string pathOf(const std::string& bmcDevice)
{
    for (const char* kind : {kDevice, kUnix})
        if (begins(bmcDevice, kind)) return bmcDevice.substr(std::strlen(kind));
    return {};
}

/** The file that provides @p symbol; empty when none does. */
std::string providerOf(const char* symbol)
{
    Dl_info     about{};
    void* const found = ::dlsym(RTLD_DEFAULT, symbol);
    return found != nullptr && ::dladdr(found, &about) != 0 ? about.dli_fname : "";
}

std::string addressToldOverIpmi()
{
    std::array<astring, APM_IPV4_ADDRESS_SIZE> address{};
    if (APMDiscoveryUSBNICIPAddress(address.data()) == 0 && address[0] != '\0') return address.data();
    return APMDiscoveryFetchIPv4IpAddressNewGenandAbove(address.data()) == 0 ? address.data() : "";
}

std::string portToldOverIpmi()
{
    std::array<astring, APM_PORT_SIZE_NEWER_GEN> port{};
    if (APMDiscoveryGetIPPort(port.data()) == 0 && port[0] != '\0') return port.data();
    return APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove(port.data()) == 0 ? port.data() : "";
}

/** The web server's place: the command line's, or what the BMC tells. */
void learnEndpoint(Evidence& evidence)
{
    evidence.endpoint = evidence.context.target.endpoint;
    if (evidence.endpoint || !evidence.answers) return;
    const std::string address = addressToldOverIpmi();
    const std::string port    = address.empty() ? "" : portToldOverIpmi();
    // Not parsed: the older generation takes ports of five digits, which the command line does not.
    if (!port.empty()) evidence.endpoint = Endpoint{address, port, address.find(':') != address.npos};
}

/** The configuration, the device and the right to it are in order: the steps before have looked at them. */
Verdict silent()
{
    const char* const wait = "the BMC may be restarting: wait a minute, then restart it";
    const auto        why  = qvtools::whyUnreached(wait, wait);
    return failed("the BMC does not answer over IPMI" + inBrackets(why.cause), why.advice);
}

}  // namespace

Verdict checkConfiguration(Evidence& evidence)
{
    const qvtools::Configuration& told = evidence.configuration = qvtools::configuration();
    evidence.bmcDevice                                          = told.isTold ? told.endpoint : "device:/dev/ipmi0";
    if (!told.isTold) return skipped("this platform does not tell its configuration");
    if (!told.fault().empty()) return failed(told.fault(), qvtools::kMendConfiguration);
    const std::string file = told.file.empty() ? "no file: the platform's defaults count" : told.file;
    return ok(file + "; the BMC is at " + told.endpoint);
}

Verdict checkLibraries(Evidence&)
{
    std::string all;
    for (const char* symbol : {"QVRFUTILInit", "SMAllocMem", "QVHIPMCommand", "SMqvoxaPBKDF2Encrypt"}) {
        const std::string file = providerOf(symbol);
        if (file.empty())
            return failed(std::string("no library provides ") + symbol, "install the platform's libraries");
        all += (all.empty() ? "" : ", ") + std::filesystem::path(file).filename().string();
    }
    return ok(all + " in " + std::filesystem::path(providerOf("QVRFUTILInit")).parent_path().string());
}

Verdict checkModule(Evidence& evidence)
{
    if (evidence.bmcDevice.empty()) return skipped(kNoDevice);
    if (!begins(evidence.bmcDevice, kDevice)) return skipped("not needed: the BMC is at " + evidence.bmcDevice);
    if (::access("/sys/class/ipmi", F_OK) == 0 || ::access("/sys/module/ipmi_devintf", F_OK) == 0)
        return ok("ipmi_devintf is loaded");
    return failed("the kernel's IPMI device interface is not loaded", "sudo modprobe -a ipmi_devintf ipmi_si");
}

Verdict checkDevice(Evidence& evidence)
{
    const std::string path = pathOf(evidence.bmcDevice);
    struct stat       about {};
    if (evidence.bmcDevice.empty()) return skipped(kNoDevice);
    if (path.empty()) return skipped("not needed: the BMC is at " + evidence.bmcDevice);
    if (::stat(path.c_str(), &about) != 0)
        return failed(path + ": " + std::strerror(errno),
                      begins(evidence.bmcDevice, kDevice)
                          ? "sudo modprobe ipmi_si; see what the kernel's log says of it"
                          : "start the BMC there, or correct hipm.endpoint");
    const bool isDevice = begins(evidence.bmcDevice, kDevice);
    if (isDevice ? S_ISCHR(about.st_mode) : S_ISSOCK(about.st_mode)) return ok(path);
    return failed(path + (isDevice ? " is no device" : " is no socket"), "correct hipm.endpoint in the configuration");
}

Verdict checkPermission(Evidence& evidence)
{
    const std::string path = pathOf(evidence.bmcDevice);
    if (evidence.bmcDevice.empty()) return skipped(kNoDevice);
    if (path.empty()) return skipped("not needed: the BMC is at " + evidence.bmcDevice);
    if (::access(path.c_str(), F_OK) != 0) return skipped("there is no " + path);
    if (::eaccess(path.c_str(), R_OK | W_OK) == 0) return ok("this user may read and write it");
    return failed(path + ": " + std::strerror(errno), "run it with sudo, or let this user read and write the device");
}

Verdict checkFirmware(Evidence& evidence)
{
    u16       major  = 0;
    u16       minor  = 0;
    const s32 st     = APMDiscoveryGetTorvoFwVersion(&major, &minor);
    evidence.answers = !isSilence(st);
    learnEndpoint(evidence);
    if (evidence.bmcDevice.empty()) return skipped(kNoDevice);
    if (!evidence.answers) return silent();
    if (st != 0) return failed(discoveryReason(st), "look into the BMC's log");
    const std::string version = std::to_string(major) + '.' + std::to_string(minor);
    if (major > 6 || (major == 6 && minor >= 10)) return ok(version);
    return warning(version + " is too old for Redfish", "update the BMC's firmware to 6.10 or newer");
}

Verdict checkPackage(Evidence& evidence)
{
    std::array<astring, APM_VERSION_SIZE> version{};
    if (!evidence.answers) return skipped("the BMC does not answer over IPMI");
    if (const s32 st = APMDiscoveryGetOxaPloxVersion(version.data()); st != 0)
        return warning("not told: " + discoveryReason(st), "a BMC without an update package has none to tell");
    if (std::strlen(version.data()) > kLongestNoVersion) return ok(version.data());
    return warning("the BMC holds no update package", "put one on the BMC where it is to update this host's agent");
}

Verdict checkAgent(Evidence& evidence)
{
    std::array<astring, APM_VERSION_SIZE + 1> version{};
    if (!evidence.answers) return skipped("the BMC does not answer over IPMI");
    if (APMDiscoveryGetOxaOSVersion(version.data()) != 0 || version[0] == '\0')
        return warning("the BMC has recorded none", "an agent that was never started leaves no record: start it");
    return ok(version.data());
}

Verdict checkLeftovers(Evidence&)
{
    for (const char* place : {"/tmp/.AutoUpdate", "/tmp/.signature"})
        if (std::error_code error; std::filesystem::exists(std::filesystem::symlink_status(place, error)))
            return warning(std::string(place) + " is there: an update was interrupted, or one is running",
                           "when none is running, run 'qvoxa-sync' again: it clears them");
    return ok("none");
}

}  // namespace qvrfctl
