/** @file request.cpp  Puts a request to the layer and words what comes back. */
#include "request.h"

#include <curl/curl.h>

#include <optional>

#include "jsontext.h"
#include "librarylog.h"
#include "progress.h"

namespace qvrfctl {
namespace {

using qvrfutil::Response;
using Result = qvrfutil::Result<Response>;

/** What changes something is not sent twice: it gets room for every answer that a BMC is known to give. */
constexpr u32 kAmpleRoom = 4u * 1024 * 1024;

std::string whatItIs(const Request& request)
{
    return std::string(methodName(request.type)) + ' ' + request.path;
}

/** What a general status of an operation stands for. */
struct GeneralStatus {
    RequestKind kind;
    s32         status;
    const char* meaning;
    const char* advice;
};
constexpr char          kCheckLink[] = "check that the USB NIC is up, and address and port with 'qvrfctl discover'";
constexpr GeneralStatus kGeneralStatuses[] = {
    {RequestKind::upload, QVRFUTIL_CURL_FAILED, "the upload was not completed",
     "check the file, that the USB NIC is up, and address and port with 'qvrfctl discover'"},
    {RequestKind::withoutSession, QVRFUTIL_CURL_FAILED, "the BMC gave no complete answer", kCheckLink},
};

/** The file did not take what came: while it came, or its last bytes. */
bool isUnwritten(s32 status)
{
    if (status == QVRFUTIL_CURL_FAILED) return transferCode() == CURLE_WRITE_ERROR;
    const auto errors = libraryErrors();
    return status == QVRFUTIL_FAILURE && !errors.empty() &&
           errors.back().find("Error in writing the file") != std::string::npos;
}

Failure judged(const Request& request, const qvrfutil::Error& error)
{
    const std::string what = whatItIs(request);
    if (error.status == QVRFUTIL_BUFFER_TOO_SMALL)
        return Failure(kExitAnswerTooLong,
                       what + " was answered with HTTP " + std::to_string(error.http) + ": " + error.meaning,
                       error.remedy + " with 'qvrfctl get'", error.name(), error.status);
    const bool isDownload = request.kind == RequestKind::withSession && !request.file.empty();
    if (isDownload && isUnwritten(error.status))
        return Failure(kExitOutput, "cannot write " + request.file + ": no space left there, or a limit was reached",
                       "free some space; the file was left as it is");
    if (isDownload && error.status == QVRFUTIL_CURL_FAILED)
        return libraryFailure("download " + request.path + " to " + request.file, error.status,
                              "the transfer was not completed" + transferError() + "; the file was left as it is",
                              kCheckLink);
    for (const GeneralStatus& row : kGeneralStatuses)
        if (row.kind == request.kind && row.status == error.status)
            return libraryFailure(what, error.status, row.meaning + transferError(), row.advice);
    return failureOf(what, error);
}

/** The part of a download is watched as it grows, and removed by an interrupt; a device is written in place. */
Result download(Session& session, const Request& request)
{
    Interrupts&             interrupts = session.context().interrupts;
    std::optional<Progress> progress;
    const auto              onPart = [&](const std::string& at) {
        const std::string part = at == request.file ? std::string() : at;
        progress.reset();
        {
            const auto turn = interrupts.hold();
            interrupts.onInterruptRemove(part);
        }
        if (!part.empty()) progress.emplace(request.file, [part] { return sizeOf(part); });
    };
    return session.layer().download(request.path, request.file, onPart);
}

Result upload(Session& session, const Request& request)
{
    const Progress progress(
        request.file, [&] { return readOf(request.file); }, sizeOf(request.file));
    qvrfutil::RequestOptions options;
    options.headers = request.wantsHeaders;
    return session.layer().upload(request.path, request.file, request.body, options);
}

Result sendBy(Session& session, const Request& request)
{
    if (request.kind == RequestKind::upload) return upload(session, request);
    if (!request.file.empty()) return download(session, request);
    const u32                room = request.type == QVRFUTIL_REQUEST_GET ? 0 : kAmpleRoom;
    qvrfutil::RequestOptions options;
    options.room    = room;
    options.headers = request.wantsHeaders;
    options.lines   = request.lines;
    return session.layer().request(static_cast<qvrfutil::Method>(request.type), request.path, request.body, options);
}

Answer answerOf(const Context& context, const Request& request, Result&& result)
{
    if (!result) throw judged(request, result.error());
    Response& response = *result;
    context.output.note(whatItIs(request) + ": HTTP " + std::to_string(response.http) + ", " +
                        std::to_string(response.elapsed.count()) + " ms");
    return {response.http, std::move(response.body), std::move(response.rawHeaders), response.elapsed,
            response.renewed};
}

}  // namespace

const char* methodName(QVRFUTILRequestType type) noexcept
{
    return qvrfutil::methodName(static_cast<qvrfutil::Method>(type));
}

Answer send(Session& session, const Request& request)
{
    Answer answer = answerOf(session.context(), request, sendBy(session, request));
    if (answer.renewed) session.renewNote();
    return answer;
}

Answer send(const Context& context, const OpenAccess& access, const Request& request)
{
    return answerOf(context, request, access.client().getOpen(request.path));
}

Failure httpFailure(const Request& request, const Answer& answer)
{
    const HttpRow&    row  = httpRow(answer.http);
    const std::string file = request.kind == RequestKind::withSession ? request.file : std::string();
    std::string       text = whatItIs(request) + ": HTTP " + std::to_string(answer.http) + ' ' + row.reason;
    if (const std::string message = redfishMessage(answer.body); !message.empty()) text += ": " + harmlessLine(message);
    if (!file.empty()) text += "; nothing was written to " + file;
    return Failure(kExitHttpError, text, row.advice);
}

}  // namespace qvrfctl
