/** @file failure.h  What went wrong, what it means and what to do about it, with the exit status that says so. */
#ifndef QVRFCTL_FAILURE_H
#define QVRFCTL_FAILURE_H

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "qvtypes.h"

namespace qvrfctl {

/** Exit statuses; scripts rely on them. A signal ends the program with 128 and its number. */
enum ExitStatus : int {
    kExitOk            = 0,
    kExitLibrary       = 1,  ///< the library or the BMC could not do it
    kExitUsage         = 2,  ///< nothing was sent: the command line or the input is wrong
    kExitUnreachable   = 3,  ///< the BMC does not answer over IPMI
    kExitNoSession     = 4,  ///< no Redfish session
    kExitHttpError     = 5,  ///< the BMC answered with an HTTP status of 400 or above
    kExitOutput        = 6,  ///< the result could not be written
    kExitAnswerTooLong = 7,  ///< the request was carried out, but its answer did not fit
    kExitStreamOver    = 8,  ///< an event stream was over before what was asked for had come
    kExitNoLink        = 9,  ///< no USB NIC on this host, or the BMC does not answer on it
};

/** One status of the library; name and meaning are the layer's. */
struct StatusRow {
    s32         status;
    const char* name;
    const char* meaning;
    const char* advice;
    ExitStatus  exit;
};

/** The row of @p status; a general one for a status that is not listed. */
StatusRow statusRow(s32 status) noexcept;

/** One HTTP status. */
struct HttpRow {
    int         status;
    const char* reason;
    const char* advice;  ///< empty: the reason says it all
};
const HttpRow& httpRow(int status) noexcept;

/** Ends a command; main() reports it. */
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus exit, const std::string& what, std::string advice = {}, std::string name = {}, s32 status = 0)
        : std::runtime_error(what), exit_(exit), advice_(std::move(advice)), name_(std::move(name)), status_(status)
    {
    }
    ExitStatus         exit() const noexcept { return exit_; }
    const std::string& advice() const noexcept { return advice_; }
    const std::string& name() const noexcept { return name_; }  ///< of the library's status; empty: it had no part
    s32                status() const noexcept { return status_; }

private:
    ExitStatus  exit_;
    std::string advice_;
    std::string name_;
    s32         status_;
};

/** The command line or the input is wrong; nothing was sent. */
Failure wrongUsage(const std::string& what, std::string advice = {});
/** The library answered @p status when it was to do @p what ("open a session"). */
Failure libraryFailure(std::string_view what, s32 status);
/** The same, when more is known than the status tells. */
Failure libraryFailure(std::string_view what, s32 status, const std::string& meaning, const char* advice);
/** The same for the opening of a session, where a general failure means that there is none. Names the cause. */
Failure sessionFailure(s32 status);

/** Nothing that the BMC was asked over IPMI was answered. The platform's own word for it is added where it has one. */
Failure noAnswerOverIpmi();

/** Why a login was refused, after the lines that the library wrote about it. */
struct LoginCause {
    enum class Kind { unknown, http, transfer };
    Kind kind   = Kind::unknown;
    long number = 0;  ///< HTTP status, or libcurl's result
};
/** Of several attempts the one that got an answer counts: it came further than one that reached nobody. */
LoginCause loginCause(const std::vector<std::string>& errors);

/** libcurl's result of the newest transfer that failed; 0 when the library wrote none. */
long transferCode();
/** libcurl's error of the newest transfer that failed, " (Timeout was reached)"; empty when the library wrote none. */
std::string transferError();

/** " (TEXT)", or nothing for nothing. */
std::string inBrackets(const std::string& text);

/** What the result of a discovery operation means, in a few words: "the BMC refused (completion code 0xc1: ...)". */
std::string discoveryReason(s32 status);

}  // namespace qvrfctl

#endif
