/** @file qvrfutilLXExtendedAnswer.cpp  Takes the answer to an extended request in. */
#include "qvrfutilLXExtendedAnswer.h"

#include <cerrno>
#include <string_view>

#include "OxaAutoUpdateLinuxOutput.h"
#include "qvisocppsecurecompat.h"
#include "qvrfutilLXResponse.h"

namespace qvrf {
namespace {

constexpr long kOk      = 200;
constexpr long kPartial = 206;

/** The caller's own copy, with a NUL behind. */
s32 handOut(const Received& received, astring*& text, u64& size) noexcept
{
    text = static_cast<astring*>(SMAllocMem(static_cast<u32>(received.responseSize + 1)));
    if (text == nullptr) return QVRFUTIL_OUT_OF_MEMORY;
    if (received.responseSize != 0)
        OXAmemcpy_s(text, received.responseSize + 1, received.pResponse, received.responseSize);
    text[received.responseSize] = '\0';
    size                        = received.responseSize;
    return OXA_SUCCESS;
}

/** What libcurl's numbers mean to a caller. A limit that runs out before TLS stands is that of an absent BMC. */
QVRFUTILRequestExEnd endOf(CURL* easy, CURLcode rc) noexcept
{
    curl_off_t connected = 0;
    switch (rc) {
        case CURLE_ABORTED_BY_CALLBACK: return QVRFUTIL_END_CANCELLED;
        case CURLE_READ_ERROR: return QVRFUTIL_END_FILE;
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_CONNECT:
        case CURLE_SSL_CONNECT_ERROR: return QVRFUTIL_END_NOT_CONNECTED;
        case CURLE_OPERATION_TIMEDOUT:
            if (curl_easy_getinfo(easy, CURLINFO_PRETRANSFER_TIME_T, &connected) == CURLE_OK && connected == 0)
                return QVRFUTIL_END_NOT_CONNECTED;
            return QVRFUTIL_END_TIME_LIMIT;
        default: return QVRFUTIL_END_BROKEN;
    }
}

}  // namespace

bool ExtendedAnswer::receive(const char* op) noexcept
{
    op_            = op;
    const bool set = setOption(op, easy_, QVRF_OPT(CURLOPT_HEADERFUNCTION), &ExtendedAnswer::head) &&
                     setOption(op, easy_, QVRF_OPT(CURLOPT_HEADERDATA), this) &&
                     setOption(op, easy_, QVRF_OPT(CURLOPT_WRITEFUNCTION), &ExtendedAnswer::body) &&
                     setOption(op, easy_, QVRF_OPT(CURLOPT_WRITEDATA), this);
    if (!set || request_.pProgressFunction == nullptr) return set;
    return setOption(op, easy_, QVRF_OPT(CURLOPT_XFERINFOFUNCTION), &ExtendedAnswer::progress) &&
           setOption(op, easy_, QVRF_OPT(CURLOPT_XFERINFODATA), this) &&
           setOption(op, easy_, QVRF_OPT(CURLOPT_NOPROGRESS), 0L);
}

std::size_t ExtendedAnswer::head(char* bytes, std::size_t size, std::size_t count, void* self) noexcept
{
    return static_cast<ExtendedAnswer*>(self)->takeHead(bytes, size * count) ? size * count : 0;
}

std::size_t ExtendedAnswer::body(char* bytes, std::size_t size, std::size_t count, void* self) noexcept
{
    const std::size_t length = size * count;
    // An empty piece cannot be refused by its size, and has nothing to refuse.
    return length == 0 || static_cast<ExtendedAnswer*>(self)->takeBody(bytes, length) ? length : 0;
}

int ExtendedAnswer::progress(void* self, curl_off_t toReceive, curl_off_t received, curl_off_t toSend,
                             curl_off_t sent) noexcept
{
    auto& answer = *static_cast<ExtendedAnswer*>(self);
    return answer.wants(answer.request_.pProgressFunction(answer.request_.pCallerContext, static_cast<u64>(sent),
                                                          static_cast<u64>(toSend), static_cast<u64>(received),
                                                          static_cast<u64>(toReceive)))
               ? 0
               : 1;
}

bool ExtendedAnswer::ended(QVRFUTILRequestExEnd end, int error) noexcept
{
    end_   = end;
    error_ = error;
    return false;
}

bool ExtendedAnswer::wants(booln more) noexcept
{
    return more != FALSE || ended(QVRFUTIL_END_CANCELLED);
}

long ExtendedAnswer::httpCode() const noexcept
{
    long code = 0;
    return responseCode(easy_, code) == CURLE_OK ? code : 0;
}

/** Of several answers in a row (100 Continue) the last one's blank line counts; trailers come behind it. */
bool ExtendedAnswer::takeHead(const char* bytes, std::size_t size) noexcept
{
    const std::string_view line(bytes, size);
    headSize_ += size;
    if (headSize_ > kMostHead) return ended(QVRFUTIL_END_BROKEN);
    headIsWhole_ = line == "\r\n" || line == "\n" || (headIsWhole_ && line.substr(0, 5) != "HTTP/");
    if (request_.pHeaderFunction != nullptr)
        return wants(request_.pHeaderFunction(request_.pCallerContext, bytes, static_cast<u32>(size)));
    outOfMemory_ = !head_.append(op_, bytes, size);
    return !outOfMemory_;
}

bool ExtendedAnswer::goesToFile() const noexcept
{
    if (request_.pAnswerFilePath == nullptr) return false;
    const long code = httpCode();
    return code == kOk || code == kPartial;
}

bool ExtendedAnswer::takeBody(const char* bytes, std::size_t size) noexcept
{
    if (request_.pBodyFunction != nullptr)
        return wants(request_.pBodyFunction(request_.pCallerContext, static_cast<u16>(httpCode()), bytes,
                                            static_cast<u32>(size)));
    if (goesToFile()) return write(bytes, size);
    return collect(bytes, size);
}

bool ExtendedAnswer::collect(const char* bytes, std::size_t size) noexcept
{
    const u64 most = request_.mostAnswerBytes != 0 && request_.mostAnswerBytes < kMostBody ? request_.mostAnswerBytes
                                                                                           : u64{kMostBody};
    if (size > most || body_.responseSize > most - size) return ended(QVRFUTIL_END_TOO_LONG);
    outOfMemory_ = !body_.append(op_, bytes, size);
    return !outOfMemory_;
}

bool ExtendedAnswer::openFile() noexcept
{
    if (std::exchange(fileBegun_, true)) return file_ != nullptr;
    file_ = openForWriting(request_.pAnswerFilePath);
    return file_ || ended(QVRFUTIL_END_FILE, errno);
}

bool ExtendedAnswer::write(const char* bytes, std::size_t size) noexcept
{
    if (!openFile()) return false;
    return std::fwrite(bytes, 1, size, file_.get()) == size || ended(QVRFUTIL_END_FILE, errno);
}

/** The last bytes reach the disk only here: a full one must not look like a complete file. */
bool ExtendedAnswer::closeFile() noexcept
{
    if (!goesToFile()) return true;
    if (!openFile()) return false;
    return std::fclose(file_.release()) == 0 || ended(QVRFUTIL_END_FILE, errno);
}

s32 ExtendedAnswer::fileFailed(const char* op, const char* path, int error, QVRFUTILReplyEx& reply) noexcept
{
    __SysDbgPrint3("%s: the file %s cannot be used: error %d.\n", op, path, error);
    reply.end         = QVRFUTIL_END_FILE;
    reply.systemError = error;
    return QVRFUTIL_CURL_FAILED;
}

s32 ExtendedAnswer::failed(CURLcode rc, QVRFUTILReplyEx& reply) const noexcept
{
    if (outOfMemory_ || rc == CURLE_OUT_OF_MEMORY) return QVRFUTIL_OUT_OF_MEMORY;
    long error = 0;
    curl_easy_getinfo(easy_, CURLINFO_OS_ERRNO, &error);
    reply.transferError = static_cast<s32>(rc);
    reply.end           = end_ != QVRFUTIL_END_COMPLETE ? end_ : endOf(easy_, rc);
    if (reply.end == QVRFUTIL_END_FILE) reply.systemError = error_ != 0 ? error_ : EIO;
    if (reply.end == QVRFUTIL_END_NOT_CONNECTED) reply.systemError = static_cast<s32>(error);
    return reply.end == QVRFUTIL_END_TOO_LONG ? s32{QVRFUTIL_BUFFER_TOO_SMALL} : s32{QVRFUTIL_CURL_FAILED};
}

s32 ExtendedAnswer::complete(const char* op, QVRFUTILReplyEx& reply) noexcept
{
    if (!headIsWhole_) {
        answerCut(op);
        reply.end = QVRFUTIL_END_BROKEN;
        return QVRFUTIL_CURL_FAILED;
    }
    if (!closeFile()) return fileFailed(op, request_.pAnswerFilePath, error_, reply);
    if (request_.pBodyFunction != nullptr || goesToFile()) return OXA_SUCCESS;
    return handOut(body_, reply.pBody, reply.bodySize);
}

s32 ExtendedAnswer::handOver(const char* op, CURLcode rc, QVRFUTILReplyEx& reply) noexcept
{
    reply.httpCode = static_cast<u16>(httpCode());
    s32 status     = rc == CURLE_OK ? complete(op, reply) : failed(rc, reply);
    if (status == OXA_SUCCESS && reply.httpCode == 0) {
        __SysDbgPrint3("%s: the answer's HTTP status is not known.\n", op);
        status = QVRFUTIL_CURL_FAILED;
    }
    if (request_.pHeaderFunction == nullptr && !head_.empty() && status != QVRFUTIL_OUT_OF_MEMORY)
        if (const s32 st = handOut(head_, reply.pHeaders, reply.headersSize); st != OXA_SUCCESS) status = st;
    return status;
}

}  // namespace qvrf
