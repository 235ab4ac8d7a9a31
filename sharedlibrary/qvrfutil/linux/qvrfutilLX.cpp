/** @file qvrfutilLX.cpp  The authenticated requests: one engine, and a row for each method. */
#include "qvrfutilLX.h"

#include <iterator>
#include <optional>

#include "qvrfutilLXResponse.h"
#include "qvrfutilLXSession.h"
#include "trace.h"

// The formats below take what Method says of them.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace {

using namespace qvrf;

#define QVRF_FAILED_TO_SEND(what) "%s: Failed to Send " what " due to session failure. Please Retry\n"

constexpr char kNoSessionInfo[] = " %s: Could not get Redfish Session Info ! \n";

/** What tells the methods apart; the defaults are what most of them share. Each text takes the method's name. */
struct Method {
    const char*     op            = nullptr;                   ///< its name in the log
    const char*     customVerb    = nullptr;                   ///< nullptr: libcurl's own verb
    const char*     customName    = "CURLOPT_CUSTOMREQUEST";   ///< how setting that verb is logged
    bool            speaksJson    = true;                      ///< Accept and Content-type around the token
    bool            hasBody       = false;                     ///< and it must not be NULL
    bool            usesOldCopy   = true;                      ///< goes on while another thread makes the first session
    s32             whenLoggedOut = QVRFUTIL_SESSION_FAILURE;  ///< newer generation, no session
    const char*     loggedOut     = nullptr;                   ///< the text to that
    const char*     copyFailed    = kNoSessionInfo;            ///< the session record could not be copied
    bool            wholeStatus   = false;                     ///< compares the status with 401 before it is cut to u16
    RenewalRefusals refusals{};                                ///< after a 401
    const char*     urlLine  = nullptr;                        ///< takes a second %s, the URL
    const char*     bodyLine = nullptr;                        ///< takes only the body
};

constexpr Method kGet = [] {
    Method get;
    get.op            = "QVRFUTILOSGETRequest";
    get.usesOldCopy   = false;
    get.whenLoggedOut = QVRFUTIL_NO_SESSION_DETAILS;  // only GET says so; callers rely on it
    get.loggedOut     = kNoSessionInfo;
    get.wholeStatus   = true;
    get.refusals      = {"[QVRFUTIL]" QVRF_FAILED_TO_SEND("GET"), QVRF_FAILED_TO_SEND("GET")};
    get.urlLine       = "%s: pGETUrl = %s.\n";
    return get;
}();

constexpr Method kPost = [] {
    Method post;
    post.op         = "QVRFUTILOSPOSTRequest";
    post.hasBody    = true;
    post.loggedOut  = QVRF_FAILED_TO_SEND("POST");
    post.copyFailed = " %s: GetRFSessionInfo failed! \n";
    post.refusals   = {"[QVRFUTIL]" QVRF_FAILED_TO_SEND("POST"), QVRF_FAILED_TO_SEND("POST")};
    post.urlLine    = "%s: pPOSTUrl = %s.\n";
    post.bodyLine   = "pPostData = %s\n";
    return post;
}();

constexpr Method kPatch = [] {
    Method patch;
    patch.op         = "QVRFUTILOSPATCHRequest";
    patch.customVerb = "PATCH";
    patch.hasBody    = true;
    patch.loggedOut  = QVRF_FAILED_TO_SEND("PATCH");
    patch.refusals   = {"[QVRFUTIL]" QVRF_FAILED_TO_SEND("PATCH"), QVRF_FAILED_TO_SEND("PATCH")};
    patch.urlLine    = "%s: pPATCHUrl = %s.\n";
    patch.bodyLine   = "pPatchData = %s\n";
    return patch;
}();

