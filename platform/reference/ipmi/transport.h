/** @file transport.h  How requests travel to the BMC. */
#ifndef TRANSPORT_H
#define TRANSPORT_H

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>

#include "wiped.h"

namespace qvplatform {

using Clock = std::chrono::steady_clock;

/** A way to the BMC. Used by one thread at a time. */
class Transport {
public:
    virtual ~Transport() = default;

    /**
     * @param request  netFn << 2 | LUN, command, data
     * @return the reply: netFn + 1 << 2 | LUN, command, completion code, data; nothing when none came until @p deadline
     */
    virtual std::optional<Bytes> exchange(const Bytes& request, Clock::time_point deadline) = 0;

    /** The open way, which a child of fork() must let go of; -1: none. */
    virtual int descriptor() const noexcept { return -1; }
};

/** Waits for @p events on @p fd. @return false, with errno set, when the deadline came first or poll failed. */
inline bool waitFor(int fd, short events, Clock::time_point deadline)
{
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) break;
        pollfd    watched{fd, events, 0};
        const int ready = ::poll(&watched, 1, static_cast<int>(std::min<decltype(left)>(left, 60'000)));
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
    errno = ETIMEDOUT;
    return false;
}

/** The reply to this request, by network function and command. */
inline bool answers(const Bytes& request, const Bytes& reply)
{
    constexpr std::uint8_t kReplyBit = 0x04;  // replies carry the request's network function + 1
    return reply.size() >= 3 && reply[0] == (request[0] | kReplyBit) && reply[1] == request[1];
}

}  // namespace qvplatform

#endif
