/** @file channel.cpp  Serialised exchanges, and the channel that the settings choose. */
#include "channel.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

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

std::optional<Bytes> Channel::exchange(const Bytes& request, Clock::time_point latest)
{
    forgetProblem();
    const auto deadline = std::min(Clock::now() + limit_, latest);
    const Turn turn(*this, deadline);
    if (!turn) {
        reportFailure("exchange", "other exchanges took all the time");
        return std::nullopt;
    }
    return transport_->exchange(request, deadline);
}

void Channel::letGo() const noexcept
{
    if (const int way = transport_->descriptor(); way >= 0) ::close(way);
}

namespace {

/** Stands in for the BMC of a configuration that cannot be used. */
class NoTransport : public Transport {
public:
    std::optional<Bytes> exchange(const Bytes&, Clock::time_point) override
    {
        reportFailure("configuration", settings().problem.c_str());
        return std::nullopt;
    }
};

std::unique_ptr<Transport> configuredTransport()
{
    if (!settings().problem.empty()) return std::make_unique<NoTransport>();
    const Endpoint& endpoint = settings().endpoint;
    if (endpoint.kind == Endpoint::Kind::device) return std::make_unique<DeviceTransport>(endpoint.place);
    return std::make_unique<SocketTransport>(endpoint);
}

/** The process's channel, and the one before it in the parent's memory, so that a leak checker finds them all. */
struct Current {
    Current() : channel(configuredTransport()) {}
    Channel  channel;
    Current* parents = nullptr;
};

std::atomic<Current*> g_current{nullptr};
Current*              g_parents = nullptr;

/**
 * The fork may have fallen into another thread's exchange, and that thread is not here to end it: its channel stays as
 * it is, for ever busy, and the child's next exchange makes a new one.
 */
void startAnewInChild() noexcept
{
    Current* const parents = g_current.exchange(nullptr);
    if (parents == nullptr) return;
    parents->channel.letGo();
    parents->parents = g_parents;
    g_parents        = parents;
}

Current& newCurrent()
{
    // Never destroyed: a detached thread may be in an exchange while the process ends.
    auto     made  = std::make_unique<Current>();
    Current* first = nullptr;
    return g_current.compare_exchange_strong(first, made.get()) ? *made.release() : *first;
}

}  // namespace

Channel& bmcChannel()
{
    [[maybe_unused]] static const int registered = ::pthread_atfork(nullptr, nullptr, startAnewInChild);
    Current* const                    current    = g_current.load();
    return (current != nullptr ? *current : newCurrent()).channel;
}

}  // namespace qvplatform
