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

thread_local Received* t_newest = nullptr;

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

/** realloc would leave the old block as it was, the secret in it. */
void* grownAndWiped(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED& from, std::size_t size) noexcept
{
    void* const larger = std::malloc(size);
    if (larger == nullptr || from.pResponse == nullptr) return larger;
    std::memcpy(larger, from.pResponse, from.responseSize);
    wipe(from.pResponse, from.responseSize);
    std::free(from.pResponse);
    return larger;
}

bool appendWithin(std::size_t bound, void* (*grow)(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED&, std::size_t) noexcept,
                  QVRFUTIL_REDFISH_RESPONSE_RECEIVED& to, const void* bytes, std::size_t n) noexcept
{
    if (to.responseSize > bound || n > bound - to.responseSize) {
        __SysDbgPrint3("The BMC's answer is longer than %zu bytes.\n", bound);
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

Received::Received(Content content) noexcept
    : QVRFUTIL_REDFISH_RESPONSE_RECEIVED{nullptr, 0}, content_(content), older_(std::exchange(t_newest, this))
{
}

Received::~Received()
{
    if (content_ == Content::secretHead && pResponse != nullptr) wipe(pResponse, responseSize);
    std::free(pResponse);
    Received** link = &t_newest;
    while (*link != this) link = &(*link)->older_;
    *link = older_;
}

Received* Received::behind(const QVRFUTIL_REDFISH_RESPONSE_RECEIVED& record) noexcept
{
    Received* received = t_newest;
    while (received != nullptr && received != &record) received = received->older_;
    return received;
}

bool Received::append(const void* bytes, std::size_t n) noexcept
{
    switch (content_) {
        case Content::head: return appendWithin(kMostHead, grown, *this, bytes, n);
        case Content::secretHead: return appendWithin(kMostHead, grownAndWiped, *this, bytes, n);
        case Content::unread: n = std::min(n, kMostUnread - responseSize); break;
        case Content::body: break;
    }
    return appendWithin(kMostBody, grown, *this, bytes, n);
}

OwnedReceived newReceived(Received::Content content) noexcept
{
    void* const memory = SMAllocMem(sizeof(Received));
    return OwnedReceived(memory != nullptr ? new (memory) Received(content) : nullptr);
}

bool append(QVRFUTIL_REDFISH_RESPONSE_RECEIVED& to, const void* bytes, std::size_t n) noexcept
{
    if (Received* const ours = Received::behind(to)) return ours->append(bytes, n);
    return appendWithin(kMostBody, grown, to, bytes, n);
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

std::size_t HeadWatch::line(char* bytes, std::size_t size, std::size_t count, void* watch) noexcept
{
    auto&                  self = *static_cast<HeadWatch*>(watch);
    const std::string_view text(bytes, size * count);
    if (text.size() > kMostHead - self.size_) {
        __SysDbgPrint3("The BMC's answer is longer than %zu bytes.\n", kMostHead);
        return 0;
    }
    self.size_ += text.size();
    self.whole_ = wholeAfter(text, self.whole_);
    return text.size();
}

}  // namespace qvrf
