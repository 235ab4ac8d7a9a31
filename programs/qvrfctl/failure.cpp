/** @file failure.cpp  The tables of statuses: meaning, advice, exit status. */
#include "failure.h"

#include <curl/curl.h>

#include <array>
#include <cstdio>
#include <cstdlib>

#include "librarylog.h"
#include "platform.h"
#include "qvrfutil_status.hpp"

namespace qvrfctl {
namespace {

constexpr char kCheckLink[] = "check that the USB NIC is up, and address and port with 'qvrfctl discover'";
constexpr char kSeeLog[]    = "the platform's debug log (suptlib.loglevel=error) says more";
constexpr char kReport[]    = "this is a fault of qvrfctl: please report it";

/** Where a status ends otherwise than by kExitLibrary, or the tool knows more to do than the layer. */
struct ToolRow {
    s32         status;
    ExitStatus  exit   = kExitLibrary;
    const char* advice = nullptr;  ///< nothing: the layer's
};
constexpr ToolRow kStatuses[] = {
    {QVRFUTIL_FAILURE, kExitLibrary, kSeeLog},
    {QVRFUTIL_BUFFER_TOO_SMALL, kExitAnswerTooLong, "try again"},
    {QVRFUTIL_NO_SESSION_DETAILS, kExitNoSession},
    {QVRFUTIL_INVALID_ARGUMENTS, kExitLibrary, kReport},
    {QVRFUTIL_CURL_FAILED, kExitLibrary, kCheckLink},
    {QVRFUTIL_SESSION_FAILURE, kExitNoSession},
    {QVRFUTIL_INVALID_PARAMETER, kExitLibrary, kReport},
    {QVRFUTIL_EVENT_STREAM_BROKEN, kExitStreamOver},
    {OXA_INVALID_PARAM, kExitLibrary, kReport},
    {OXA_INTERNAL_ERROR, kExitLibrary, kSeeLog},
    {OXA_INVALID_ARG_VALUE, kExitLibrary, kReport},
    {OXA_BMC_CMD_NO_IPPORT, kExitUnreachable},
    {OXA_BMC_CMD_IPMI_ACCESS_FAILED, kExitUnreachable},
    {OXA_BMC_CMD_GET_FW_ERROR, kExitUnreachable},
    {OXA_BMC_CMD_SET_USER_NAME_FAILED, kExitLibrary,
     "the BMC may keep its users from the host: try --redfish, which goes by its account service"},
    {OXA_BMC_CMD_NO_IPADDRESS, kExitUnreachable},
    {OXA_BMC_SESSION_CREATION_FAILED, kExitNoSession,
     "check address and port with 'qvrfctl discover' and the state of Redfish with 'qvrfctl services'; "
     "close sessions that are no longer needed"},
    {OXA_REDFISH_IP_NOT_ASSIGNED, kExitNoSession},
    {OXA_REDFISH_DISABLED, kExitNoSession},
    {OXA_REDFISH_TOKEN_GENERATION_FAILED, kExitNoSession,
     "check secure.tokenkey in the platform's configuration and that the BMC answers over IPMI ('qvrfctl discover')"},
    {OXA_INVALID_LOCATION_HEADER, kExitNoSession, kSeeLog},
};
constexpr ToolRow kOther{};

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
    {428, "Precondition Required", "the BMC wants to know which state the change is for: see If-Match"},
    {429, "Too Many Requests", "the BMC is busy: try again later"},
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
    "check that secure.tokenkey is this BMC's key, check --user, and compare the clocks (step 29 of 'qvrfctl doctor')";
constexpr LoginRow kRefusals[] = {
    {401, kCheckToken},
    {403, kCheckToken},
    {404, "this BMC has its sessions elsewhere, as the other generation does: --generation auto finds it"},
    {503, "close sessions that are no longer needed ('qvrfctl session list'), or wait until idle ones end"},
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

StatusRow statusRow(s32 status) noexcept
{
    const qvrfutil::StatusText& text = qvrfutil::statusText(status);
    const ToolRow*              row  = &kOther;
    for (const ToolRow& each : kStatuses)
        if (each.status == status) row = &each;
    return {status, text.name, text.meaning, row->advice != nullptr ? row->advice : text.remedy, row->exit};
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
    const std::string name = statusRow(status).name;
    return Failure(exit,
                   "cannot " + std::string(what) + ": status " + std::to_string(status) + " (" + name + "): " + meaning,
                   advice, name, status);
}

/** What is known of a failure beyond its status. */
struct Explained {
    std::string cause;
    std::string advice;
};

/** A cause that the status does not tell: the way to the BMC, the token's key, the transfer. */
Explained explained(const StatusRow& row)
{
    if (row.status == QVRFUTIL_CURL_FAILED) return {transferError(), row.advice};
    const bool needsToken = row.status == OXA_REDFISH_TOKEN_GENERATION_FAILED;
    // The slots that the BMC did not show are none that are free.
    const bool isUnseen = row.status == OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT && qvtools::isUnreached();
    if (row.exit != kExitUnreachable && !needsToken && !isUnseen) return {"", row.advice};
    const bool isVague = isUnseen || row.advice == qvrfutil::detail::kCheckIpmi;
    const auto way     = qvtools::whyUnreached(row.advice, isVague ? qvtools::kNotTold : row.advice);
    if (way.cause.empty() && needsToken) return {inBrackets(newestLibraryError("readTokenKey : ")), row.advice};
    return {inBrackets(way.cause), way.advice};
}

}  // namespace

std::string inBrackets(const std::string& text)
{
    return text.empty() ? text : " (" + text + ')';
}

Failure libraryFailure(std::string_view what, s32 status)
{
    const StatusRow row = statusRow(status);
    const Explained why = explained(row);
    return failureOf(what, status, row.meaning + why.cause, why.advice, row.exit);
}

Failure libraryFailure(std::string_view what, s32 status, const std::string& meaning, const char* advice)
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

struct Meaning {
    std::string meaning;
    std::string advice;
};

Meaning meaningOf(const LoginCause& cause, const StatusRow& row)
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

long transferCode()
{
    constexpr char opening[] = " failed with ";
    const auto     errors    = libraryErrors();
    for (auto line = errors.rbegin(); line != errors.rend(); ++line) {
        const auto at = line->find("The curl API set ") != line->npos ? line->find(opening) : line->npos;
        if (at != line->npos) return numberBehind(line->substr(at), opening);
    }
    return CURLE_OK;
}

std::string transferError()
{
    const long code = transferCode();
    return code == CURLE_OK ? std::string() : inBrackets(::curl_easy_strerror(static_cast<CURLcode>(code)));
}

Failure sessionFailure(s32 status)
{
    // The newer generation reports a refused login, or an address where nobody answers, as a general failure.
    const bool       isRefusal = status == QVRFUTIL_FAILURE || status == OXA_BMC_SESSION_CREATION_FAILED;
    const StatusRow  row       = statusRow(isRefusal ? OXA_BMC_SESSION_CREATION_FAILED : status);
    const ExitStatus exit      = row.exit == kExitLibrary ? kExitNoSession : row.exit;
    const Explained  why       = explained(row);
    const Meaning    told = isRefusal ? meaningOf(loginCause(libraryErrors()), row) : Meaning{row.meaning, why.advice};
    return failureOf("open a Redfish session", status, told.meaning + why.cause, told.advice, exit);
}

Failure noAnswerOverIpmi()
{
    const StatusRow row = statusRow(OXA_BMC_CMD_IPMI_ACCESS_FAILED);
    const Explained why = explained(row);
    return Failure(kExitUnreachable, "the BMC does not answer over IPMI" + why.cause, why.advice, row.name, row.status);
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
