/** @file qvrfutilLXExtended.cpp  The request that carries whatever its caller wants carried. */
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "qvisocppsecurecompat.h"
#include "qvrfutilLXExtendedAnswer.h"
#include "qvrfutilLXKept.h"
#include "qvrfutilLXResponse.h"
#include "qvrfutilLXSession.h"
#include "trace.h"

namespace {

using namespace qvrf;

constexpr char        kOp[]            = "QVRFUTILSendRequestEx";
constexpr std::size_t kLongestPath     = 400;
constexpr std::size_t kLongestMethod   = 16;
constexpr std::size_t kLongestHeader   = 8192;
constexpr u32         kMostHeaders     = 64;
constexpr u32         kMostFields      = 64;
constexpr long        kKeepAliveIdle   = 30;  // seconds; three probes 10 s apart follow
constexpr long        kKeepAlivePeriod = 10;

constexpr std::chrono::hours kNoLimit{24 * 24};  // libcurl counts milliseconds, and may have 31 bits for them

using MimeForm = std::unique_ptr<curl_mime, GivenBackBy<&curl_mime_free>>;

/** A caller's record as far as the caller has it; what it does not have yet is 0. */
template <class Record>
Record known(const Record& from) noexcept
{
    Record            record{};
    const std::size_t size = std::min<std::size_t>(from.recordSize, sizeof record);
    OXAmemcpy_s(&record, sizeof record, &from, size);
    return record;
}

bool isGraphic(char c) noexcept
{
    return c > ' ' && c < '\x7f';
}

bool isMethod(std::string_view method) noexcept
{
    return !method.empty() && method.size() <= kLongestMethod &&
           std::all_of(method.begin(), method.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

/** Anything else would end the address in the URL, or the request line: "@elsewhere/" is another host. */
bool isPath(std::string_view path) noexcept
{
    return !path.empty() && path.front() == '/' && path.size() <= kLongestPath &&
           std::all_of(path.begin(), path.end(), isGraphic);
}

bool isCalled(std::string_view line, std::string_view name) noexcept
{
    return line.size() > name.size() && line[name.size()] == ':' &&
           ::strncasecmp(line.data(), name.data(), name.size()) == 0;
}

bool isHeader(std::string_view line) noexcept
{
    const auto colon = line.find(':');
    if (colon == 0 || colon == line.npos || line.size() > kLongestHeader) return false;
    for (const char* ours : {"X-Auth-Token", "Content-Length", "Transfer-Encoding"})
        if (isCalled(line, ours)) return false;
    const auto name = line.substr(0, colon);
    return std::all_of(name.begin(), name.end(), isGraphic) && std::none_of(line.begin(), line.end(), [](char c) {
               return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7f';
           });
}

s32 refused(const char* what) noexcept
{
    __SysDbgPrint3("%s: %s.\n", kOp, what);
    return QVRFUTIL_INVALID_PARAMETER;
}

s32 checkHeaders(const QVRFUTILRequestEx& request) noexcept
{
    if (request.headerCount > kMostHeaders || (request.headerCount != 0 && request.ppHeaders == nullptr))
        return refused("the headers are too many, or missing");
    for (u32 i = 0; i < request.headerCount; ++i)
        if (request.ppHeaders[i] == nullptr || !isHeader(request.ppHeaders[i]))
            return refused("a header is no line of a name and a value, or one of the library's own");
    return OXA_SUCCESS;
}

s32 checkBody(const QVRFUTILRequestEx& request) noexcept
{
    const int bodies = (request.pBody != nullptr) + (request.pBodyFilePath != nullptr) + (request.fieldCount != 0);
    if (bodies > 1) return refused("there is more than one body");
    if (bodies == 1 && (request.pMethod == std::string_view("GET") || request.pMethod == std::string_view("HEAD")))
        return refused("GET and HEAD have no body");
    if (request.fieldCount > kMostFields || (request.fieldCount != 0 && request.pFields == nullptr))
        return refused("the fields are too many, or missing");
    for (u32 i = 0; i < request.fieldCount; ++i) {
        const QVRFUTILFormField& field = request.pFields[i];
        if (field.pName == nullptr || (field.pData != nullptr && field.pFilePath != nullptr) ||
            (field.pData == nullptr && field.dataSize != 0))
            return refused("a field has no name, or not one content");
    }
    return OXA_SUCCESS;
}

s32 check(const QVRFUTILRequestEx& request) noexcept
{
    if (request.pMethod == nullptr || request.pPath == nullptr) {
        __SysDbgPrint3("%s: the method or the path is NULL.\n", kOp);
        return QVRFUTIL_INVALID_ARGUMENTS;
    }
    if (!isMethod(request.pMethod)) return refused("the method is not in capital letters");
    if (!isPath(request.pPath)) return refused("the path does not begin with '/', or holds what no path may");
    if (const s32 st = checkHeaders(request); st != OXA_SUCCESS) return st;
    return checkBody(request);
}

/** @return 0, or the errno of what keeps a regular file from being read */
int cannotRead(const char* path) noexcept
{
    struct stat about {};
    if (::stat(path, &about) != 0) return errno;
    if (S_ISDIR(about.st_mode)) return EISDIR;
    if (!S_ISREG(about.st_mode)) return EINVAL;
    return ::access(path, R_OK) == 0 ? 0 : errno;
}

/** The programs that the host starts meanwhile get no connection to the BMC, which the token goes over. */
curl_socket_t openSocket(void* /*context*/, curlsocktype /*purpose*/, curl_sockaddr* address) noexcept
{
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

/** One exchange: all that has to live as long as its transfer. */
class Exchange {
public:
    Exchange(const QVRFUTILRequestEx& request, const QVRFUTILSession& session, EasyHandle easy) noexcept
        : request_(request), session_(session), easy_(std::move(easy)), answer_(request, easy_.get())
    {
    }

    s32 run(QVRFUTILReplyEx& reply) noexcept
    {
        s32 status = setOptions();
        if (status == OXA_SUCCESS) status = setHeaders();
        if (status == OXA_SUCCESS) status = setBody(reply);
        if (status == OXA_SUCCESS) status = setUrl();
        if (status != OXA_SUCCESS) return status;
        return answer_.handOver(kOp, perform(kOp, easy_, limit(), "Easy Perform"), reply);
    }

private:
    std::chrono::seconds limit() const noexcept
    {
        return request_.timeLimitMs == 0 ? kNoLimit : std::chrono::seconds((request_.timeLimitMs + 999) / 1000);
    }
    bool is(const char* method) const noexcept { return std::strcmp(request_.pMethod, method) == 0; }
    bool hasHeader(const char* name) const noexcept
    {
        return std::any_of(request_.ppHeaders, request_.ppHeaders + request_.headerCount,
                           [&](const astring* line) { return isCalled(line, name); });
    }

    s32 setOptions() noexcept
    {
        CURL* const easy = easy_.get();
        return curlStatus(setOption(kOp, easy, QVRF_OPT(CURLOPT_SSLVERSION), 0L) &&
                          setOption(kOp, easy, QVRF_OPT(CURLOPT_OPENSOCKETFUNCTION), &openSocket) &&
                          answer_.receive(kOp) && setLimits() && verifyNothing(kOp, easy) && setMethod());
    }

    bool setLimits() noexcept
    {
        CURL* const easy = easy_.get();
        if (request_.timeLimitMs != 0 &&
            !setOption(kOp, easy, QVRF_OPT(CURLOPT_TIMEOUT_MS), static_cast<long>(request_.timeLimitMs)))
            return false;
        if (request_.connectLimitMs != 0 &&
            !setOption(kOp, easy, QVRF_OPT(CURLOPT_CONNECTTIMEOUT_MS), static_cast<long>(request_.connectLimitMs)))
            return false;
        if ((request_.flags & QVRFUTIL_EX_TCP_KEEPALIVE) == 0) return true;
        return setOption(kOp, easy, QVRF_OPT(CURLOPT_FRESH_CONNECT), 1L) &&  // a kept one was opened without
               setOption(kOp, easy, QVRF_OPT(CURLOPT_TCP_KEEPALIVE), 1L) &&
               setOption(kOp, easy, QVRF_OPT(CURLOPT_TCP_KEEPIDLE), kKeepAliveIdle) &&
               setOption(kOp, easy, QVRF_OPT(CURLOPT_TCP_KEEPINTVL), kKeepAlivePeriod);
    }

    bool setMethod() noexcept
    {
        CURL* const easy = easy_.get();
        if (is("GET")) return setOption(kOp, easy, QVRF_OPT(CURLOPT_HTTPGET), 1L);
        if (is("HEAD")) return setOption(kOp, easy, QVRF_OPT(CURLOPT_NOBODY), 1L);
        return is("POST") || setOption(kOp, easy, QVRF_OPT(CURLOPT_CUSTOMREQUEST), request_.pMethod);
    }

    /** In the order of the other requests: what is accepted, the token, the body's type, and then the caller's own. */
    s32 setHeaders() noexcept
    {
        if (!hasHeader("Accept") && !headers_.append(kOp, "Accept: */*")) return QVRFUTIL_OUT_OF_MEMORY;
        if ((request_.flags & QVRFUTIL_EX_WITHOUT_SESSION) == 0)
            if (const s32 st = appendToken(); st != OXA_SUCCESS) return st;
        if (request_.fieldCount == 0 && request_.pBodyFilePath == nullptr && !hasHeader("Content-Type") &&
            !headers_.append(kOp, "Content-type: application/json"))
            return QVRFUTIL_OUT_OF_MEMORY;
        for (u32 i = 0; i < request_.headerCount; ++i)
            if (!headers_.append(kOp, request_.ppHeaders[i])) return QVRFUTIL_OUT_OF_MEMORY;
        return curlStatus(setOption(kOp, easy_.get(), QVRF_OPT(CURLOPT_HTTPHEADER), headers_.get()));
    }

    s32 appendToken() noexcept
    {
        Token token;
        if (const s32 st = token.decrypt(kOp, kRequestTexts, session_); st != 0) return st;
        return appendTokenHeader(kOp, headers_, token, nullptr) ? s32{OXA_SUCCESS} : s32{QVRFUTIL_OUT_OF_MEMORY};
    }

    s32 setBody(QVRFUTILReplyEx& reply) noexcept
    {
        if (request_.fieldCount != 0) return setForm(reply);
        if (request_.pBodyFilePath != nullptr) return setBodyFile(reply);
        const bool expectsOne = is("POST") || is("PATCH") || is("PUT");
        if (request_.pBody == nullptr && !expectsOne) return OXA_SUCCESS;
        return curlStatus(setOption(kOp, easy_.get(), QVRF_OPT(CURLOPT_POSTFIELDS),
                                    request_.pBody != nullptr ? static_cast<const char*>(request_.pBody) : "") &&
                          setSize(request_.bodySize));
    }

    bool setSize(u64 size) noexcept
    {
        const CURLcode rc = curl_easy_setopt(easy_.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
        logOption(kOp, "CURLOPT_POSTFIELDSIZE_LARGE", rc);
        return rc == CURLE_OK;
    }

    s32 setBodyFile(QVRFUTILReplyEx& reply) noexcept
    {
        const char* const path = request_.pBodyFilePath;
        if (const int error = cannotRead(path); error != 0) return ExtendedAnswer::fileFailed(kOp, path, error, reply);
        bodyFile_.reset(std::fopen(path, "rbe"));
        struct stat about {};
        if (!bodyFile_ || ::fstat(::fileno(bodyFile_.get()), &about) != 0)
            return ExtendedAnswer::fileFailed(kOp, path, errno, reply);
        return curlStatus(setOption(kOp, easy_.get(), QVRF_OPT(CURLOPT_POST), 1L) &&
                          setOption(kOp, easy_.get(), QVRF_OPT(CURLOPT_READDATA), bodyFile_.get()) &&
                          setSize(static_cast<u64>(about.st_size)));
    }

    s32 setForm(QVRFUTILReplyEx& reply) noexcept
    {
        form_.reset(curl_mime_init(easy_.get()));
        if (!form_) return QVRFUTIL_OUT_OF_MEMORY;
        for (u32 i = 0; i < request_.fieldCount; ++i)
            if (const s32 st = addField(request_.pFields[i], reply); st != OXA_SUCCESS) return st;
        return curlStatus(setOption(kOp, easy_.get(), QVRF_OPT(CURLOPT_MIMEPOST), form_.get()));
    }

    s32 addField(const QVRFUTILFormField& field, QVRFUTILReplyEx& reply) noexcept
    {
        if (field.pFilePath != nullptr)
            if (const int error = cannotRead(field.pFilePath); error != 0)
                return ExtendedAnswer::fileFailed(kOp, field.pFilePath, error, reply);
        curl_mimepart* const part = curl_mime_addpart(form_.get());
        if (part == nullptr || curl_mime_name(part, field.pName) != CURLE_OK) return QVRFUTIL_OUT_OF_MEMORY;
        const CURLcode filled =
            field.pFilePath != nullptr
                ? curl_mime_filedata(part, field.pFilePath)
                : curl_mime_data(part, field.pData != nullptr ? static_cast<const char*>(field.pData) : "",
                                 static_cast<std::size_t>(field.dataSize));
        if (filled == CURLE_OK && field.pContentType != nullptr)
            return curlStatus(curl_mime_type(part, field.pContentType) == CURLE_OK);
        return curlStatus(filled == CURLE_OK);
    }

    s32 setUrl() noexcept
    {
        const SmOwned<astring> url = requestUrl(session_.IPAddress, session_.Port, request_.pPath);
        if (!url) return QVRFUTIL_OUT_OF_MEMORY;
        if (!leadToBmc(kOp, easy_.get(), session_.IPAddress)) return QVRFUTIL_CURL_FAILED;
        __SysDbgPrint4("%s: %s %s\n", kOp, request_.pMethod, url.get());
        return curlStatus(setOption(kOp, easy_.get(), QVRF_OPT(CURLOPT_URL), url.get()));
    }

    const QVRFUTILRequestEx& request_;
    const QVRFUTILSession&   session_;
    HeaderList               headers_;  // these three outlive the handle that uses them
    File                     bodyFile_;
    EasyHandle               easy_;
    MimeForm                 form_;
    ExtendedAnswer           answer_;
};

/** The process's record, or the caller's own, for the length of one exchange. */
class SessionCopy {
public:
    explicit SessionCopy(const QVRFUTILSession* from) noexcept : session_(from != nullptr ? *from : g_RedfishSession) {}
    ~SessionCopy() { wipe(&session_, sizeof session_); }
    SessionCopy(SessionCopy&&) = delete;
    const QVRFUTILSession& get() const noexcept { return session_; }

private:
    QVRFUTILSession session_;
};

s32 send(const QVRFUTILRequestEx& request, QVRFUTILReplyEx& reply) noexcept
{
    if (const s32 st = check(request); st != OXA_SUCCESS) return st;
    const SessionCopy session(request.pSession);
    if ((request.flags & QVRFUTIL_EX_WITHOUT_SESSION) == 0 && sessionMissing(session.get())) {
        __SysDbgPrint3("%s: there is no session.\n", kOp);
        return QVRFUTIL_SESSION_FAILURE;
    }
    const bool isGet = std::strcmp(request.pMethod, "GET") == 0;
    EasyHandle easy  = isGet ? easyHandleForGet(keptFor(session.get())) : newEasyHandle();
    if (!easy) {
        __SysDbgPrint3("%s: curl_easy_init() failed.\n", kOp);
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    return Exchange(request, session.get(), std::move(easy)).run(reply);
}

/** Records may be those of another version of this header: each is read and written as far as its own size says. */
s32 sendOfAnyVersion(const QVRFUTILRequestEx& request, QVRFUTILReplyEx& to) noexcept
{
    const std::size_t replySize = std::min<std::size_t>(to.recordSize, sizeof to);
    if (request.recordSize < offsetof(QVRFUTILRequestEx, pSession) ||
        replySize < offsetof(QVRFUTILReplyEx, bodySize) + sizeof to.bodySize)
        return refused("a record is smaller than its first version");
    QVRFUTILReplyEx reply{};
    reply.recordSize = to.recordSize;
    const s32 status = send(known(request), reply);
    if (status == QVRFUTIL_OUT_OF_MEMORY) __SysDbgPrint3("%s: out of memory.\n", kOp);
    OXAmemcpy_s(&to, replySize, &reply, replySize);
    __SysDbgPrint4("%s : Returning with status = %d\n", kOp, status);
    return status;
}

}  // namespace

extern "C" s32 QVRFUTILSendRequestEx(const QVRFUTILRequestEx* pRequest, QVRFUTILReplyEx* pReply)
{
    const TraceScope trace(kOp);
    if (pRequest != nullptr && pReply != nullptr) return sendOfAnyVersion(*pRequest, *pReply);
    __SysDbgPrint3("%s: a record is NULL.\n", kOp);
    return QVRFUTIL_INVALID_ARGUMENTS;
}
