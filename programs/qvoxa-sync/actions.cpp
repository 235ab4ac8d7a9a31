/** @file actions.cpp  Calls the library and gathers what a machine wants to know about the result. */
#include "actions.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string_view>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "downloaddirectory.h"
#include "librarylines.h"
#include "osprivlege.h"
#include "progress.h"
#include "qvrfutil_status.hpp"

namespace qvoxasync {
namespace {

namespace fs = std::filesystem;
using Json   = nlohmann::ordered_json;

constexpr u8          kPassThruUsbNic = 21;
constexpr std::size_t kInstalledSize  = 9;  // what ParseConfigFile wants
constexpr std::size_t kNameSize       = 64;

static_assert(std::string_view(QVOXASYNC_CHECK_IPMI) == qvrfutil::detail::kCheckIpmi, "one advice, in one wording");

Json textOrNull(const astring* text)
{
    return *text != '\0' ? Json(text) : Json(nullptr);
}

/** The library's words for what an installation was. */
const char* installed() noexcept
{
    switch (installationType) {
        case 0: return "updated";
        case 2: return "downgraded";
        default: return "installed";
    }
}

std::string lastReason()
{
    std::array<astring, OXA_UPDATE_REASON_SIZE> reason{};
    OXAAutoUpdateReason(reason.data(), static_cast<u32>(reason.size()));
    return reason.data();
}

/** For the library an installation that does not tell its version is one with the latest, and it says so. */
void needInstalledVersion()
{
    std::string                         registration = std::string(pOXAInstallPath) + "/etc/qvoxareg.cfg";
    std::string                         key          = "OXA.qdilcore.version";
    std::array<astring, kInstalledSize> version{};
    if (FileCheck(registration.c_str()) != 0) return;
    ParseConfigFile(registration.data(), key.data(), version.data());
    if (version[0] == '\0')
        throw Failure(kExitNotCompared,
                      "nothing was compared: " + registration + " does not tell the installed version",
                      "--force installs all the same");
}

/** A timer has to notice that the BMC is gone: for the library that is a host with nothing to update. */
void needPackageVersion(const Result& result, LibraryLines& lines)
{
    if (result.status != OXA_UPDATE_NOTHING_TO_DO || result.reason.empty()) return;
    lines.drop();
    throw unreachedFailure(QVOXASYNC_CHECK_IPMI "; --force does not compare", kExitNotCompared,
                           "nothing was compared: " + result.reason, OXA_UPDATE_FAILED);
}

Result update(const Options& options)
{
    if (!options.force && pOXAInstallPath != nullptr) needInstalledVersion();
    std::string    arguments = options.installArguments.value_or("");
    Result         result;
    LibraryLines   lines;
    const Progress progress;
    result.status = OXAAutoUpdateNow(options.installArguments ? arguments.data() : nullptr,
                                     options.force ? TRUE : FALSE, options.silent ? TRUE : FALSE);
    result.outcome = installed();
    result.reason  = lastReason();
    needPackageVersion(result, lines);
    result.facts["packageVersion"] = textOrNull(OxaUpdatedVersion);
    return result;
}

/** Regular files without a byte in them. */
std::set<fs::path> emptyFiles(const std::string& directory)
{
    std::set<fs::path> found;
    std::error_code    error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code gone;
        if (fs::is_regular_file(entry->symlink_status(gone)) && entry->file_size(gone) == 0)
            found.insert(entry->path());
    }
    return found;
}

Result download(const Options& options)
{
    DownloadDirectory  place(options.directory, ::geteuid() == 0);
    const auto         before = emptyFiles(place.path());
    std::string        path   = place.path();
    Result             result;
    const LibraryLines lines;
    const Progress     progress;
    result.status                  = downloadOxaUpdatePackage(path.data());
    result.reason                  = place.inUsersWords(lastReason());
    result.facts["packageVersion"] = textOrNull(OxaUpdatedVersion);
    result.facts["directory"]      = options.directory;
    if (result.status != 0)
        for (const fs::path& file : emptyFiles(place.path()))
            if (before.count(file) == 0) ::unlink(file.c_str());  // what a failed transfer left of its file
    return result;
}

/** The library's own lines, which scripts read. It would ask the BMC once more for them. */
void printVersions(const astring* package, const astring* agent)
{
    std::printf("Available Torvo Service Module KS package version : %s\n",
                package != nullptr ? qvrfutil::printable(package).c_str() : "NA.");
    if (agent != nullptr)
        std::printf("Currently installed Torvo Service Module version  : %s\n", qvrfutil::printable(agent).c_str());
    else
        std::printf("Available Torvo Service Module  package version : NA.\n");
}

Result reportVersions(const Options& options)
{
    std::array<astring, APM_VERSION_SIZE + 1> package{}, agent{};
    const bool                                knowsPackage = APMDiscoveryGetOxaPloxVersion(package.data()) == 0;
    const bool                                knowsAgent   = APMDiscoveryGetOxaOSVersion(agent.data()) == 0;
    if (!options.json) printVersions(knowsPackage ? package.data() : nullptr, knowsAgent ? agent.data() : nullptr);
    Result result;
    result.status                  = knowsPackage || knowsAgent ? 0 : 1;
    result.facts["packageVersion"] = knowsPackage ? textOrNull(package.data()) : Json(nullptr);
    result.facts["agentVersion"]   = knowsAgent ? textOrNull(agent.data()) : Json(nullptr);
    return result;
}

/** The library looks neither at the mode of the link nor at whether the BMC answers on it. */
void requireLink(u8 mode)
{
    if (mode != kPassThruUsbNic)
        throw Failure(kExitFailed,
                      "the OS-to-BMC pass-through is in mode " + std::to_string(mode) + ", not on the USB NIC",
                      "it was left alone; set it to the USB NIC in the BMC's settings", OXA_UPDATE_FAILED);
    std::array<astring, kNameSize> name{}, address{};
    if (GetUSBNICInterfaceName(name.data()) != 0 || name[0] == '\0')
        throw Failure(kExitNoLink, "no interface of this host is the BMC's USB NIC (USB device 7a3e/c051)",
                      "nothing was set up; see 'qvrfctl link status'", OXA_USBNIC_ENABLE_FAILED);
    if (APMDiscoveryUSBNICIPAddress(address.data()) != 0 ||
        OSSendARPProbeToTorvo(name.data(), 1, 1, address.data()) != 0)
        throw Failure(kExitNoLink, std::string("the BMC does not answer on ") + name.data(),
                      "see 'qvrfctl link status'", OXA_USBNIC_ENABLE_FAILED);
}

Result setUpLink()
{
    Result result;
    u8     mode   = 0;
    result.status = OxaSetupOSBMCPassThru();
    if (result.status == 0 && APMDiscoveryGetOSToBMCStatus(&mode) != 0) result.status = OXA_UPDATE_FAILED;
    if (result.status == 0) requireLink(mode);
    result.facts["mode"]       = mode;
    result.facts["switchedOn"] = g_sEnabledUSBNIC != 0;
    return result;
}

}  // namespace

Result perform(const Options& options)
{
    switch (options.action) {
        case Action::update: return update(options);
        case Action::download: return download(options);
        case Action::versionReport: return reportVersions(options);
        case Action::setupLink: return setUpLink();
    }
    return {};
}

}  // namespace qvoxasync
