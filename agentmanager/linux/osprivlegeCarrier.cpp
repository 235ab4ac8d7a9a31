/** @file osprivlegeCarrier.cpp  Watches the flags of an interface until it runs. */
#include "osprivlegeCarrier.h"

#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <thread>

#include "owners.h"

namespace qvrf {
namespace {

constexpr std::chrono::seconds      kLongest{5};
constexpr std::chrono::milliseconds kBetweenLooks{10};

// A carrier that has only just come: the far end sees it come and go as well, and swallows its answers until its own
// kernel has caught up.
constexpr int kSteadyLooks = 30;

// The C library's <net/if.h> ends before it, and the kernel's cannot stand beside that.
constexpr unsigned kLowerUp = 1U << 16;
constexpr unsigned kRunning = IFF_RUNNING | kLowerUp;

enum class Carrier { there, missing, unknown };

/**
 * The flags of one interface. By rtnetlink and not by SIOCGIFFLAGS: the kernel answers under the lock under which it
 * opens the interface's queue, so that an interface which it calls running also sends. IFF_RUNNING alone is not enough:
 * an interface that comes up for the first time has it until the kernel has looked for the carrier.
 */
class LinkQuestion {
public:
    explicit LinkQuestion(unsigned int index) noexcept
        : kernel_(index != 0 ? ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE) : -1)
    {
        request_.head.nlmsg_len   = sizeof request_;
        request_.head.nlmsg_type  = RTM_GETLINK;
        request_.head.nlmsg_flags = NLM_F_REQUEST;
        request_.link.ifi_index   = static_cast<int>(index);
    }
    Carrier ask() const noexcept
    {
        Answer answer;
        if (!kernel_ || ::send(kernel_.get(), &request_, sizeof request_, 0) < 0) return Carrier::unknown;
        const ssize_t size = ::recv(kernel_.get(), &answer, sizeof answer, MSG_DONTWAIT);
        if (size < static_cast<ssize_t>(sizeof(Message)) || answer.message.head.nlmsg_type != RTM_NEWLINK)
            return Carrier::unknown;
        return (answer.message.link.ifi_flags & kRunning) == kRunning ? Carrier::there : Carrier::missing;
    }

private:
    struct Message {
        nlmsghdr  head;
        ifinfomsg link;
    };
    union Answer {
        Message                message;
        std::array<char, 1024> bytes;  // the attributes behind the message are cut off
    };

    Descriptor kernel_;
    Message    request_{};
};

}  // namespace

CarrierWait::CarrierWait(const char* interfaceName) noexcept : index_(::if_nametoindex(interfaceName)), left_(kLongest)
{
}

bool CarrierWait::runningFor(bool aMoment) noexcept
{
    const LinkQuestion link(index_);
    Carrier            carrier = link.ask();
    const auto         begin   = std::chrono::steady_clock::now();
    auto               waited  = std::chrono::steady_clock::duration::zero();
    for (int steady = carrier == Carrier::there && !aMoment ? kSteadyLooks : 0;
         carrier != Carrier::unknown && steady < kSteadyLooks && waited < left_;
         waited = std::chrono::steady_clock::now() - begin) {
        std::this_thread::sleep_for(kBetweenLooks);
        carrier = link.ask();
        steady  = carrier == Carrier::there ? steady + 1 : 0;
    }
    left_ -= waited;
    return carrier == Carrier::there;
}

}  // namespace qvrf
