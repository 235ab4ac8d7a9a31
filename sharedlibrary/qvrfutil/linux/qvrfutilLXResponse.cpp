/** @file qvrfutilLXResponse.cpp  Collects a response and hands it to the caller. */
#include "qvrfutilLXResponse.h"

#include "qvisocppsecurecompat.h"
#include "qvrfutilLX.h"
#include "trace.h"

extern "C" size_t QVRFUTILCurlRedfishGETResponseCallback(astring* ptr, size_t size, size_t nmemb, void* pUserdata)
{
    static constexpr char  op[] = "QVRFUTILCurlRedfishGETResponseCallback";
    const qvrf::TraceScope trace(op);
    auto&                  to    = *static_cast<QVRFUTIL_REDFISH_RESPONSE_RECEIVED*>(pUserdata);
    const size_t           bytes = size * nmemb;
    __SysDbgPrint4("%s: tempResponseSize:%d.\n", op, static_cast<int>(bytes));
    __SysDbgPrint4(to.pResponse == nullptr ? "pResponse is null.\n" : "pResponse is not null. \n");
    if (qvrf::append(op, to, ptr, bytes)) return bytes;
    __SysDbgPrint3("%s: Out Of Memory\n", op);
    return static_cast<size_t>(-1);
}

extern "C" size_t SACopyFileCBCurl(void* ptr, size_t size, size_t nmemb, FILE* stream)
{
    const qvrf::TraceScope trace("SACopyFileCBCurl");
    return stream != nullptr ? std::fwrite(ptr, size, nmemb, stream) : 0;
}

namespace qvrf {

bool receiveInto(const char* op, CURL* easy, Received& header, Received& body) noexcept
{
    QVRFUTIL_REDFISH_RESPONSE_RECEIVED* const headerData = &header;
    QVRFUTIL_REDFISH_RESPONSE_RECEIVED* const bodyData   = &body;
    return setOption(op, easy, QVRF_OPT(CURLOPT_HEADERDATA), headerData) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_WRITEFUNCTION), &QVRFUTILCurlRedfishGETResponseCallback) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_WRITEDATA), bodyData);
}

bool verifyNothing(const char* op, CURL* easy) noexcept
{
    return setOption(op, easy, QVRF_OPT(CURLOPT_SSL_VERIFYPEER), 0L) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_SSL_VERIFYHOST), 0L);
}

s32 takeHttpCode(const char* op, CURL* easy, u16& http, long& code) noexcept
{
    if (const CURLcode rc = responseCode(easy, code); rc != CURLE_OK) {
        logOption(op, "CURLINFO_RESPONSE_CODE", rc);
        return QVRFUTIL_CURL_FAILED;
    }
    http = static_cast<u16>(code);
    __SysDbgPrint4("%s : http code from curl = %d\n", op, http);
    return OXA_SUCCESS;
}

s32 answerCut(const char* op) noexcept
{
    __SysDbgPrint3("%s: the answer ended among its header lines.\n", op);
    return QVRFUTIL_FAILURE;
}

s32 checkReceived(const char* op, CURL* easy, const Received& header, const Received& body) noexcept
{
    if (header.empty()) {
        __SysDbgPrint3("%s: No header data, bad response.\n", op);
        return QVRFUTIL_FAILURE;
    }
    if (!body.empty()) return OXA_SUCCESS;
    if (!headIsWhole(header) && endedInHead(easy)) return answerCut(op);
    __SysDbgPrint4("%s: No response data.\n", op);
    return OXA_SUCCESS;
}

s32 handOverHeaders(const char* op, const Received& header, booln wanted, astring** to) noexcept
{
    if (to == nullptr) return OXA_SUCCESS;
    if (wanted != TRUE) {
        *to = nullptr;
        return OXA_SUCCESS;
    }
    SmOwned<astring> text = smText(static_cast<u32>(header.responseSize + 1));
    if (!text) {
        __SysDbgPrint3("%s: Malloc failed for ppResponseHeaderBuff.\n", op);
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    OXAmemcpy_s(text.get(), header.responseSize + 1, header.pResponse, header.responseSize);
    *to = text.release();
    return OXA_SUCCESS;
}

s32 handOverBody(const char* op, const Received& body, const Answer& answer) noexcept
{
    const std::size_t needed   = body.responseSize + 1;
    const std::size_t capacity = *answer.body != nullptr ? answer.capacity : 0;
    *answer.length             = static_cast<u32>(needed);
    __SysDbgPrint4("%s:**ppRFResponseLen: %d.\n", op, static_cast<int>(needed));
    if (capacity < needed) {
        __SysDbgPrint3("%s: pRFResponseINLen = %d, pResponseBody.responseSize+1 = %d.\n", op,
                       static_cast<int>(answer.capacity), static_cast<int>(needed));
        __SysDbgPrint3("%s: Insufficient space in responsebuffer.\n", op);
        return QVRFUTIL_BUFFER_TOO_SMALL;
    }
    // Zeroing only what the body leaves over spares large bodies a second walk over their memory.
    astring* const    buffer = *answer.body;
    const std::size_t rest   = capacity - body.responseSize;
    OXAmemcpy_s(buffer, capacity, body.pResponse, body.responseSize);
    OXAmemset_s(buffer + body.responseSize, rest, 0, rest);
    return OXA_SUCCESS;
}

}  // namespace qvrf
