/** @file qvrfutilLXEngine.cpp  The way of an authenticated request, step by step. */
#include "qvrfutilLXEngine.h"

#include "OxaAutoUpdateLinuxOutput.h"
#include "qvrfutilLX.h"
#include "qvrfutilLXKept.h"
#include "steps.h"
#include "trace.h"

// The formats below take what Method says of them.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace qvrf {
namespace {

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
    if (method.missing != nullptr && (pathGone || answerGone || bodyGone)) return invalid(method.op, method.missing);
    if (pathGone) return invalid(method.op, "%s: pWebResourceUrl is NULL.\n");
    if (answerGone) return invalid(method.op, "%s: ppRFResponse is NULL.\n");
    if (bodyGone) return invalid(method.op, "%s: pPostData is NULL.\n");
    if (answer.length == nullptr) return invalid(method.op, "%s: pRFResponseOUTLen is NULL.\n");
    if (answer.http == nullptr) return invalid(method.op, "%s: pHttpRetCode is NULL.\n");
    if (request.file == nullptr && request.headersWanted == TRUE && request.headers == nullptr)
        return invalid(method.op, "%s: ppResponseHeaderBuff is NULL.\n");
    return OXA_SUCCESS;
}

/** One request under way, and all that it takes. */
class Exchange {
public:
    Exchange(const Method& method, const Request& request) noexcept : method_(method), request_(request), op_(method.op)
    {
    }

    s32 run() noexcept { return carryOut(*this, kSteps); }

private:
    s32 takeHandle() noexcept
    {
        easy_ = method_.mayKeep ? easyHandleForGet(keptForSession()) : newEasyHandle();
        if (easy_) return OXA_SUCCESS;
        __SysDbgPrint3("%s: curl_easy_init() failed.\n", op_);
        return QVRFUTIL_CURL_FAILED;
    }

    s32 takeSession() noexcept { return obtainSession(op_, method_.session, session_); }

    s32 openFile() noexcept
    {
        if (!set(QVRF_OPT(CURLOPT_SSLVERSION), 0L)) return QVRFUTIL_CURL_FAILED;
        if (request_.file == nullptr) return OXA_SUCCESS;
        file_ = openForWriting(request_.file);
        if (file_) return OXA_SUCCESS;
        __SysDbgPrint3("%s: Error in opening the file %s.\n", op_, request_.file);
        return QVRFUTIL_FAILURE;
    }

    s32 setOptions() noexcept
    {
        return curlStatus((file_ ? receiveIntoFile() : receiveInto(op_, easy_.get(), header_, body_)) &&
                          set(QVRF_OPT(CURLOPT_TIMEOUT), static_cast<long>(request_.limit.count())) &&
                          verifyNothing(op_, easy_.get()) && setMethod());
    }

    bool receiveIntoFile() noexcept
    {
        return set(QVRF_OPT(CURLOPT_WRITEFUNCTION), &SACopyFileCBCurl) && set(QVRF_OPT(CURLOPT_WRITEDATA), file_.get());
    }

    bool setMethod() noexcept
    {
        if (method_.customVerb != nullptr) return set(CURLOPT_CUSTOMREQUEST, method_.customName, method_.customVerb);
        return method_.hasBody ? set(QVRF_OPT(CURLOPT_POST), 1L) : set(QVRF_OPT(CURLOPT_HTTPGET), 1L);
    }

    s32 decryptToken() noexcept { return token_.decrypt(op_, *method_.session.texts, session_); }

    s32 setHeaders() noexcept { return curlStatus(listHeaders() && set(QVRF_OPT(CURLOPT_HTTPHEADER), headers_.get())); }

    bool listHeaders() noexcept
    {
        const bool json   = method_.speaksJson;
        bool       listed = (!json || headers_.append(op_, "Accept: */*")) &&
                      appendTokenHeader(op_, headers_, token_, nullptr) &&
                      (!json || headers_.append(op_, "Content-type: application/json"));
        for (auto line = request_.moreHeaders; listed && line != nullptr && *line != nullptr; ++line)
            listed = headers_.append(op_, *line);
        return listed;
    }