constexpr Method kDelete = [] {
    Method remove;
    remove.op          = "QVRFUTILOSDELETERequest";
    remove.customVerb  = "DELETE";
    remove.customName  = "CURLOPT_CUSTOMREQUEST-DELETE";
    remove.speaksJson  = false;
    remove.loggedOut   = QVRF_FAILED_TO_SEND("delete");
    remove.wholeStatus = true;
    remove.refusals    = {"[QVRFUTIL]" QVRF_FAILED_TO_SEND("delete"), QVRF_FAILED_TO_SEND("POST")};  // POST: known so
    remove.urlLine     = "%s: pGETUrl = %s.\n";  // as GET: it never had a line of its own
    return remove;
}();

/** One request as the caller put it. */
struct Request {
    const astring* path;
    const astring* body;
    Answer         answer;
    booln          headersWanted;
    astring**      headers;
    const astring* file;
};

s32 invalid(const char* op, const char* format) noexcept
{
    __SysDbgPrint3(format, op);
    return QVRFUTIL_INVALID_ARGUMENTS;
}

s32 checkArguments(const Method& method, const Request& request) noexcept
{
    const Answer& answer     = request.answer;
    const bool    pathGone   = request.path == nullptr;
    const bool    answerGone = answer.body == nullptr;
    const bool    bodyGone   = method.hasBody && request.body == nullptr;
    if (&method == &kPatch && (pathGone || answerGone || bodyGone))
        return invalid(method.op, "%s: pWebResourceUrl/ppRFResponse/pPatchData is NULL.\n");
    if (pathGone) return invalid(method.op, "%s: pWebResourceUrl is NULL.\n");
    if (answerGone) return invalid(method.op, "%s: ppRFResponse is NULL.\n");
    if (bodyGone) return invalid(method.op, "%s: pPostData is NULL.\n");
    if (answer.length == nullptr) return invalid(method.op, "%s: pRFResponseOUTLen is NULL.\n");
    if (answer.http == nullptr) return invalid(method.op, "%s: pHttpRetCode is NULL.\n");
    if (request.headersWanted == TRUE && request.headers == nullptr)
        return invalid(method.op, "%s: ppResponseHeaderBuff is NULL.\n");
    return OXA_SUCCESS;
}

/** A copy of the session record; on an older generation the session is made first when there is none. */
s32 obtainSession(const Method& method, QVRFUTILSession& session) noexcept
{
    if (QVRFUTILGetRFSessionInfo(&session, FALSE) != OXA_SUCCESS) {
        __SysDbgPrint3(method.copyFailed, method.op);
        return QVRFUTIL_NO_SESSION_DETAILS;
    }
    if (!sessionMissing(session)) return OXA_SUCCESS;
    if (giSServerNewGenAndAbove) {
        __SysDbgPrint3(method.loggedOut, method.op);
        return method.whenLoggedOut;
    }
    __SysDbgPrint3("%s: Failed to get Session Details.\n", method.op);
    __SysDbgPrint3("%s:Creating new RF session now\n", method.op);
    // A lock that cannot be had in time does not keep the first session from being made; only a thread at work does.
    if (QVRFUTILAcquireSessionCreationLock(kRequestTexts) == Claim::taken)
        return method.usesOldCopy ? s32{OXA_SUCCESS} : s32{QVRFUTIL_SESSION_FAILURE};
    const s32 status = renewSession(method.op, kRequestTexts, session);
    if (status == OXA_SUCCESS)
        __SysDbgPrint4(kRequestTexts.created, method.op);
    else
        __SysDbgPrint3(kRequestTexts.notCreated, method.op);
    return status;
}

/** The body's way out of libcurl: into memory, or into a file. */
struct Sink {
    Received  header{Received::Content::head};
    Received  body;
    File      file;
    HeadWatch watch;  ///< on the header lines of an answer that goes into the file
};

bool receiveIntoSink(const char* op, CURL* easy, Sink& sink) noexcept
{
    if (sink.file)
        return setOption(op, easy, QVRF_OPT(CURLOPT_WRITEFUNCTION), &SACopyFileCBCurl) &&
               setOption(op, easy, QVRF_OPT(CURLOPT_WRITEDATA), sink.file.get()) && watchHead(easy, sink.watch);
    return receiveInto(op, easy, sink.header, sink.body);
}

