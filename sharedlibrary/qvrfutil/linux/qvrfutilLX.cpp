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
    get.op        = "QVRFUTILOSGETRequest";
    get.takesFile = true;
    get.mayKeep   = true;  // what changes something does not: libcurl resends what a dead connection did not take
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

/** nullptr: no such method. */
const Method* methodOf(QVRFUTILRequestType type) noexcept
{
    switch (type) {
        case QVRFUTIL_REQUEST_GET: return &kGet;
        case QVRFUTIL_REQUEST_POST: return &kPost;
        case QVRFUTIL_REQUEST_DELETE: return &kDelete;
        case QVRFUTIL_REQUEST_PATCH: return &kPatch;
        default: return nullptr;
    }
}

bool given(const char* op, const void* argument, const char* name) noexcept
{
    if (argument == nullptr) __SysDbgPrint3("%s: %s is NULL.\n", op, name);
    return argument != nullptr;
}

/** Leaves out what the method does not take. Without a method nothing is sent, and that is no failure. */
s32 sendAs(const Method* method, Request request) noexcept
{
    if (method == nullptr) return OXA_SUCCESS;
    if (!method->hasBody) request.body = nullptr;
    if (!method->takesFile) request.file = nullptr;
    return sendRequest(*method, request);
}

s32 sendAnyRequest(const char* op, QVRFUTILRequestType type, const Request& request) noexcept
{
    __SysDbgPrint4("%s : webmethod = %d\n", op, type);
    if (!given(op, request.path, "pWebResourceUrl") || !given(op, request.answer.body, "ppRFResponse") ||
        !given(op, request.answer.http, "pHttpRetCode"))
        return QVRFUTIL_INVALID_ARGUMENTS;
    const s32 status = sendAs(methodOf(type), request);
    __SysDbgPrint4("%s : httpCdde  = %d.\n", op, *request.answer.http);
    return status;
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

extern "C" s32 QVRFUTILOSSendRequest(const astring* pWebResourceUrl, astring* pPostData, astring** ppRFResponse,
                                     u32 pRFResponseINLen, u32* pRFResponseOUTLen, QVRFUTILRequestType webMethodType,
                                     u16* pHttpRetCode, booln isHeaderRequested, astring** ppResponseHeaderBuff,
                                     astring* pFileNameWithPath)
{
    static constexpr char op[] = "QVRFUTILOSSendRequest";
    const TraceScope      trace(op);
    return sendAnyRequest(op, webMethodType,
                          {pWebResourceUrl,
                           pPostData,
                           {ppRFResponse, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode},
                           isHeaderRequested,
                           ppResponseHeaderBuff,
                           pFileNameWithPath});
}
