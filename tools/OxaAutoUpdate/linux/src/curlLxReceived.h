/** @file curlLxReceived.h  What is collected of an answer, within bounds that a hostile BMC cannot move. */
#ifndef CURLLXRECEIVED_H
#define CURLLXRECEIVED_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "owners.h"
#include "qvresponse.h"

namespace qvrf {

/** Status lines, header lines and trailers of one answer: the largest real ones have a few kilobytes. */
constexpr std::size_t kMostHead = std::size_t{1024} * 1024;
/** One less than what a reported length, which counts a NUL, can say. */
constexpr std::size_t kMostBody = UINT32_MAX - 1;

/** A response accumulator that frees its bytes, and what it may hold. */
class Received : public QVRFUTIL_REDFISH_RESPONSE_RECEIVED {
public:
    enum class Content {
        body,
        head,
        secretHead,  ///< wiped, wherever it stood while it grew
        unread       ///< a body whose size alone matters: it is counted, not kept
    };
    explicit Received(Content content = Content::body) noexcept
        : QVRFUTIL_REDFISH_RESPONSE_RECEIVED{nullptr, 0}, content_(content)
    {
    }
    Received(Received&&) = delete;
    ~Received();
    bool empty() const noexcept { return pResponse == nullptr || responseSize == 0; }
    bool append(const char* op, const void* bytes, std::size_t n) noexcept;

private:
    bool appendUnread(const char* op, const void* bytes, std::size_t n) noexcept;

    Content content_;
};

/**
 * Around a transfer that collects its answer in memory. The write callbacks are exported and get the plain record,
 * which may be somebody else's: here they learn whether it is the head or the body of this thread's transfer.
 */
class Collecting {
public:
    Collecting(Received& head, Received& body) noexcept;
    ~Collecting();
    Collecting(Collecting&&) = delete;

    /** The accumulator of this thread's transfer that @p record is, or nullptr. */
    static Received* behind(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED& record) noexcept;

private:
    Received&         head_;
    Received&         body_;
    const Collecting* outer_;
};

/** An accumulator in memory of the platform, for operations whose log knows that allocation. */
struct ReceivedGivenBack {
    void operator()(Received* received) const noexcept
    {
        received->~Received();
        SMFreeMem(received);
    }
};
using OwnedReceived = std::unique_ptr<Received, ReceivedGivenBack>;
OwnedReceived newReceived(Received::Content content) noexcept;

/**
 * Appends @p n bytes, growing by just that much (and the spare byte).
 * @return false out of memory, or over the bound, which is logged
 */
bool append(const char* op, QVRFUTIL_REDFISH_RESPONSE_RECEIVED& to, const void* bytes, std::size_t n) noexcept;

/** Whether the blank line came that ends the final answer's header lines. */
bool headIsWhole(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED& head) noexcept;

}  // namespace qvrf

#endif
