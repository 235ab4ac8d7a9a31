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

/**
 * A response accumulator that frees its bytes. The bound of each belongs to the thread that made it: the callbacks get
 * the plain record, which others may also hand them, and look here for what is known of it.
 */
class Received : public QVRFUTIL_REDFISH_RESPONSE_RECEIVED {
public:
    enum class Content {
        body,
        head,
        secretHead,  ///< wiped, wherever it stood while it grew
        unread       ///< a body of which nobody reads more than that there is one: its rest is dropped
    };
    explicit Received(Content content = Content::body) noexcept;
    Received(Received&&) = delete;
    ~Received();
    bool empty() const noexcept { return pResponse == nullptr || responseSize == 0; }

    /** This thread's accumulator behind a plain record, or nullptr. */
    static Received* behind(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED& record) noexcept;
    bool             append(const void* bytes, std::size_t n) noexcept;

private:
    Content   content_;
    Received* older_;
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

/** Appends @p n bytes, growing by just that much (and the spare byte). @return false out of memory or over the bound */
bool append(QVRFUTIL_REDFISH_RESPONSE_RECEIVED& to, const void* bytes, std::size_t n) noexcept;

/** Whether the blank line came that ends the final answer's header lines. */
bool headIsWhole(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED& head) noexcept;

/** The same for an answer whose header lines nobody collects, line by line as they come in. */
class HeadWatch {
public:
    /** libcurl's header function; its data is the watch. @return 0 over the bound: libcurl ends the transfer */
    static std::size_t line(char* bytes, std::size_t size, std::size_t count, void* watch) noexcept;
    bool               whole() const noexcept { return whole_; }

private:
    std::size_t size_  = 0;
    bool        whole_ = false;
};

}  // namespace qvrf

#endif