bool setMethod(const Method& method, CURL* easy) noexcept
{
    if (method.customVerb != nullptr)
        return setOption(method.op, easy, CURLOPT_CUSTOMREQUEST, method.customName, method.customVerb);
    return method.hasBody ? setOption(method.op, easy, QVRF_OPT(CURLOPT_POST), 1L)
                          : setOption(method.op, easy, QVRF_OPT(CURLOPT_HTTPGET), 1L);
}

s32 openSink(const char* op, const astring* path, Sink& sink) noexcept
{
    if (path == nullptr) return OXA_SUCCESS;
    sink.file = newPrivateFile(path);
    if (sink.file) return OXA_SUCCESS;
    __SysDbgPrint3("%s: Error in opening the file %s.\n", op, path);
    return QVRFUTIL_FAILURE;
}

s32 setRequestOptions(const Method& method, CURL* easy, const astring* file, Sink& sink) noexcept
{
    const char* const op = method.op;
    if (!setOption(op, easy, QVRF_OPT(CURLOPT_SSLVERSION), 0L)) return QVRFUTIL_CURL_FAILED;
    if (s32 st = openSink(op, file, sink); st != OXA_SUCCESS) return st;
    const bool set = receiveIntoSink(op, easy, sink) && setOption(op, easy, QVRF_OPT(CURLOPT_TIMEOUT), 100L) &&
                     verifyNothing(op, easy) && setMethod(method, easy);
    return set ? s32{OXA_SUCCESS} : s32{QVRFUTIL_CURL_FAILED};
}

s32 buildHeaders(const Method& method, const QVRFUTILSession& session, HeaderList& headers) noexcept
{
    Token token;
    if (!token) {
        __SysDbgPrint3("%s: malloc failed for pDecryptedSessionToken.\n", method.op);
        return QVRFUTIL_NO_SESSION_DETAILS;
    }
    if (s32 st = token.decrypt(session); st != 0) {
        __SysDbgPrint3("%s: Decryption failed with status: %d\n", method.op, st);
        return st;
    }
    const bool built = (!method.speaksJson || headers.append("Accept: */*")) &&
                       appendTokenHeader(headers, token, nullptr) &&
                       (!method.speaksJson || headers.append("Content-type: application/json"));
    return built ? s32{OXA_SUCCESS} : s32{QVRFUTIL_CURL_FAILED};
}

s32 address(const Method& method, CURL* easy, const QVRFUTILSession& session, const Request& request) noexcept
{
    __SysDbgPrint4("redfishSession.IPAddress = %s\n", session.IPAddress);
    __SysDbgPrint4("redfishSession.Port = %s\n", session.Port);
    __SysDbgPrint4("pWebResourceUrl = %s\n", request.path);
    const SmOwned<astring> url = requestUrl(session.IPAddress, session.Port, request.path);
    if (!url) {
        __SysDbgPrint3("%s: Malloc for pGETUrl failed.\n", method.op);
        return QVRFUTIL_FAILURE;
    }
    scopeLinkLocal(method.op, easy, session.IPAddress);
    setOption(method.op, easy, QVRF_OPT(CURLOPT_URL), url.get());  // libcurl copies it; without one the transfer fails
    __SysDbgPrint4(method.urlLine, method.op, url.get());
    if (method.bodyLine == nullptr) return OXA_SUCCESS;
    __SysDbgPrint4(method.bodyLine, request.body);
    return setOption(method.op, easy, QVRF_OPT(CURLOPT_POSTFIELDS), request.body) ? s32{OXA_SUCCESS}
                                                                                  : s32{QVRFUTIL_CURL_FAILED};
}

