/** @file actions.cpp  Calls the library and gathers what a machine wants to know about the result. */
#include "actions.h"

#include <array>
#include <cstring>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "environment.h"
#include "progress.h"

namespace qvoxasync {
namespace {

using Json = nlohmann::ordered_json;

constexpr u8          kPassThruUsbNic   = 21;
constexpr std::size_t kLongestNoVersion = 4;  // shorter texts than a version say that the BMC holds no package

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

/**
 * Versions that cannot be compared are reported as nothing to update, and on standard output as the latest version.
 * @return why it was not known; empty when it was
 */
std::string whyNotCompared()
{
    std::array<astring, APM_VERSION_SIZE> package{};
    if (APMDiscoveryGetOxaPloxVersion(package.data()) != 0)
        return "nothing was compared: the BMC does not tell its package version over IPMI";
    const bool decided = installationType != -1;
    return decided || std::strlen(package.data()) <= kLongestNoVersion
               ? ""
               : "nothing was compared: the installation does not tell its version; --force installs all the same";
}

Result update(const Options& options)
{
    std::string    arguments = options.installArguments.value_or("");
    Result         result;
    const Progress progress(kDownloadDirectory);
    result.status = OXAAutoUpdateNow(options.installArguments ? arguments.data() : nullptr,
                                     options.force ? TRUE : FALSE, options.silent ? TRUE : FALSE);
    result.outcome                 = installed();
    result.facts["packageVersion"] = textOrNull(OxaUpdatedVersion);
    if (result.status == kStatusNothingToDo) result.note = whyNotCompared();
    return result;
}

Result download(const Options& options)
{
    std::string    directory = options.directory;
    Result         result;
    const Progress progress(directory);
    result.status                  = downloadOxaUpdatePackage(directory.data());
    result.facts["packageVersion"] = textOrNull(OxaUpdatedVersion);
    result.facts["directory"]      = options.directory;
    return result;
}

Result reportVersions(const Options& options)
{
    std::array<astring, APM_VERSION_SIZE> package{}, agent{};
    const bool                            knowsPackage = APMDiscoveryGetOxaPloxVersion(package.data()) == 0;
    const bool                            knowsAgent   = APMDiscoveryGetOxaOSVersion(agent.data()) == 0;
    if (!options.json) getOxaversion();
    Result result;
    result.status                  = knowsPackage || knowsAgent ? 0 : 1;
    result.facts["packageVersion"] = knowsPackage ? textOrNull(package.data()) : Json(nullptr);
    result.facts["agentVersion"]   = knowsAgent ? textOrNull(agent.data()) : Json(nullptr);
    return result;
}

/** The library leaves a link in another mode alone, which is no success for somebody who asked for the link. */
Result setUpLink()
{
    Result result;
    u8     mode   = 0;
    result.status = OxaSetupOSBMCPassThru();
    if (result.status == 0 && APMDiscoveryGetOSToBMCStatus(&mode) == 0) result.facts["mode"] = mode;
    result.facts["switchedOn"] = g_sEnabledUSBNIC != 0;
    if (result.status == 0 && mode != kPassThruUsbNic)
        throw Failure(kExitFailed,
                      "the OS-to-BMC pass-through is in mode " + std::to_string(mode) + ", not on the USB NIC",
                      "it was left alone; set it to the USB NIC in the BMC's settings", result.status);
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
