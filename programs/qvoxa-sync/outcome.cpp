/** @file outcome.cpp  The tables of statuses. */
#include "outcome.h"

#include <unistd.h>

#include "platform.h"

namespace qvoxasync {
namespace {

constexpr char kOtherPackage[] = "put a genuine package for Linux on the BMC";

constexpr char kSeeLog[] = "set suptlib.loglevel=error in the platform's configuration and look into its debug log";

// clang-format off
constexpr StatusRow kOfUpdate[] = {
    {OXA_UPDATE_FAILED, kExitFailed, "the update failed", "the line before says at which step; set suptlib.loglevel=error in the platform's configuration for the reason"},
    {OXA_UPDATE_NOTHING_TO_DO, kExitNothingToDo, "there is nothing to update", "use --force to install the BMC's package all the same"},
    {OXA_UPDATE_BAD_SIGNATURE, kExitBadSignature, "the package on the BMC is not signed by the key that came with it", "nothing was installed; put a genuine package on the BMC"},
};
constexpr StatusRow kOfDownload[] = {
    {OXA_UPDATE_FAILED, kExitFailed, "nothing was downloaded", QVOXASYNC_CHECK_IPMI, true},
    {OXA_UPDATE_NOTHING_TO_DO, kExitNothingToDo, "the BMC holds no package", "put a package on the BMC"},
};
constexpr StatusRow kOfReport[] = {
    {OXA_UPDATE_FAILED, kExitFailed, "the BMC tells neither version", QVOXASYNC_CHECK_IPMI, true},
};
constexpr StatusRow kOfLink[] = {
    {OXA_UPDATE_FAILED, kExitFailed, "the OS-to-BMC pass-through could not be read or switched on", "end a lockdown in the BMC's settings; " QVOXASYNC_CHECK_IPMI, true},
};
constexpr StatusRow kOfEach[] = {
    {OXA_UPDATE_NOT_ROOT, kExitNotRoot, "this needs root", "start it as root, with sudo for instance"},
    {OXA_UPDATE_NOT_DOWNLOADED, kExitNotDownloaded, "the package could not be downloaded", "check the link to the BMC (qvoxa-sync --setup-link), its HTTPS service, and the free space in the download directory"},
    {OXA_UPDATE_ANOTHER_INSTANCE, kExitAnotherInstance, "another qvoxa-sync is at work, or the installer of one that was killed", "wait until it is done"},
    {OXA_UPDATE_FORBIDDEN_PATH, kExitForbiddenPath, "it must not run from the installation's .update directory", "start the installed qvoxa-sync, or a copy elsewhere"},
    {OXA_UPDATE_OUT_OF_MEMORY, kExitNoMemory, "memory is out", "free some memory and try again"},
    {OXA_UPDATE_TLS_MISMATCH, kExitTlsMismatch, "this host and the BMC have no TLS version in common", "allow a version that the BMC speaks in the host's TLS policy (MinProtocol), or raise the BMC's"},
};
// clang-format on
constexpr StatusRow kUnlisted{0, kExitFailed, "the platform reported a failure of its own", kSeeLog};

template <std::size_t N>
const StatusRow* find(const StatusRow (&rows)[N], s32 status) noexcept
{
    for (const StatusRow& row : rows)
        if (row.status == status) return &row;
    return nullptr;
}

const StatusRow* findOwn(Action action, s32 status) noexcept
{
    switch (action) {
        case Action::update: return find(kOfUpdate, status);
        case Action::download: return find(kOfDownload, status);
        case Action::versionReport: return find(kOfReport, status);
        case Action::setupLink: return find(kOfLink, status);
    }
    return nullptr;
}

}  // namespace

const StatusRow& statusRow(Action action, s32 status) noexcept
{
    const StatusRow* row = findOwn(action, status);
    if (row == nullptr) row = find(kOfEach, status);
    return row != nullptr ? *row : kUnlisted;
}

Failure wrongUsage(const std::string& what, std::string advice)
{
    return Failure(kExitUsage, what, std::move(advice));
}

Failure unreachedFailure(const char* otherwise, ExitStatus exit, const std::string& what, std::optional<s32> status)
{
    const auto why = qvtools::whyUnreached(otherwise);
    return Failure(exit, what + (why.cause.empty() ? "" : " (" + why.cause + ')'), why.advice, status);
}

namespace {

/** A signature that nobody could look at says nothing about the package. */
Failure uncheckedSignature(const StatusRow& row, s32 status, const std::string& reason)
{
    const bool hasGpg = ::access("/usr/bin/gpg", X_OK) == 0 || ::access("/bin/gpg", X_OK) == 0;
    return Failure(row.exit, reason,
                   hasGpg
                       ? "nothing was installed; mend that and start it again"
                       : "nothing was installed; install gpg (the package is gnupg, gnupg2 or gpg2) and start it again",
                   status);
}

}  // namespace

Failure libraryFailure(Action action, s32 status, const std::string& reason)
{
    const StatusRow&  row         = statusRow(action, status);
    const bool        isUnchecked = status == OXA_UPDATE_BAD_SIGNATURE && !reason.empty();
    const std::string what        = isUnchecked ? reason : row.meaning + (reason.empty() ? reason : ": " + reason);
    if (reason.rfind("the manifest names", 0) == 0) return Failure(row.exit, what, kOtherPackage, status);
    if (isUnchecked) return uncheckedSignature(row, status, reason);
    // Not the disk, and not HTTPS, although the download is what failed.
    if (reason.find("over IPMI") != reason.npos) return unreachedFailure(QVOXASYNC_CHECK_IPMI, row.exit, what, status);
    if (row.asksBmc) return unreachedFailure(row.advice, row.exit, what, status);
    return Failure(row.exit, what, row.advice, status);
}

}  // namespace qvoxasync