s32 handOver(const Method& method, const Request& request, Sink& sink) noexcept
{
    const char* const op = method.op;
    if (request.file != nullptr) {
        *request.answer.length = 0;
        if (!sink.watch.whole()) return badAnswer(op);
        // The last bytes reach the disk only here: a full one must not look like a complete file.
        if (std::fclose(sink.file.release()) == 0) return OXA_SUCCESS;
        __SysDbgPrint3("%s: Error in writing the file %s.\n", op, request.file);
        return QVRFUTIL_FAILURE;
    }
    if (s32 st = checkReceived(op, sink.header, sink.body); st != OXA_SUCCESS) return st;
    if (s32 st = handOverHeaders(op, sink.header, request.headersWanted, request.headers); st != OXA_SUCCESS) return st;
    const s32 status = handOverBody(op, sink.body, request.answer);
    if (status == OXA_SUCCESS && &method == &kDelete)
        __SysDbgPrint4("\n%s:response to be sent back to caller\n : %s.\n", op, *request.answer.body);
    return status;
}

/** What changes something on the BMC gets a connection of its own: libcurl resends what a dead one did not take. */
EasyHandle handleFor(const Method& method) noexcept
{
    return &method == &kGet ? easyHandleForGet(method.op, keptForSession()) : newEasyHandle(method.op);
}

/** Whether the answer says that the session is over. */
bool sessionIsOver(const Method& method, const Request& request, long code) noexcept
{
    return (method.wholeStatus ? code : long{*request.answer.http}) == 401;
}

s32 exchange(const Method& method, const Request& request) noexcept
{
    const char* const op   = method.op;
    const EasyHandle  easy = handleFor(method);
    if (!easy) {
        __SysDbgPrint3("%s: curl_easy_init() failed.\n", op);
        return QVRFUTIL_CURL_FAILED;
    }
    QVRFUTILSession session;
    if (s32 st = obtainSession(method, session); st != OXA_SUCCESS) return st;
    Sink sink;
    if (s32 st = setRequestOptions(method, easy.get(), request.file, sink); st != OXA_SUCCESS) return st;
    HeaderList headers;
    if (s32 st = buildHeaders(method, session, headers); st != OXA_SUCCESS) return st;
    if (!setOption(op, easy.get(), QVRF_OPT(CURLOPT_HTTPHEADER), headers.get())) return QVRFUTIL_CURL_FAILED;
    if (s32 st = address(method, easy.get(), session, request); st != OXA_SUCCESS) return st;
    if (perform(op, easy, "Easy Perform") != CURLE_OK) return QVRFUTIL_CURL_FAILED;

    long code = 0;
    if (s32 st = takeHttpCode(op, easy.get(), *request.answer.http, code); st != OXA_SUCCESS) return st;
    if (&method == &kDelete) __SysDbgPrint4("%s: HTTP response: %lld\n", op, static_cast<long long>(code));
    if (sessionIsOver(method, request, code))
        if (s32 st = renewAfter401(method.op, method.refusals, session); st != OXA_SUCCESS) return st;
    return handOver(method, request, sink);
}

s32 send(const Method& method, const Request& request) noexcept
{
    const TraceScope trace(method.op);
    s32              status = checkArguments(method, request);
    if (status == OXA_SUCCESS) status = exchange(method, request);
    __SysDbgPrint4("%s : Returning with status = %d\n", method.op, status);
    return status;
}

}  // namespace

extern "C" s32 QVRFUTILOSGETRequest(const astring* pWebResourceUrl, astring** ppRFResponse, u32 pRFResponseINLen,
                                    u32* pRFResponseOUTLen, u16* pHttpRetCode, booln isHeaderRequested,
                                    astring** ppResponseHeaderBuff, astring* pFileNameWithPath)
{
    return send(kGet, {pWebResourceUrl,
                       nullptr,
                       {ppRFResponse, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode},
                       isHeaderRequested,
                       ppResponseHeaderBuff,
                       pFileNameWithPath});
}