    s32 setUrl() noexcept
    {
        __SysDbgPrint4("redfishSession.IPAddress = %s\n", session_.IPAddress);
        __SysDbgPrint4("redfishSession.Port = %s\n", session_.Port);
        __SysDbgPrint4("pWebResourceUrl = %s\n", request_.path);
        if (!pathFits(op_, request_.path)) return QVRFUTIL_CURL_FAILED;
        url_ = requestUrl(session_.IPAddress, session_.Port, request_.path);
        if (!url_) {
            __SysDbgPrint3("%s: Malloc for pGETUrl failed.\n", op_);
            return QVRFUTIL_FAILURE;
        }
        if (!leadToBmc(op_, easy_.get(), session_.IPAddress)) return QVRFUTIL_CURL_FAILED;
        set(QVRF_OPT(CURLOPT_URL), url_.get());  // libcurl copies it; without one the transfer fails
        __SysDbgPrint4(method_.urlLine, op_, url_.get());
        return OXA_SUCCESS;
    }

    s32 setBody() noexcept
    {
        if (!method_.hasBody) return OXA_SUCCESS;
        __SysDbgPrint4(method_.bodyLine, request_.body);
        return curlStatus(set(QVRF_OPT(CURLOPT_POSTFIELDS), request_.body));
    }

    s32 transfer() noexcept
    {
        const Collecting collecting(header_, body_);
        return curlStatus(perform(op_, easy_, request_.limit, "Easy Perform") == CURLE_OK);
    }

    s32 takeStatus() noexcept
    {
        const s32 status = takeHttpCode(op_, easy_.get(), *request_.answer.http, code_);
        if (status == OXA_SUCCESS && method_.statusLine != nullptr)
            __SysDbgPrint4(method_.statusLine, op_, static_cast<long long>(code_));
        return status;
    }

    s32 renewWhenOver() noexcept
    {
        const bool over = (method_.wholeStatus ? code_ : long{*request_.answer.http}) == 401;
        return over ? renewAfter401(op_, method_.refusals, session_) : s32{OXA_SUCCESS};
    }

    s32 handOver() noexcept { return request_.file != nullptr ? handOverFile() : handOverText(); }

    s32 handOverFile() noexcept
    {
        *request_.answer.length = 0;
        if (endedInHead(easy_.get(), file_.get())) return answerCut(op_);
        headers_.clear();
        url_.reset();
        easy_.reset();
        // The last bytes reach the disk only here: a full one must not look like a whole file.
        if (std::fclose(file_.release()) == 0) return OXA_SUCCESS;
        __SysDbgPrint3("%s: Error in writing the file %s.\n", op_, request_.file);
        return QVRFUTIL_FAILURE;
    }

    s32 handOverText() noexcept
    {
        s32 status = checkReceived(op_, easy_.get(), header_, body_);
        if (status == OXA_SUCCESS) status = handOverHeaders(op_, header_, request_.headersWanted, request_.headers);
        if (status == OXA_SUCCESS) status = handOverBody(op_, body_, request_.answer);
        if (status == OXA_SUCCESS && method_.answerLine != nullptr)
            __SysDbgPrint4(method_.answerLine, op_, *request_.answer.body);
        return status;
    }

    template <class V>
    bool set(CURLoption option, const char* name, V value) noexcept
    {
        return setOption(op_, easy_.get(), option, name, value);
    }

    static constexpr s32 (Exchange::*kSteps[])() noexcept = {
        &Exchange::takeHandle,   &Exchange::takeSession, &Exchange::openFile,      &Exchange::setOptions,
        &Exchange::decryptToken, &Exchange::setHeaders,  &Exchange::setUrl,        &Exchange::setBody,
        &Exchange::transfer,     &Exchange::takeStatus,  &Exchange::renewWhenOver, &Exchange::handOver,
    };

    const Method&     method_;
    const Request&    request_;
    const char* const op_;
    QVRFUTILSession   session_;
    long              code_ = 0;
    // Given back from the last to the first.
    Token            token_;
    File             file_;
    EasyHandle       easy_;
    Received         body_;
    Received         header_{Received::Content::head};
    SmOwned<astring> url_;
    HeaderList       headers_;
};

}  // namespace

s32 sendRequest(const Method& method, const Request& request) noexcept
{
    const TraceScope trace(method.op);
    s32              status = checkArguments(method, request);
    if (status == OXA_SUCCESS) status = Exchange(method, request).run();
    __SysDbgPrint4("%s : Returning with status = %d\n", method.op, status);
    return status;
}

}  // namespace qvrf
