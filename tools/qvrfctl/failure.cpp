/** @file failure.cpp  The tables of statuses: meaning, advice, exit status. */
#include "failure.h"

#include <curl/curl.h>

#include <array>
#include <cstdio>
#include <cstdlib>

#include "librarylog.h"

#include "qvstatus.h"

namespace qvrfctl {
namespace {

constexpr char kCheckIpmi[] =
    "check that the BMC's IPMI device exists (modprobe ipmi_devintf) and that you may open it";
constexpr char kCheckLink[]  = "check that the USB NIC is up, and address and port with 'qvrfctl discover'";
constexpr char kTryAgain[]   = "try again";
constexpr char kSeeLog[]     = "the platform's debug log (suptlib.loglevel=error) says more";
constexpr char kCheckUser[]  = "check user name and privilege, and that the BMC takes changes (no lockdown mode)";
constexpr char kReport[]     = "this is a fault of qvrfctl: please report it";
constexpr char kSwitchOn[]   = "switch it on in the BMC's settings";
constexpr char kSwitchOnPt[] = "switch the OS-to-BMC pass-through on in the BMC's settings";

#define ROW(code) code, #code
// clang-format off
constexpr StatusRow kStatuses[] = {
    {ROW(QVRFUTIL_FAILURE), "the operation failed", kSeeLog, kExitLibrary},
    {ROW(QVRFUTIL_BUFFER_TOO_SMALL), "the answer is longer than the room for it", kTryAgain, kExitAnswerTooLong},
    {ROW(QVRFUTIL_NO_SESSION_DETAILS), "there is no Redfish session", kTryAgain, kExitNoSession},
    {ROW(QVRFUTIL_INVALID_ARGUMENTS), "a required argument is missing", kReport, kExitLibrary},
    {ROW(QVRFUTIL_CURL_FAILED), "the HTTPS exchange with the BMC failed", kCheckLink, kExitLibrary},
    {ROW(QVRFUTIL_SESSION_FAILURE), "the Redfish session is not valid", kTryAgain, kExitNoSession},
    {ROW(QVRFUTIL_INVALID_PARAMETER), "an argument is missing or invalid", kReport, kExitLibrary},
    {ROW(QVRFUTIL_OUT_OF_MEMORY), "memory is out", "free some memory and try again", kExitLibrary},
    {ROW(QVRFUTIL_EVENT_STREAM_BROKEN), "the event stream broke", "start it again; what happened in between is in the BMC's log", kExitStreamOver},
    {ROW(OXA_INVALID_PARAM), "a required argument is missing", kReport, kExitLibrary},
    {ROW(OXA_INVALID_USER_PRIVILEGE), "the privilege is not an accepted one", "use ro, op or root", kExitLibrary},
    {ROW(OXA_INTERNAL_ERROR), "the library failed inside (memory, formatting)", kSeeLog, kExitLibrary},
    {ROW(OXA_INVALID_ARG_VALUE), "an argument is out of range", kReport, kExitLibrary},
    {ROW(OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT), "the BMC has no free user slot", "delete a user that is no longer needed", kExitLibrary},
    {ROW(OXA_BMC_CMD_NO_IPPORT), "the BMC's HTTPS port could not be discovered", kCheckIpmi, kExitUnreachable},
    {ROW(OXA_BMC_CMD_IPMI_ACCESS_FAILED), "the IPMI channel to the BMC could not be used", kCheckIpmi, kExitUnreachable},
    {ROW(OXA_BMC_CMD_IPMI_RESPONSE_ERROR), "the BMC answered the IPMI command with an error", "check that this BMC knows the command; its log may say more", kExitLibrary},
    {ROW(OXA_BMC_CMD_GET_FW_ERROR), "the BMC's firmware version could not be read over IPMI", kCheckIpmi, kExitUnreachable},
    {ROW(OXA_BMC_CMD_NO_IPADDRESS), "the BMC's USB NIC address could not be discovered over IPMI", kSwitchOnPt, kExitUnreachable},
    {ROW(OXA_BMC_CMD_SET_USER_NAME_FAILED), "the BMC did not take the user's name", kCheckUser, kExitLibrary},
    {ROW(OXA_BMC_CMD_SET_USER_PASSWORD_FAILED), "the BMC did not take the user's password", kCheckUser, kExitLibrary},
    {ROW(OXA_BMC_CMD_SET_USER_PRIVILEGE_FAILED), "the BMC did not take the user's privilege", kCheckUser, kExitLibrary},
    {ROW(OXA_BMC_CMD_SET_VALUE_IN_DB_FAILED), "the BMC did not take a user's attribute", kCheckUser, kExitLibrary},
    {ROW(OXA_USBNIC_ENABLE_FAILED), "the USB NIC could not be enabled", kSwitchOnPt, kExitLibrary},
    {ROW(OXA_BMC_SESSION_CREATION_FAILED), "the BMC did not open a session: it refused the login, has no session left or cannot be reached over HTTPS", "check address and port with 'qvrfctl discover' and the state of Redfish with 'qvrfctl services'; close sessions that are no longer needed", kExitNoSession},
    {ROW(OXA_BMC_SESSION_DELETION_FAILED), "the session could not be deleted", "it ends by itself when its idle time is over", kExitLibrary},
    {ROW(OXA_REDFISH_IP_NOT_ASSIGNED), "the BMC's Redfish address is not assigned", kSwitchOnPt, kExitNoSession},
    {ROW(OXA_REDFISH_DISABLED), "Redfish is disabled on the BMC", kSwitchOn, kExitNoSession},
    {ROW(OXA_REDFISH_TOKEN_GENERATION_FAILED), "no login token could be made for this user", "check secure.tokenkey in the platform's configuration and that the BMC answers over IPMI ('qvrfctl discover')", kExitNoSession},
    {ROW(OXA_INVALID_LOCATION_HEADER), "the session service's answer has no usable Location header", kSeeLog, kExitNoSession},
    {ROW(OXA_BMC_FW_VERSION_OLD), "the BMC's firmware is too old", "update the BMC's firmware", kExitLibrary},
    {ROW(OXA_BMC_LOCKDOWN_MODE_ENABLED), "the BMC is in lockdown mode", "end the lockdown in the BMC's settings", kExitLibrary},
    {ROW(OXA_BMC_LOCKDOWN_MODE_DISABLED), "the BMC is not in lockdown mode", "", kExitLibrary},
    {ROW(OXA_BMC_USBNIC_ENABLED), "the BMC's USB NIC is enabled", "", kExitLibrary},
    {ROW(OXA_BMC_USBNIC_DISABLED), "the BMC's USB NIC is disabled", kSwitchOnPt, kExitLibrary},
};
// clang-format on
#undef ROW
constexpr StatusRow kUnlisted{0, "", "the platform reported a failure of its own", kSeeLog, kExitLibrary};

constexpr HttpRow kHttp[] = {
    {400, "Bad Request", "check the body against the resource's schema"},
    {401, "Unauthorized", "the BMC does not accept the session: try again"},
    {403, "Forbidden", "the user lacks the privilege: use another --user or --privilege"},
    {404, "Not Found", "check the path; start from 'qvrfctl get /redfish/v1'"},
    {405, "Method Not Allowed", "the resource does not take this method; 'get -i' shows which it allows"},
    {409, "Conflict", "the resource is in another state or exists already"},
    {412, "Precondition Failed", "the resource changed in between: read it again"},
    {413, "Content Too Large", "send less"},
    {415, "Unsupported Media Type", "the resource wants something else than JSON"},
    {500, "Internal Server Error", "the BMC failed: its log may say more"},
    {501, "Not Implemented", "this BMC does not have the function"},
    {503, "Service Unavailable", "the BMC is busy: try again later"},
};
constexpr HttpRow kOtherHttp{0, "error", ""};

/** What to do about a refused login, by HTTP status. */
struct LoginRow {
    int         status;
    const char* advice;
};
constexpr char kCheckToken[] =
    "check that secure.tokenkey is this BMC's key, check --user, and compare the clocks with 'qvrfctl doctor'";
constexpr LoginRow kRefusals[] = {
    {401, kCheckToken},
    {403, kCheckToken},
    {404, "this BMC has its sessions elsewhere, as the other generation does: --generation auto finds it"},
    {503, "close sessions that are no longer needed, or wait until the BMC ends the idle ones"},
};
constexpr char kOtherRefusal[] = "check the state of Redfish with 'qvrfctl services'; the BMC's log may say more";

/** What to do about a login that did not get an answer, by libcurl's result. */
constexpr char kNoTls[] = "host and BMC agree on no TLS version or cipher: 'qvrfctl doctor' shows what the BMC offers";
constexpr LoginRow kNoAnswer[] = {
    {CURLE_COULDNT_CONNECT, "check address and port with 'qvrfctl discover', and the link with 'qvrfctl link status'"},
    {CURLE_OPERATION_TIMEDOUT, "the BMC is reached but silent: wait, or restart it; 'qvrfctl doctor' finds the step"},
    {CURLE_SSL_CONNECT_ERROR, kNoTls},
    {CURLE_SSL_CIPHER, kNoTls},
};
constexpr char kOtherTransfer[] = "'qvrfctl doctor' finds the step that fails";

struct CompletionRow {
    s32         code;
    const char* text;
};
constexpr CompletionRow kCompletions[] = {
    {0xC0, "busy"},
    {0xC1, "unknown command"},
    {0xC3, "timeout"},
    {0xC7, "wrong request length"},
    {0xC9, "parameter out of range"},
    {0xCB, "not present"},
    {0xCC, "invalid field"},
    {0xD4, "insufficient privilege"},
    {0xD5, "not supported in its present state"},
    {0xFF, "unspecified error"},
};

}  // namespace

const StatusRow& statusRow(s32 status) noexcept
{
    for (const StatusRow& row : kStatuses)
        if (row.status == status) return row;
    return kUnlisted;
}

const HttpRow& httpRow(int status) noexcept
{
    for (const HttpRow& row : kHttp)
        if (row.status == status) return row;
    return kOtherHttp;
}

Failure wrongUsage(const std::string& what, std::string advice)
{
    return Failure(kExitUsage, what, std::move(advice));
}

namespace {

Failure failureOf(std::string_view what, s32 status, const std::string& meaning, const std::string& advice,
                  ExitStatus exit)
{
    const StatusRow&  row  = statusRow(status);
    const std::string name = row.name[0] != '\0' ? row.name : "UNLISTED";
    return Failure(exit,
                   "cannot " + std::string(what) + ": status " + std::to_string(status) + " (" + name + "): " + meaning,
                   advice, name, status);
}

/** What the platform wrote about a part of the way that is its own: the BMC's device, the token's key. */
std::string platformsWord(s32 status, ExitStatus exit)
{
    const char*       opening = exit == kExitUnreachable                        ? "[HIPM] "
                                : status == OXA_REDFISH_TOKEN_GENERATION_FAILED ? "readTokenKey : "
                                                                                : nullptr;
    const std::string word    = opening != nullptr ? newestLibraryError(opening) : std::string();
    return word.empty() ? word : " (" + word + ')';
}

}  // namespace

Failure libraryFailure(std::string_view what, s32 status)
{
    const StatusRow& row = statusRow(status);
    return failureOf(what, status, row.meaning + platformsWord(status, row.exit), row.advice, row.exit);
}

Failure libraryFailure(std::string_view what, s32 status, const char* meaning, const char* advice)
{
    return failureOf(what, status, meaning, advice, statusRow(status).exit);
}

namespace {

template <std::size_t Size>
const char* adviceOf(const LoginRow (&rows)[Size], long number, const char* otherwise) noexcept
{
    for (const LoginRow& row : rows)
        if (row.status == number) return row.advice;
    return otherwise;
}

/** The number behind @p opening at the beginning of @p line; 0 when it begins otherwise. */
long numberBehind(const std::string& line, const std::string& opening)
{
    return line.compare(0, opening.size(), opening) == 0 ? std::strtol(line.c_str() + opening.size(), nullptr, 10) : 0;
}

struct Told {
    std::string meaning;
    std::string advice;
};

Told toldBy(const LoginCause& cause, const StatusRow& row)
{
    if (cause.kind == LoginCause::Kind::http)
        return {"the BMC answered the login with HTTP " + std::to_string(cause.number) + ' ' +
                    httpRow(static_cast<int>(cause.number)).reason,
                adviceOf(kRefusals, cause.number, kOtherRefusal)};
    if (cause.kind == LoginCause::Kind::transfer)
        return {std::string("the login was not answered: ") + ::curl_easy_strerror(static_cast<CURLcode>(cause.number)),
                adviceOf(kNoAnswer, cause.number, kOtherTransfer)};
    return {row.meaning, row.advice};
}

}  // namespace

LoginCause loginCause(const std::vector<std::string>& errors)
{
    LoginCause cause;
    for (const std::string& line : errors) {
        if (const long http = numberBehind(line, "OSCreateRedfishSession: HTTP Response code = "); http != 0)
            cause = {LoginCause::Kind::http, http};
        const long curl = numberBehind(line, "OSCreateRedfishSession: The curl API set Easy Perform failed with ");
        if (curl != 0 && cause.kind != LoginCause::Kind::http) cause = {LoginCause::Kind::transfer, curl};
    }
    return cause;
}

Failure sessionFailure(s32 status)
{
    // The newer generation reports a refused login, or an address where nobody answers, as a general failure.
    const bool       isRefusal = status == QVRFUTIL_FAILURE || status == OXA_BMC_SESSION_CREATION_FAILED;
    const StatusRow& row       = statusRow(isRefusal ? OXA_BMC_SESSION_CREATION_FAILED : status);
    const ExitStatus exit      = row.exit == kExitLibrary ? kExitNoSession : row.exit;
    const Told       told      = isRefusal ? toldBy(loginCause(libraryErrors()), row) : Told{row.meaning, row.advice};
    return failureOf("open a Redfish session", status, told.meaning + platformsWord(status, exit), told.advice, exit);
}

Failure noAnswerOverIpmi()
{
    const StatusRow& row = statusRow(OXA_BMC_CMD_IPMI_ACCESS_FAILED);
    return Failure(kExitUnreachable, "the BMC does not answer over IPMI" + platformsWord(row.status, row.exit),
                   row.advice, row.name, row.status);
}

std::string discoveryReason(s32 status)
{
    switch (status) {
        case -1:
        case 1: return "no usable answer over IPMI";
        case 9:
        case QVRFUTIL_OUT_OF_MEMORY: return "memory is out";
        default: break;
    }
    if (status < 0 || status > 0xFF)
        return std::string("status ") + std::to_string(status) + ": " + statusRow(status).meaning;
    std::array<char, 8> code{};
    std::snprintf(code.data(), code.size(), "0x%02x", static_cast<unsigned>(status));
    std::string text = std::string("the BMC refused, completion code ") + code.data();
    for (const CompletionRow& row : kCompletions)
        if (row.code == status) text += std::string(": ") + row.text;
    return text;
}

}  // namespace qvrfctl