extern "C" s32 QVRFUTILOSPOSTRequest(const astring* pWebResourceUrl, astring* pPostData, astring** ppRFResponse,
                                     u32 pRFResponseINLen, u32* pRFResponseOUTLen, u16* pHttpRetCode,
                                     booln isHeaderRequested, astring** ppResponseHeaderBuff)
{
    return send(kPost, {pWebResourceUrl,
                        pPostData,
                        {ppRFResponse, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode},
                        isHeaderRequested,
                        ppResponseHeaderBuff,
                        nullptr});
}

extern "C" s32 QVRFUTILOSPATCHRequest(const astring* pWebResourceUrl, astring* pPatchData, astring** ppRFResponse,
                                      u32 pRFResponseINLen, u32* pRFResponseOUTLen, u16* pHttpRetCode,
                                      booln isHeaderRequested, astring** ppResponseHeaderBuff)
{
    return send(kPatch, {pWebResourceUrl,
                         pPatchData,
                         {ppRFResponse, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode},
                         isHeaderRequested,
                         ppResponseHeaderBuff,
                         nullptr});
}

extern "C" s32 QVRFUTILOSDELETERequest(const astring* pWebResourceUrl, astring** ppRFResponse, u32 pRFResponseINLen,
                                       u32* pRFResponseOUTLen, u16* pHttpRetCode, booln isHeaderRequested,
                                       astring** ppResponseHeaderBuff)
{
    return send(kDelete, {pWebResourceUrl,
                          nullptr,
                          {ppRFResponse, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode},
                          isHeaderRequested,
                          ppResponseHeaderBuff,
                          nullptr});
}

extern "C" s32 QVRFUTILOSSendRequest(const astring* pWebResourceUrl, astring* pPostData, astring** ppRFResponse,
                                     u32 pRFResponseINLen, u32* pRFResponseOUTLen, QVRFUTILRequestType webMethodType,
                                     u16* pHttpRetCode, booln isHeaderRequested, astring** ppResponseHeaderBuff,
                                     astring* pFileNameWithPath)
{
    static constexpr char op[] = "QVRFUTILOSSendRequest";
    const TraceScope      trace(op);
    __SysDbgPrint4("%s : webmethod = %d\n", op, webMethodType);
    if (pWebResourceUrl == nullptr) return invalid(op, "%s: pWebResourceUrl is NULL.\n");
    if (ppRFResponse == nullptr) return invalid(op, "%s: ppRFResponse is NULL.\n");
    if (pHttpRetCode == nullptr) return invalid(op, "%s: pHttpRetCode is NULL.\n");
    s32 status = OXA_SUCCESS;
    switch (webMethodType) {
        case QVRFUTIL_REQUEST_GET:
            status = QVRFUTILOSGETRequest(pWebResourceUrl, ppRFResponse, pRFResponseINLen, pRFResponseOUTLen,
                                          pHttpRetCode, isHeaderRequested, ppResponseHeaderBuff, pFileNameWithPath);
            break;
        case QVRFUTIL_REQUEST_POST:
            status = QVRFUTILOSPOSTRequest(pWebResourceUrl, pPostData, ppRFResponse, pRFResponseINLen,
                                           pRFResponseOUTLen, pHttpRetCode, isHeaderRequested, ppResponseHeaderBuff);
            break;
        case QVRFUTIL_REQUEST_DELETE:
            status = QVRFUTILOSDELETERequest(pWebResourceUrl, ppRFResponse, pRFResponseINLen, pRFResponseOUTLen,
                                             pHttpRetCode, isHeaderRequested, ppResponseHeaderBuff);
            break;
        case QVRFUTIL_REQUEST_PATCH:
            status = QVRFUTILOSPATCHRequest(pWebResourceUrl, pPostData, ppRFResponse, pRFResponseINLen,
                                            pRFResponseOUTLen, pHttpRetCode, isHeaderRequested, ppResponseHeaderBuff);
            break;
        default: break;  // nothing is sent, and that is no failure: callers rely on it
    }
    __SysDbgPrint4("%s : httpCdde  = %d.\n", op, *pHttpRetCode);
    return status;
}
