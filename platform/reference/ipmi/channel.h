/** @file channel.h  This process's one line to the BMC: exchanges one after another, each within its time. */
#ifndef CHANNEL_H
#define CHANNEL_H

#include <condition_variable>
#include <memory>
#include <mutex>

#include "transport.h"

namespace qvplatform {

class Channel {
public:
    static constexpr std::chrono::milliseconds kLimit{5000};

    explicit Channel(std::unique_ptr<Transport> transport, std::chrono::milliseconds limit = kLimit)
        : transport_(std::move(transport)), limit_(limit)
    {
    }

    /**
     * One exchange; the wait for other threads' exchanges counts into its time, which ends at @p latest. Any thread.
     */
    std::optional<Bytes> exchange(const Bytes& request, Clock::time_point latest = Clock::time_point::max());

    /** In a child of fork(): closes the way that the parent goes on using, and touches nothing else. */
    void letGo() const noexcept;

private:
    class Turn;

    const std::unique_ptr<Transport> transport_;
    const std::chrono::milliseconds  limit_;
    std::mutex                       mutex_;
    std::condition_variable          free_;
    bool                             busy_ = false;
};

/** The channel to the endpoint of the settings. A child of fork() has one of its own. */
Channel& bmcChannel();

}  // namespace qvplatform

#endif
