/** @file request.cpp  Sends requests, with buffers that grow and sessions that are renewed. */
#include "request.h"

#include <array>
#include <memory>

#include "jsontext.h"
#include "smsupport.h"

namespace qvrfctl {
namespace {

constexpr u32 kFirstRoom = 64u * 1024;
/** What changes something is not sent twice: it gets room for every answer that a BMC is known to give. */
constexpr u32 kAmpleRoom = 4u * 1024 * 1024;
/** A resource may grow while it is read; one that keeps doing so is given up. */
constexpr int kMostGrowths = 4;

constexpr u16 kUnauthorized = 401;

struct SmFree {
    void operator()(astring* text) const noexcept { SMFreeMem(text); }
};

struct Attempt {
    s32    status = 0;
    u32    needed = 0;  ///< room that the body wants, NUL included
    Answer answer;
};

std::string whatItIs(const Request& request)
{
    return std::string(methodName(request.type)) + ' ' + request.path;
}

bool isDownload(const Request& request)
{
    return request.road == Road::session && !request.file.empty();
}

s32 sendAuthenticated(const Request& request, astring* into, u32 room, Attempt& result)
{
    std::string body    = request.body;
    std::string file    = request.file;
    astring*    headers = nullptr;
    const s32   status  = QVRFUTILSendRequest(
           request.path.c_str(), body.empty() ? nullptr : body.data(), &into, room, &result.needed, request.type,
           &result.answer.http, request.wantsHeaders ? TRUE : FALSE, &headers, file.empty() ? nullptr : file.data());
    const std::unique_ptr<astring, SmFree> owned(request.wantsHeaders ? headers : nullptr);
    if (owned) result.answer.headers = owned.get();
    return status;
}

s32 sendOn(Road road, const Request& request, astring* into, u32 room, Attempt& result)
{
    const char* const path = request.path.c_str();
    switch (road) {
        case Road::session: return sendAuthenticated(request, into, room, result);
        case Road::upload:
            return QVRFUTILSendFileUploadRequest(path, request.file.c_str(), request.body.c_str(), &into, room,
                                                 &result.needed, &result.answer.http);
        case Road::open: return QVRFUTILSendRequestNoAuth(path, &into, room, &result.needed, &result.answer.http);
    }
    return QVRFUTIL_INVALID_ARGUMENTS;
}

Attempt attempt(const Request& request, u32 room)
{
    Attempt     result;
    std::string buffer(isDownload(request) ? 1 : room, '\0');
    const auto  start = std::chrono::steady_clock::now();
    result.status     = sendOn(request.road, request, buffer.data(), static_cast<u32>(buffer.size()), result);
    result.answer.elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    if (result.status == 0 && !isDownload(request) && result.needed > 0) {
        buffer.resize(result.needed - 1);
        result.answer.body = std::move(buffer);
    }
    return result;
}

/** What a general status of an operation stands for. */
struct Told {
    Road        road;
    s32         status;
    const char* meaning;
    const char* advice;
};
constexpr Told kTold[] = {
    {Road::upload, QVRFUTIL_CURL_FAILED,
     "the upload was not completed: the connection failed, the file could not be read, or it took longer than 100 s",
     "check the file, that the USB NIC is up, and address and port with 'qvrfctl discover'"},
    {Road::open, QVRFUTIL_FAILURE, "the BMC gave no complete answer within 5 s",
     "check that the USB NIC is up, and address and port with 'qvrfctl discover'"},
};

Failure failureOf(const Request& request, s32 status)
{
    for (const Told& told : kTold)
        if (told.road == request.road && told.status == status)
            return libraryFailure(whatItIs(request), status, told.meaning, told.advice);
    return libraryFailure(whatItIs(request), status);
}

Failure answerTooLong(const Request& request, const Attempt& last)
{
    return Failure(kExitAnswerTooLong,
                   whatItIs(request) + " was sent and answered with HTTP " + std::to_string(last.answer.http) +
                       ", but the answer of " + std::to_string(last.needed - 1) + " bytes did not fit",
                   "do not send it again; look at the resource with 'qvrfctl get'",
                   statusRow(QVRFUTIL_BUFFER_TOO_SMALL).name, QVRFUTIL_BUFFER_TOO_SMALL);
}

/** Sends once, or as often as a growing answer asks for more room. */
Attempt sendWithRoom(const Context& context, const Request& request)
{
    const bool mayRepeat = request.type == QVRFUTIL_REQUEST_GET;
    u32        room      = mayRepeat ? kFirstRoom : kAmpleRoom;
    Attempt    result    = attempt(request, room);
    for (int growths = 0; result.status == QVRFUTIL_BUFFER_TOO_SMALL; ++growths) {
        if (!mayRepeat) throw answerTooLong(request, result);
        if (growths == kMostGrowths || result.needed <= room) throw failureOf(request, result.status);
        room = result.needed;
        context.output.note("the answer needs " + std::to_string(room) + " bytes: asking again");
        result = attempt(request, room);
    }
    return result;
}

Answer judged(const Context& context, const Request& request, Attempt&& result)
{
    if (result.status != 0) throw failureOf(request, result.status);
    context.output.note(whatItIs(request) + ": HTTP " + std::to_string(result.answer.http) + ", " +
                        std::to_string(result.answer.elapsed.count()) + " ms");
    return std::move(result.answer);
}

}  // namespace

const char* methodName(QVRFUTILRequestType type) noexcept
{
    constexpr std::array<const char*, 4> names{"GET", "POST", "DELETE", "PATCH"};  // indexed by the type
    return names[type];
}

Answer send(Session& session, const Request& request)
{
    const Context& context = session.context();
    Attempt        result  = sendWithRoom(context, request);
    const bool     ended   = session.isNewer() ? result.status == QVRFUTIL_SESSION_FAILURE
                                               : result.status == 0 && result.answer.http == kUnauthorized;
    if (ended) {
        // Nothing was carried out: a request without a valid session is refused as a whole.
        context.output.warning("the BMC had ended the session: opening a new one and sending " + whatItIs(request) +
                               " once more");
        if (session.isNewer()) session.renew();
        result = sendWithRoom(context, request);
    }
    result.answer.renewed = ended;
    return judged(context, request, std::move(result));
}

Answer send(const Context& context, const OpenAccess&, const Request& request)
{
    return judged(context, request, sendWithRoom(context, request));
}

Failure httpFailure(const Request& request, const Answer& answer)
{
    const HttpRow& row  = httpRow(answer.http);
    std::string    text = whatItIs(request) + ": HTTP " + std::to_string(answer.http) + ' ' + row.reason;
    if (const std::string message = redfishMessage(answer.body); !message.empty()) text += ": " + message;
    return Failure(kExitHttpError, text, row.advice);
}

}  // namespace qvrfctl
