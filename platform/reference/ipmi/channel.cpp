/** @file channel.cpp  Serialised exchanges, and the channel that the settings choose. */
#include "channel.h"

#include "devicetransport.h"
#include "hipmstatus.h"
#include "settings.h"
#include "sockettransport.h"

namespace qvplatform {

/** One thread's time with the transport. The mutex is held for the taking alone, not while the BMC thinks. */
class Channel::Turn {
public:
    Turn(Channel& channel, Clock::time_point deadline) : channel_(channel)
    {
        std::unique_lock<std::mutex> lock(channel_.mutex_);
        mine_ = channel_.free_.wait_until(lock, deadline, [this] { return !channel_.busy_; });
        if (mine_) channel_.busy_ = true;
    }
    ~Turn()
    {
        if (!mine_) return;
        const std::lock_guard<std::mutex> lock(channel_.mutex_);
        channel_.busy_ = false;
        channel_.free_.notify_one();
    }
    Turn(Turn&&) = delete;
    explicit operator bool() const noexcept { return mine_; }

private:
    Channel& channel_;
    bool     mine_ = false;
};

std::optional<Bytes> Channel::exchange(const Bytes& request)
{
    const auto deadline = Clock::now() + limit_;
    const Turn turn(*this, deadline);
    if (!turn) {
        reportFailure("exchange", "other exchanges took all the time");
        return std::nullopt;
    }
    return transport_->exchange(request, deadline);
}

Channel& bmcChannel()
{
    // Never destroyed: a detached thread may be in an exchange while the process ends.
    static Channel& channel = *new Channel([]() -> std::unique_ptr<Transport> {
        const Endpoint& endpoint = settings().endpoint;
        if (endpoint.kind == Endpoint::Kind::device) return std::make_unique<DeviceTransport>(endpoint.place);
        return std::make_unique<SocketTransport>(endpoint);
    }());
    return channel;
}

}  // namespace qvplatform
