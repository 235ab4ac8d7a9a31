/** @file subscription.h  A subscription to an event stream, whose pieces are waited for one after the other. */
#ifndef QVRFCTL_SUBSCRIPTION_H
#define QVRFCTL_SUBSCRIPTION_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "session.h"

namespace qvrfctl {

/** Where the subscription's thread leaves what came, and the tool's takes it. */
class Inbox;

class Subscription {
public:
    using Clock = std::chrono::steady_clock;
    enum class News { piece, silence, broken, ended };

    /** @throws Failure */
    Subscription(Session& session, const std::string& path);
    /** Ends it: takes a second or two. */
    ~Subscription();
    Subscription(Subscription&&) = delete;

    /**
     * Waits for the next piece of the stream, until @p until at most.
     *
     * "ended" is the BMC's orderly end of the stream. The library makes no callback for it; it is noticed because the
     * subscription's thread ends then, which takes a first piece to have come on it. Without one the wait goes on.
     */
    News next(std::string& piece, std::optional<Clock::time_point> until);

private:
    void unregister() noexcept;

    Interrupts&                 interrupts_;
    std::shared_ptr<Inbox>      inbox_;
    QVRFUTILHttpCallbackContext callback_{};
    void*                       handle_ = nullptr;
};

}  // namespace qvrfctl

#endif
