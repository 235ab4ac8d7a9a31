/** @file qvrfutilLXUpload.cpp  The two requests beside the engine: file upload, and GET without a session. */
#include <sys/stat.h>

#include "qvrfutilLX.h"
#include "qvrfutilLXResponse.h"
#include "qvrfutilLXSession.h"
#include "trace.h"

namespace {

using namespace qvrf;

constexpr char kUpload[] = "QVRFUTILOSSendFileUploadRequest";
constexpr char kNoAuth[] = "QVRFUTILOSSendRequestNoAuth";

constexpr LoggedOut kLoggedOut{"[QVRFUTIL] %s: Failed to get Session Details.\n", QVRFUTIL_NO_SESSION_DETAILS};

constexpr RenewalRefusals kRefusals{
    "[QVRFUTIL]%s: Failed to Send POST due to session failure. Please Retry\n",
    "%s: Failed to Send POST due to session failure. Please Retry\n",
};

using MimeForm = std::unique_ptr<curl_mime, GivenBackBy<&curl_mime_free>>;

s32 curlStatus(bool succeeded) noexcept
{
    return succeeded ? s32{OXA_SUCCESS} : s32{QVRFUTIL_CURL_FAILED};
}

s32 handOver(const char* op, const Received& header, const Received& body, const Answer& answer) noexcept
{
    if (s32 st = checkReceived(op, header, body); st != OXA_SUCCESS) return st;
    return handOverBody(op, body, answer);
}

/** One upload as the caller put it. */
struct Upload {
    const astring* path;
    const astring* file;
    const astring* metadata;
    Answer         answer;
};

bool isComplete(const Upload& upload) noexcept
{
    return upload.path != nullptr && upload.file != nullptr && upload.metadata != nullptr &&
           upload.answer.body != nullptr && upload.answer.length != nullptr && upload.answer.http != nullptr;
}

s32 setUploadHeaders(CURL* easy, const QVRFUTILSession& session, HeaderList& headers) noexcept
{
    if (!headers.append("Accept: */*")) return QVRFUTIL_CURL_FAILED;
    if (s32 st = appendDecryptedToken(kUpload, session, headers); st != OXA_SUCCESS) return st;
    return curlStatus(setOption(kUpload, easy, QVRF_OPT(CURLOPT_HTTPHEADER), headers.get()));
}

s32 setUploadUrl(CURL* easy, const QVRFUTILSession& session, const astring* path) noexcept
{
    const SmOwned<astring> url = requestUrl(session.IPAddress, session.Port, path);
    if (!url) {
        __SysDbgPrint3("[QVRFUTIL] %s: SMAllocMem for pUrl failed.\n", kUpload);
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    scopeLinkLocal(kUpload, easy, session.IPAddress);
    setOption(kUpload, easy, QVRF_OPT(CURLOPT_URL), url.get());
    return OXA_SUCCESS;
}

/** libcurl would take a directory for an empty file. */
bool isDirectory(const astring* path) noexcept
{
    struct stat about {};
    return stat(path, &about) == 0 && S_ISDIR(about.st_mode);
}

bool addMetadata(curl_mime* form, const astring* metadata) noexcept
{
    curl_mimepart* const part = curl_mime_addpart(form);
    return part != nullptr && curl_mime_name(part, "metadata") == CURLE_OK &&
           curl_mime_data(part, metadata, CURL_ZERO_TERMINATED) == CURLE_OK &&
           curl_mime_type(part, "application/json") == CURLE_OK;
}

/** The file is opened and read while the form is sent. */
bool addFile(curl_mime* form, const astring* file) noexcept
{
    curl_mimepart* const part = curl_mime_addpart(form);
    return part != nullptr && !isDirectory(file) && curl_mime_name(part, "LogZip") == CURLE_OK &&
           curl_mime_filedata(part, file) == CURLE_OK;
}

s32 fillForm(CURL* easy, curl_mime* form, const Upload& upload) noexcept
{
    if (!addMetadata(form, upload.metadata) || !addFile(form, upload.file)) {
        __SysDbgPrint3("[QVRFUTIL] %s: the form cannot be built; is %s a readable file?\n", kUpload, upload.file);
        return QVRFUTIL_CURL_FAILED;
    }
    if (!setOption(kUpload, easy, QVRF_OPT(CURLOPT_MIMEPOST), form)) return QVRFUTIL_CURL_FAILED;
    __SysDbgPrint4("[QVRFUTIL] Curl setting all opt done.\n");
    return OXA_SUCCESS;
}

s32 sendUpload(const Upload& upload) noexcept
{
    if (!isComplete(upload)) {
        __SysDbgPrint3("[QVRFUTIL] %s: ERROR: Invalid arguments, returning..\n", kUpload);
        return QVRFUTIL_INVALID_ARGUMENTS;
    }
    const EasyHandle easy = newEasyHandle(kUpload);
    if (!easy) {
        __SysDbgPrint3("%s: curl_easy_init() failed.\n", kUpload);
        return QVRFUTIL_CURL_FAILED;
    }
    Received       header(Received::Content::head), body;
    HeaderList     headers;
    const MimeForm form(curl_mime_init(easy.get()));
    if (!form) {
        __SysDbgPrint3("%s: curl_mime_init() failed.\n", kUpload);
        return QVRFUTIL_CURL_FAILED;
    }
    QVRFUTILSession session;
    if (s32 st = obtainTransferSession(kUpload, kLoggedOut, session); st != OXA_SUCCESS) return st;
    if (!setOption(kUpload, easy.get(), QVRF_OPT(CURLOPT_SSLVERSION), 0L) || !verifyNothing(kUpload, easy.get()) ||
        !receiveInto(kUpload, easy.get(), header, body) ||
        !setOption(kUpload, easy.get(), QVRF_OPT(CURLOPT_TIMEOUT), 100L))
        return QVRFUTIL_CURL_FAILED;
    if (s32 st = setUploadHeaders(easy.get(), session, headers); st != OXA_SUCCESS) return st;
    if (s32 st = setUploadUrl(easy.get(), session, upload.path); st != OXA_SUCCESS) return st;
    if (s32 st = fillForm(easy.get(), form.get(), upload); st != OXA_SUCCESS) return st;
    if (perform(kUpload, easy, "Easy Perform") != CURLE_OK) return QVRFUTIL_CURL_FAILED;
    long code = 0;
    if (s32 st = takeHttpCode(kUpload, easy.get(), *upload.answer.http, code); st != OXA_SUCCESS) return st;
    if (code == 401)
        if (s32 st = renewAfter401(kUpload, kRefusals, session); st != OXA_SUCCESS) return st;
    return handOver(kUpload, header, body, upload.answer);
}

s32 setNoAuthOptions(CURL* easy, Received& header, Received& body, HeaderList& headers) noexcept
{
    const bool listed = headers.append("Accept: */*") && headers.append("Content-type: application/json");
    return curlStatus(listed && setOption(kNoAuth, easy, QVRF_OPT(CURLOPT_SSLVERSION), 0L) &&
                      receiveInto(kNoAuth, easy, header, body) &&
                      setOption(kNoAuth, easy, QVRF_OPT(CURLOPT_TIMEOUT), 5L) &&
                      setOption(kNoAuth, easy, QVRF_OPT(CURLOPT_CONNECTTIMEOUT), 5L) && verifyNothing(kNoAuth, easy) &&
                      setOption(kNoAuth, easy, QVRF_OPT(CURLOPT_HTTPGET), 1L) &&
                      setOption(kNoAuth, easy, QVRF_OPT(CURLOPT_HTTPHEADER), headers.get()));
}

/** The endpoint comes straight from the record: nobody needs a session for these resources. */
s32 setNoAuthUrl(CURL* easy, const astring* path) noexcept
{
    __SysDbgPrint4("[QVRFUTIL]%s IPAddress = %s\n", kNoAuth, g_RedfishSession.IPAddress);
    __SysDbgPrint4("[QVRFUTIL]%s port = %s\n", kNoAuth, g_RedfishSession.Port);
    __SysDbgPrint4("[QVRFUTIL]%s pUrl = %s\n", kNoAuth, path);
    const SmOwned<astring> url = requestUrl(g_RedfishSession.IPAddress, g_RedfishSession.Port, path);
    if (!url) {
        __SysDbgPrint3("%s: Malloc for pGETUrl failed.\n", kNoAuth);
        return QVRFUTIL_FAILURE;
    }
    scopeLinkLocal(kNoAuth, easy, g_RedfishSession.IPAddress);
    setOption(kNoAuth, easy, QVRF_OPT(CURLOPT_URL), url.get());
    __SysDbgPrint4("%s: pGETUrl = %s.\n", kNoAuth, url.get());
    return OXA_SUCCESS;
}

s32 performNoAuth(const EasyHandle& easy) noexcept
{
    const CURLcode rc = performQuietly(easy);
    if (rc == CURLE_OK) return OXA_SUCCESS;
    __SysDbgPrint3("[QVRFUTIL]%s: The curl API set curl_easy_perform failed with %d.\n", kNoAuth, rc);
    __SysDbgPrint3("[QVRFUTIL]%s: curl_easy_perform Failed with IPv = %s,  port = %s\n", kNoAuth,
                   g_RedfishSession.IPAddress, g_RedfishSession.Port);
    return QVRFUTIL_FAILURE;
}

s32 getWithoutSession(const astring* path, const Answer& answer) noexcept
{
    const char* missing = nullptr;
    if (path == nullptr)
        missing = "pURL";
    else if (answer.body == nullptr)
        missing = "ppResponseBuffer";
    else if (answer.length == nullptr)
        missing = "pRFResponseOUTLen";
    else if (answer.http == nullptr)
        missing = "pHttpRetCode";
    if (missing != nullptr) {
        __SysDbgPrint3("%s: %s is NULL.\n", kNoAuth, missing);
        return QVRFUTIL_INVALID_ARGUMENTS;
    }
    const EasyHandle easy = easyHandleForGet(kNoAuth, keptForSession());
    if (!easy) {
        __SysDbgPrint3("%s: curl_easy_init() failed.\n", kNoAuth);
        return QVRFUTIL_CURL_FAILED;
    }
    Received   header(Received::Content::head), body;
    HeaderList headers;
    if (s32 st = setNoAuthOptions(easy.get(), header, body, headers); st != OXA_SUCCESS) return st;
    if (s32 st = setNoAuthUrl(easy.get(), path); st != OXA_SUCCESS) return st;
    if (s32 st = performNoAuth(easy); st != OXA_SUCCESS) return st;
    long code = 0;
    if (s32 st = takeHttpCode(kNoAuth, easy.get(), *answer.http, code); st != OXA_SUCCESS) return st;
    return handOver(kNoAuth, header, body, answer);
}

}  // namespace

extern "C" s32 QVRFUTILOSSendFileUploadRequest(const astring* pWebResourceUrl, const astring* filePathWithName,
                                               const astring* pPostData, astring** ppRFResponse, u32 pRFResponseINLen,
                                               u32* pRFResponseOUTLen, u16* pHttpRetCode)
{
    const TraceScope trace(kUpload, kEventTrace);
    return sendUpload({pWebResourceUrl,
                       filePathWithName,
                       pPostData,
                       {ppRFResponse, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode}});
}

extern "C" s32 QVRFUTILOSSendRequestNoAuth(const astring* pURL, astring** ppResponseBuffer, u32 pRFResponseINLen,
                                           u32* pRFResponseOUTLen, u16* pHttpRetCode)
{
    const TraceScope trace(kNoAuth, kEventTrace);
    const s32 status = getWithoutSession(pURL, {ppResponseBuffer, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode});
    __SysDbgPrint4("%s : Returning with status = %d\n", kNoAuth, status);
    return status;
}
