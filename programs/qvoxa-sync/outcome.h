/** @file outcome.h  How a run can end: the library's statuses, what they mean, what to do, and the exit status. */
#ifndef QVOXASYNC_OUTCOME_H
#define QVOXASYNC_OUTCOME_H

#include <optional>
#include <stdexcept>
#include <string>

#include "qvstatus.h"
#include "qvtypes.h"

namespace qvoxasync {

/** The advice for a BMC that tells nothing over IPMI, in the words of qvrfutil_status.hpp. */
#define QVOXASYNC_CHECK_IPMI                                                                                 \
    "check that the BMC's IPMI device exists (modprobe ipmi_devintf) and that you may open it; the BMC may " \
    "be restarting: try again"

/** Exit statuses; timers and scripts rely on them. A signal ends the program with 128 and its number. */
enum ExitStatus : int {
    kExitOk              = 0,  ///< done, or nothing to do
    kExitFailed          = 1,
    kExitUsage           = 2,
    kExitBadSignature    = 3,  ///< not good, or it could not be checked
    kExitNotRoot         = 4,
    kExitNotDownloaded   = 5,
    kExitAnotherInstance = 6,
    kExitUnsafe          = 7,  ///< somebody else may have laid out a file or directory that root would write
    kExitForbiddenPath   = 8,
    kExitNoLink          = 9,   ///< no USB NIC on this host, or the BMC does not answer on it
    kExitTlsMismatch     = 10,  ///< the library's 1001 does not fit into an exit status
    kExitOutput          = 11,  ///< the result could not be written
    kExitNotCompared     = 12,  ///< whether there is something to update is not known
    kExitNothingToDo     = 13,  ///< with --exit-code
    kExitNoMemory        = 14,
};

enum class Action { update, download, versionReport, setupLink };

/** The statuses that the tool itself looks at. */
inline constexpr s32 kStatusNothingToDo = OXA_UPDATE_NOTHING_TO_DO;
inline constexpr s32 kStatusNoMemory    = OXA_UPDATE_OUT_OF_MEMORY;

struct StatusRow {
    s32         status;
    ExitStatus  exit;
    const char* meaning;
    const char* advice;
    bool        asksBmc = false;  ///< the reason may be that the BMC is not reached over IPMI
};

/** What @p status of the library's means after @p action; a general row for one that is not listed. */
const StatusRow& statusRow(Action action, s32 status) noexcept;

/** Ends the run; main() reports it. */
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus exit, const std::string& what, std::string advice, std::optional<s32> status = std::nullopt)
        : std::runtime_error(what), exit_(exit), advice_(std::move(advice)), status_(status)
    {
    }
    ExitStatus                exit() const noexcept { return exit_; }
    const std::string&        advice() const noexcept { return advice_; }
    const std::optional<s32>& status() const noexcept { return status_; }  ///< of the library; nothing: it had no part

private:
    ExitStatus         exit_;
    std::string        advice_;
    std::optional<s32> status_;
};

Failure wrongUsage(const std::string& what, std::string advice = "see 'qvoxa-sync --help'");
/** Nothing that the BMC was asked over IPMI was answered: names the platform's own reason, where it has one. */
Failure unreachedFailure(const char* otherwise, ExitStatus exit, const std::string& what, std::optional<s32> status);
/** The library ended @p action with @p status, and with @p reason where it has more to say. */
Failure libraryFailure(Action action, s32 status, const std::string& reason = {});

}  // namespace qvoxasync

#endif
