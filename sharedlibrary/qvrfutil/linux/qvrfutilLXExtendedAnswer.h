/** @file qvrfutilLXExtendedAnswer.h  The answer to an extended request on its way to memory, a file or a function. */
#ifndef QVRFUTILLXEXTENDEDANSWER_H
#define QVRFUTILLXEXTENDEDANSWER_H

#include "curlLx.h"
#include "qvrfutilRequestEx.h"

namespace qvrf {

/** Takes an answer in and says what became of it. Lives as long as its transfer. */
class ExtendedAnswer {
public:
    ExtendedAnswer(const QVRFUTILRequestEx& request, CURL* easy) noexcept : request_(request), easy_(easy) {}
    ExtendedAnswer(ExtendedAnswer&&) = delete;

    /** Makes @p easy hand everything to this object. */
    bool receive(const char* op) noexcept;

    /** After the transfer: fills the reply in. @return the operation's status */
    s32 handOver(const char* op, CURLcode rc, QVRFUTILReplyEx& reply) noexcept;

    /** Notes that a file cannot be used, which @p error says. @return the status for it */
    static s32 fileFailed(const char* op, const char* path, int error, QVRFUTILReplyEx& reply) noexcept;

private:
    static std::size_t head(char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
    static std::size_t body(char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
    static int         progress(void* self, curl_off_t toReceive, curl_off_t received, curl_off_t toSend,
                                curl_off_t sent) noexcept;

    bool takeHead(const char* bytes, std::size_t size) noexcept;
    bool takeBody(const char* bytes, std::size_t size) noexcept;
    bool collect(const char* bytes, std::size_t size) noexcept;
    bool write(const char* bytes, std::size_t size) noexcept;
    bool openFile() noexcept;
    bool closeFile() noexcept;
    bool goesToFile() const noexcept;
    bool wants(booln more) noexcept;
    bool ended(QVRFUTILRequestExEnd end, int error = 0) noexcept;
    long httpCode() const noexcept;
    s32  failed(CURLcode rc, QVRFUTILReplyEx& reply) const noexcept;
    s32  complete(const char* op, QVRFUTILReplyEx& reply) noexcept;

    const QVRFUTILRequestEx& request_;
    CURL*                    easy_;
    Received                 head_{Received::Content::head};
    Received                 body_;
    const char*              op_          = "";
    std::size_t              headSize_    = 0;
    bool                     headIsWhole_ = false;
    File                     file_;
    bool                     fileBegun_   = false;
    bool                     outOfMemory_ = false;
    QVRFUTILRequestExEnd     end_         = QVRFUTIL_END_COMPLETE;
    int                      error_       = 0;
};

}  // namespace qvrf

#endif
