/** @file qvrfutilLX.cpp  The authenticated requests: a row for each method, and their exported names. */
#include "qvrfutilLX.h"

#include "qvrfutilLXEngine.h"
#include "trace.h"

namespace {

using namespace qvrf;

#define QVRF_FAILED_TO_SEND(what) "%s: Failed to Send " what " due to session failure. Please Retry\n"

constexpr char kNoSessionInfo[] = " %s: Could not get Redfish Session Info ! \n";

constexpr Method kGet = [] {
    Method get;
    get.op      = "QVRFUTILOSGETRequest";
    get.mayKeep = true;  // what changes something does not: libcurl resends what a dead connection did not take
    // 101 from GET alone, and GET alone waits for no other thread: callers rely on both.
    get.session     = {&kRequestTexts, kNoSessionInfo, {kNoSessionInfo, QVRFUTIL_NO_SESSION_DETAILS}, false};
    get.wholeStatus = true;
    get.refusals    = {"[QVRFUTIL]" QVRF_FAILED_TO_SEND("GET"), QVRF_FAILED_TO_SEND("GET")};
    get.urlLine     = "%s: pGETUrl = %s.\n";
    return get;
}();

constexpr Method kPost = [] {
    Method post;
    post.op       = "QVRFUTILOSPOSTRequest";
    post.hasBody  = true;
    post.session  = {&kRequestTexts, " %s: GetRFSessionInfo failed! \n", {QVRF_FAILED_TO_SEND("POST")}};
    post.refusals = {"[QVRFUTIL]" QVRF_FAILED_TO_SEND("POST"), QVRF_FAILED_TO_SEND("POST")};
    post.urlLine  = "%s: pPOSTUrl = %s.\n";
    post.bodyLine = "pPostData = %s\n";
    return post;
}();

constexpr Method kPatch = [] {
    Method patch;
    patch.op         = "QVRFUTILOSPATCHRequest";
    patch.customVerb = "PATCH";
    patch.hasBody    = true;
    patch.missing    = "%s: pWebResourceUrl/ppRFResponse/pPatchData is NULL.\n";
    patch.session    = {&kRequestTexts, kNoSessionInfo, {QVRF_FAILED_TO_SEND("PATCH")}};
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
    remove.session     = {&kRequestTexts, kNoSessionInfo, {QVRF_FAILED_TO_SEND("delete")}};
    remove.wholeStatus = true;
    remove.refusals    = {"[QVRFUTIL]" QVRF_FAILED_TO_SEND("delete"), QVRF_FAILED_TO_SEND("POST")};  // POST: known so
    remove.urlLine     = "%s: pGETUrl = %s.\n";  // as GET: it never had a line of its own
    remove.statusLine  = "%s: HTTP response: %lld\n";
    remove.answerLine  = "\n%s:response to be sent back to caller\n : %s.\n";
    return remove;
}();

bool given(const char* op, const void* argument, const char* name) noexcept
{
    if (argument == nullptr) __SysDbgPrint3("%s: %s is NULL.\n", op, name);
    return argument != nullptr;
}

}  // namespace

extern "C" s32 QVRFUTILOSGETRequest(const astring* pWebResourceUrl, astring** ppRFResponse, u32 pRFResponseINLen,
                                    u32* pRFResponseOUTLen, u16* pHttpRetCode, booln isHeaderRequested,
                                    astring** ppResponseHeaderBuff, astring* pFileNameWithPath)
{
    const qvrf::Uncancelled uncancelled;
    return sendRequest(kGet, {pWebResourceUrl,
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
    const qvrf::Uncancelled uncancelled;
    return sendRequest(kPost, {pWebResourceUrl,
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
    const qvrf::Uncancelled uncancelled;
    return sendRequest(kPatch, {pWebResourceUrl,
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
    const qvrf::Uncancelled uncancelled;
    return sendRequest(kDelete, {pWebResourceUrl,
                                 nullptr,
                                 {ppRFResponse, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode},
                                 isHeaderRequested,
                                 ppResponseHeaderBuff,
                                 nullptr});
}

/** By the exported operations, as any other caller. Without a method nothing is sent, and that is no failure. */
static s32 sendBy(QVRFUTILRequestType type, const Request& request, astring* data, astring* file) noexcept
{
    const auto& [body, room, length, http] = request.answer;
    const booln     wanted                 = request.headersWanted;
    astring** const headers                = request.headers;
    switch (type) {
        case QVRFUTIL_REQUEST_GET:
            return QVRFUTILOSGETRequest(request.path, body, room, length, http, wanted, headers, file);
        case QVRFUTIL_REQUEST_POST:
            return QVRFUTILOSPOSTRequest(request.path, data, body, room, length, http, wanted, headers);
        case QVRFUTIL_REQUEST_DELETE:
            return QVRFUTILOSDELETERequest(request.path, body, room, length, http, wanted, headers);
        case QVRFUTIL_REQUEST_PATCH:
            return QVRFUTILOSPATCHRequest(request.path, data, body, room, length, http, wanted, headers);
        default: return OXA_SUCCESS;
    }
}

extern "C" s32 QVRFUTILOSSendRequest(const astring* pWebResourceUrl, astring* pPostData, astring** ppRFResponse,
                                     u32 pRFResponseINLen, u32* pRFResponseOUTLen, QVRFUTILRequestType webMethodType,
                                     u16* pHttpRetCode, booln isHeaderRequested, astring** ppResponseHeaderBuff,
                                     astring* pFileNameWithPath)
{
    static constexpr char op[] = "QVRFUTILOSSendRequest";
    const TraceScope      trace(op);
    __SysDbgPrint4("%s : webmethod = %d\n", op, webMethodType);
    if (!given(op, pWebResourceUrl, "pWebResourceUrl") || !given(op, ppRFResponse, "ppRFResponse") ||
        !given(op, pHttpRetCode, "pHttpRetCode"))
        return QVRFUTIL_INVALID_ARGUMENTS;
    const Answer answer{ppRFResponse, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode};
    const s32    status =
        sendBy(webMethodType, {pWebResourceUrl, nullptr, answer, isHeaderRequested, ppResponseHeaderBuff, nullptr},
               pPostData, pFileNameWithPath);
    __SysDbgPrint4("%s : httpCdde  = %d.\n", op, *pHttpRetCode);
    return status;
}
