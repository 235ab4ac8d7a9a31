/** @file qvrfutilLXUpload.cpp  The two requests beside the engine: file upload, and GET without a session. */
#include <sys/stat.h>

#include "qvrfutilLX.h"
#include "qvrfutilLXKept.h"
#include "qvrfutilLXResponse.h"
#include "qvrfutilLXSession.h"
#include "steps.h"
#include "trace.h"

namespace {

using namespace qvrf;

constexpr char kUpload[] = "QVRFUTILOSSendFileUploadRequest";
constexpr char kNoAuth[] = "QVRFUTILOSSendRequestNoAuth";

constexpr std::chrono::seconds kNoAuthSeconds{5};

constexpr SessionRules kUploadSession{
    &kTransferTexts,
    "[QVRFUTIL] %s: Failed to get Session Details.\n",
    {"[QVRFUTIL] %s: Failed to get Session Details.\n", QVRFUTIL_NO_SESSION_DETAILS},
};

constexpr RenewalRefusals kRefusals{
    "[QVRFUTIL]%s: Failed to Send POST due to session failure. Please Retry\n",
    "%s: Failed to Send POST due to session failure. Please Retry\n",
};

using MimeForm = std::unique_ptr<curl_mime, GivenBackBy<&curl_mime_free>>;

/** One upload as the caller put it. */
struct UploadRequest {
    const astring* path;
    const astring* file;
    const astring* metadata;
    Answer         answer;
};

bool isComplete(const UploadRequest& upload) noexcept
{
    return upload.path != nullptr && upload.file != nullptr && upload.metadata != nullptr &&
           upload.answer.body != nullptr && upload.answer.length != nullptr && upload.answer.http != nullptr;
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

/** One upload under way, and all that it takes. */
class Upload {
public:
    explicit Upload(const UploadRequest& request) noexcept : request_(request) {}

    s32 run() noexcept { return carryOut(*this, kSteps); }

private:
    s32 takeHandle() noexcept
    {
        easy_ = newEasyHandle();
        if (easy_) return OXA_SUCCESS;
        __SysDbgPrint3("%s: curl_easy_init() failed.\n", kUpload);
        return QVRFUTIL_CURL_FAILED;
    }

    s32 takeForm() noexcept
    {
        form_.reset(curl_mime_init(easy_.get()));
        if (form_) return OXA_SUCCESS;
        __SysDbgPrint3("%s: curl_mime_init() failed.\n", kUpload);
        return QVRFUTIL_CURL_FAILED;
    }

    s32 takeSession() noexcept { return obtainSession(kUpload, kUploadSession, session_); }

    s32 setOptions() noexcept
    {
        CURL* const easy = easy_.get();
        return curlStatus(setOption(kUpload, easy, QVRF_OPT(CURLOPT_SSLVERSION), 0L) && verifyNothing(kUpload, easy) &&
                          receiveInto(kUpload, easy, header_, body_) &&
                          setOption(kUpload, easy, QVRF_OPT(CURLOPT_TIMEOUT), long{kRequestSeconds.count()}));
    }

    s32 decryptToken() noexcept { return token_.decrypt(kUpload, kTransferTexts, session_); }

    /** Without a type of the body: libcurl has the form's. */
    s32 setHeaders() noexcept
    {
        return curlStatus(headers_.append(kUpload, "Accept: */*") &&
                          appendTokenHeader(kUpload, headers_, token_, kTokenLine) &&
                          setOption(kUpload, easy_.get(), QVRF_OPT(CURLOPT_HTTPHEADER), headers_.get()));
    }

    s32 setUrl() noexcept
    {
        if (!pathFits(kUpload, request_.path)) return QVRFUTIL_CURL_FAILED;
        url_ = requestUrl(session_.IPAddress, session_.Port, request_.path);
        if (!url_) {
            __SysDbgPrint3("[QVRFUTIL] %s: SMAllocMem for pUrl failed.\n", kUpload);
            return QVRFUTIL_OUT_OF_MEMORY;
        }
        if (!leadToBmc(kUpload, easy_.get(), session_.IPAddress)) return QVRFUTIL_CURL_FAILED;
        setOption(kUpload, easy_.get(), QVRF_OPT(CURLOPT_URL), url_.get());
        return OXA_SUCCESS;
    }

    s32 fillForm() noexcept
    {
        if (!addMetadata(form_.get(), request_.metadata) || !addFile(form_.get(), request_.file)) {
            __SysDbgPrint3("[QVRFUTIL] %s: the form cannot be built; is %s a readable file?\n", kUpload, request_.file);
            return QVRFUTIL_CURL_FAILED;
        }
        if (!setOption(kUpload, easy_.get(), QVRF_OPT(CURLOPT_MIMEPOST), form_.get())) return QVRFUTIL_CURL_FAILED;
        __SysDbgPrint4("[QVRFUTIL] Curl setting all opt done.\n");
        return OXA_SUCCESS;
    }

    s32 transfer() noexcept
    {
        const Collecting collecting(header_, body_);
        return curlStatus(perform(kUpload, easy_, kRequestSeconds, "Easy Perform") == CURLE_OK);
    }

    s32 takeStatus() noexcept
    {
        long code = 0;
        if (s32 st = takeHttpCode(kUpload, easy_.get(), *request_.answer.http, code); st != OXA_SUCCESS) return st;
        return code == 401 ? renewAfter401(kUpload, kRefusals, session_) : s32{OXA_SUCCESS};
    }

    s32 handOver() noexcept
    {
        if (s32 st = checkReceived(kUpload, easy_.get(), header_, body_); st != OXA_SUCCESS) return st;
        return handOverBody(kUpload, body_, request_.answer);
    }

    static constexpr s32 (Upload::*kSteps[])() noexcept = {
        &Upload::takeHandle,   &Upload::takeForm,   &Upload::takeSession, &Upload::setOptions,
        &Upload::decryptToken, &Upload::setHeaders, &Upload::setUrl,      &Upload::fillForm,
        &Upload::transfer,     &Upload::takeStatus, &Upload::handOver,
    };

    const UploadRequest& request_;
    QVRFUTILSession      session_;
    // Given back from the last to the first.
    Received         body_;
    Received         header_{Received::Content::head};
    EasyHandle       easy_;
    MimeForm         form_;
    Token            token_;
    SmOwned<astring> url_;
    HeaderList       headers_;
};

s32 sendUpload(const UploadRequest& request) noexcept
{
    if (isComplete(request)) return Upload(request).run();
    __SysDbgPrint3("[QVRFUTIL] %s: ERROR: Invalid arguments, returning..\n", kUpload);
    return QVRFUTIL_INVALID_ARGUMENTS;
}

/** One GET without a session under way, and all that it takes. */
class OpenGet {
public:
    OpenGet(const astring* path, const Answer& answer) noexcept : path_(path), answer_(answer) {}

    s32 run() noexcept { return carryOut(*this, kSteps); }

private:
    s32 takeHandle() noexcept
    {
        easy_ = easyHandleForGet(keptForSession());
        if (easy_) return OXA_SUCCESS;
        __SysDbgPrint3("%s: curl_easy_init() failed.\n", kNoAuth);
        return QVRFUTIL_CURL_FAILED;
    }

    s32 setOptions() noexcept
    {
        CURL* const easy  = easy_.get();
        const long  limit = kNoAuthSeconds.count();
        return curlStatus(setOption(kNoAuth, easy, QVRF_OPT(CURLOPT_SSLVERSION), 0L) &&
                          receiveInto(kNoAuth, easy, header_, body_) &&
                          setOption(kNoAuth, easy, QVRF_OPT(CURLOPT_TIMEOUT), limit) &&
                          setOption(kNoAuth, easy, QVRF_OPT(CURLOPT_CONNECTTIMEOUT), limit) &&
                          verifyNothing(kNoAuth, easy) && setOption(kNoAuth, easy, QVRF_OPT(CURLOPT_HTTPGET), 1L));
    }

    s32 setHeaders() noexcept
    {
        return curlStatus(headers_.append(kNoAuth, "Accept: */*") &&
                          headers_.append(kNoAuth, "Content-type: application/json") &&
                          setOption(kNoAuth, easy_.get(), QVRF_OPT(CURLOPT_HTTPHEADER), headers_.get()));
    }

    /** The endpoint comes straight from the record: nobody needs a session for these resources. */
    s32 setUrl() noexcept
    {
        const QVRFUTILSession& record = g_RedfishSession;
        __SysDbgPrint4("[QVRFUTIL]%s IPAddress = %s\n", kNoAuth, record.IPAddress);
        __SysDbgPrint4("[QVRFUTIL]%s port = %s\n", kNoAuth, record.Port);
        __SysDbgPrint4("[QVRFUTIL]%s pUrl = %s\n", kNoAuth, path_);
        if (!pathFits(kNoAuth, path_)) return QVRFUTIL_FAILURE;
        url_ = requestUrl(record.IPAddress, record.Port, path_);
        if (!url_) {
            __SysDbgPrint3("%s: Malloc for pGETUrl failed.\n", kNoAuth);
            return QVRFUTIL_FAILURE;
        }
        if (!leadToBmc(kNoAuth, easy_.get(), record.IPAddress)) return QVRFUTIL_CURL_FAILED;
        setOption(kNoAuth, easy_.get(), QVRF_OPT(CURLOPT_URL), url_.get());
        __SysDbgPrint4("%s: pGETUrl = %s.\n", kNoAuth, url_.get());
        return OXA_SUCCESS;
    }

    s32 transfer() noexcept
    {
        const Collecting collecting(header_, body_);
        const CURLcode   rc = performQuietly(easy_, kNoAuthSeconds);
        if (rc == CURLE_OK) return OXA_SUCCESS;
        __SysDbgPrint3("[QVRFUTIL]%s: The curl API set curl_easy_perform failed with %d.\n", kNoAuth, rc);
        __SysDbgPrint3("[QVRFUTIL]%s: curl_easy_perform Failed with IPv = %s,  port = %s\n", kNoAuth,
                       g_RedfishSession.IPAddress, g_RedfishSession.Port);
        return QVRFUTIL_FAILURE;
    }

    s32 handOver() noexcept
    {
        long code = 0;
        if (s32 st = takeHttpCode(kNoAuth, easy_.get(), *answer_.http, code); st != OXA_SUCCESS) return st;
        if (s32 st = checkReceived(kNoAuth, easy_.get(), header_, body_); st != OXA_SUCCESS) return st;
        return handOverBody(kNoAuth, body_, answer_);
    }

    static constexpr s32 (OpenGet::*kSteps[])() noexcept = {
        &OpenGet::takeHandle, &OpenGet::setOptions, &OpenGet::setHeaders,
        &OpenGet::setUrl,     &OpenGet::transfer,   &OpenGet::handOver,
    };

    const astring* path_;
    const Answer&  answer_;
    // Given back from the last to the first.
    EasyHandle       easy_;
    HeaderList       headers_;
    Received         body_;
    Received         header_{Received::Content::head};
    SmOwned<astring> url_;
};

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
    if (missing == nullptr) return OpenGet(path, answer).run();
    __SysDbgPrint3("%s: %s is NULL.\n", kNoAuth, missing);
    return QVRFUTIL_INVALID_ARGUMENTS;
}

}  // namespace

extern "C" s32 QVRFUTILOSSendFileUploadRequest(const astring* pWebResourceUrl, const astring* filePathWithName,
                                               const astring* pPostData, astring** ppRFResponse, u32 pRFResponseINLen,
                                               u32* pRFResponseOUTLen, u16* pHttpRetCode)
{
    const TraceScope trace(kUpload);
    return sendUpload({pWebResourceUrl,
                       filePathWithName,
                       pPostData,
                       {ppRFResponse, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode}});
}

extern "C" s32 QVRFUTILOSSendRequestNoAuth(const astring* pURL, astring** ppResponseBuffer, u32 pRFResponseINLen,
                                           u32* pRFResponseOUTLen, u16* pHttpRetCode)
{
    const TraceScope trace(kNoAuth);
    const s32 status = getWithoutSession(pURL, {ppResponseBuffer, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode});
    __SysDbgPrint4("%s : Returning with status = %d\n", kNoAuth, status);
    return status;
}
