/** @file actions.cpp  Calls the library and gathers what a machine wants to know about the result. */
#include "actions.h"

#include <unistd.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <set>
#include <string_view>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "osprivlege.h"
#include "progress.h"
#include "qvrfutil_status.hpp"
#include "safeplaces.h"

namespace qvoxasync {
namespace {

namespace fs = std::filesystem;
using Json   = nlohmann::ordered_json;

constexpr u8          kPassThruUsbNic   = 21;
constexpr std::size_t kLongestNoVersion = 4;  // shorter texts than a version say that the BMC holds no package
constexpr std::size_t kNameSize         = 64;

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

/** A timer has to notice that the BMC is gone: for the library that is a host with nothing to update. */
void askForPackage()
{
    std::array<astring, APM_VERSION_SIZE> package{};
    if (const s32 status = APMDiscoveryGetOxaPloxVersion(package.data()); status != 0)
        throw Failure(kExitNotCompared, "nothing was compared: the BMC does not tell its package version over IPMI",
                      QVOXASYNC_CHECK_IPMI "; --force does not compare", status);
}

/** There is a package, and yet no comparison was made. */
bool isUndecided()
{
    return installationType == -1 && std::strlen(OxaUpdatedVersion) > kLongestNoVersion;
}

Result update(const Options& options)
{
    if (!options.force) askForPackage();
    std::string    arguments = options.installArguments.value_or("");
    Result         result;
    const Progress progress;
    result.status = OXAAutoUpdateNow(options.installArguments ? arguments.data() : nullptr,
                                     options.force ? TRUE : FALSE, options.silent ? TRUE : FALSE);
    result.outcome                 = installed();
    result.reason                  = lastReason();
    result.facts["packageVersion"] = textOrNull(OxaUpdatedVersion);
    if (result.status == kStatusNothingToDo && isUndecided())
        throw Failure(kExitNotCompared, "nothing was compared: the installation does not tell its version",
                      "--force installs all the same", result.status);
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
    // A user's own link in a directory of his would lead what root writes to a place of his choice.
    if (const std::string why = whyUnsafeDirectory(options.directory); ::geteuid() == 0 && !why.empty())
        throw Failure(kExitUnsafe, why, "download to a directory of root's, or as that user");
    const auto     before    = emptyFiles(options.directory);
    std::string    directory = options.directory;
    Result         result;
    const Progress progress;
    result.status                  = downloadOxaUpdatePackage(directory.data());
    result.reason                  = lastReason();
    result.facts["packageVersion"] = textOrNull(OxaUpdatedVersion);
    result.facts["directory"]      = options.directory;
    if (result.status != 0)
        for (const fs::path& file : emptyFiles(options.directory))
            if (before.count(file) == 0) ::unlink(file.c_str());  // what a failed transfer left of its file
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
