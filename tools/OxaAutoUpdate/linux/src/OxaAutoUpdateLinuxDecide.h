/** @file OxaAutoUpdateLinuxDecide.h  What the update engine decides: functions on plain values. */
#ifndef OXAAUTOUPDATELINUXDECIDE_H
#define OXAAUTOUPDATELINUXDECIDE_H

#include <optional>
#include <string_view>

#include "qvtypes.h"

namespace qvrf {

/** The values of installationType. */
enum Installation : s32 { kUpgrade = 0, kInstall = 1, kDowngrade = 2, kNoInstallation = -1 };

/** Does this version text of the BMC belong to a package? Without one the BMC answers a few characters of filler. */
bool namesPackage(std::string_view version) noexcept;

struct UpdateDecision {
    Installation installation;
    bool         due;  ///< without being forced
};

/**
 * What installing the offered version would be. Digits in versions compare as numbers.
 * @param installed  NULL: no agent is installed
 */
UpdateDecision decideUpdate(const char* offered, const char* installed) noexcept;

enum class DownloadedFile { package, otherArchive, other };

/** Which of the downloaded files is the package for this system, by its name. */
DownloadedFile classify(std::string_view fileName) noexcept;

/** May the BMC choose this name for a file below a directory of ours? Not one that leads out of it. */
bool staysBelow(std::string_view fileName) noexcept;

/**
 * The value in "key = value". Only the first 20 characters of the key are compared, and only as far as the key goes:
 * the key OXA.a finds OXA.abc too.
 * @return nothing for another key, a comment, or a key without value
 */
std::optional<std::string_view> configValue(std::string_view line, std::string_view key) noexcept;

/**
 * Do the real and the effective user in a process's numbers of users both stand for root or @p self? A program that
 * somebody else started with raised privileges has the latter alone. Numbers that cannot be read are nobody's.
 */
bool isTrustedUser(const char* users, unsigned long self) noexcept;

}  // namespace qvrf

#endif
