/** @file curlLxReceived.cpp  Collects an answer's head and body. */
#include "curlLxReceived.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

namespace qvrf {
namespace {

/** As much of a body that nobody reads as its trace lines may count: more than any session resource has. */
constexpr std::size_t kMostUnread = std::size_t{64} * 1024;

thread_local const Collecting* t_collecting = nullptr;

/** Whether a head is whole after one more line: a status line begins the next one (100 Continue), trailers do not. */
bool wholeAfter(std::string_view line, bool wholeBefore) noexcept
{
    const bool blank = line == "\r\n" || line == "\n";
    return line.substr(0, 5) != "HTTP/" && (wholeBefore || blank);
}

void* grown(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED& from, std::size_t size) noexcept
{
    return std::realloc(from.pResponse, size);
}

/** To move a block, realloc would leave the old one as it was, the secret in it: here it only finds the new one. */
void* grownAndWiped(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED& from, std::size_t size) noexcept
{
    void* const larger = std::realloc(nullptr, size);
    if (larger == nullptr || from.pResponse == nullptr) return larger;
    std::memcpy(larger, from.pResponse, from.responseSize);
    wipe(from.pResponse, from.responseSize);
    std::free(from.pResponse);
    return larger;
}

using Grow = void* (*)(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED&, std::size_t) noexcept;

bool appendWithin(const char* op, std::size_t bound, Grow grow, QVRFUTIL_REDFISH_RESPONSE_RECEIVED& to,
                  const void* bytes, std::size_t n) noexcept
{
    if (to.responseSize > bound || n > bound - to.responseSize) {
        __SysDbgPrint3("%s: the BMC's answer is longer than %zu bytes.\n", op, bound);
        return false;
    }
    void* const larger = grow(to, to.responseSize + n + 1);
    if (larger == nullptr) return false;
    to.pResponse = static_cast<astring*>(larger);
    if (n != 0) std::memcpy(to.pResponse + to.responseSize, bytes, n);
    to.responseSize += n;
    return true;
}

}  // namespace

Received::~Received()
{
    if (content_ == Content::secretHead && pResponse != nullptr) wipe(pResponse, responseSize);
    std::free(pResponse);
}

bool Received::append(const char* op, const void* bytes, std::size_t n) noexcept
{
    switch (content_) {
        case Content::head: return appendWithin(op, kMostHead, grown, *this, bytes, n);
        case Content::secretHead: return appendWithin(op, kMostHead, grownAndWiped, *this, bytes, n);
        case Content::unread: return appendUnread(op, bytes, n);
        case Content::body: break;
    }
    return appendWithin(op, kMostBody, grown, *this, bytes, n);
}

/** Its size goes on counting what came when nothing more is kept: the log tells it. */
bool Received::appendUnread(const char* op, const void* bytes, std::size_t n) noexcept
{
    const std::size_t kept = std::min(n, kMostUnread - std::min(responseSize, kMostUnread));
    if (kept != 0 && !appendWithin(op, kMostUnread, grown, *this, bytes, kept)) return false;
    responseSize += n - kept;
    return true;
}

OwnedReceived newReceived(Received::Content content) noexcept
{
    void* const memory = SMAllocMem(sizeof(Received));
    return OwnedReceived(memory != nullptr ? new (memory) Received(content) : nullptr);
}

Collecting::Collecting(Received& head, Received& body) noexcept
    : head_(head), body_(body), outer_(std::exchange(t_collecting, this))
{
}

Collecting::~Collecting()
{
    t_collecting = outer_;
}

Received* Collecting::behind(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED& record) noexcept
{
    if (t_collecting == nullptr) return nullptr;
    if (&record == &t_collecting->head_) return &t_collecting->head_;
    return &record == &t_collecting->body_ ? &t_collecting->body_ : nullptr;
}

bool append(const char* op, QVRFUTIL_REDFISH_RESPONSE_RECEIVED& to, const void* bytes, std::size_t n) noexcept
{
    if (Received* const ours = Collecting::behind(to)) return ours->append(op, bytes, n);
    return appendWithin(op, kMostBody, grown, to, bytes, n);
}

bool headIsWhole(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED& head) noexcept
{
    std::string_view rest(head.pResponse, head.responseSize);
    bool             whole = false;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1);
        whole                       = wholeAfter(line, whole);
        rest.remove_prefix(line.size());
    }
    return whole;
}

}  // namespace qvrf
