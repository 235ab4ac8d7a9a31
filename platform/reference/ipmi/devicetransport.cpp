/** @file devicetransport.cpp  Requests through the kernel's IPMI driver, to the system interface. */
#include "devicetransport.h"

#include <fcntl.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "hipmstatus.h"

namespace qvplatform {
namespace {

/** More than any driver delivers; a longer reply arrives cut. */
constexpr std::size_t kReplyRoom = 512;

}  // namespace

const DeviceCalls kKernelCalls{
    [](const char* path) { return ::open(path, O_RDWR | O_CLOEXEC | O_NONBLOCK); },
    [](int fd, unsigned long request, void* argument) { return ::ioctl(fd, request, argument); },
};

std::optional<Bytes> DeviceTransport::exchange(const Bytes& request, Clock::time_point deadline)
{
    if (request.size() < 2) return std::nullopt;
    ++messageId_;
    for (bool reused = static_cast<bool>(device_);; reused = false) {
        if (!reused && !open()) return failed("open");
        if (send(request)) return receive(request, deadline);
        auto nothing = failed("send");
        device_      = qvrf::Descriptor();
        if (!reused) return nothing;  // the driver may have been loaded anew: one more try with a fresh descriptor
    }
}

bool DeviceTransport::open()
{
    device_ = qvrf::Descriptor(calls_.open(path_.c_str()));
    return static_cast<bool>(device_);
}

bool DeviceTransport::send(const Bytes& request)
{
    ipmi_system_interface_addr address{};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel   = IPMI_BMC_CHANNEL;
    address.lun       = request[0] & 0x03;

    Bytes    data(request.begin() + 2, request.end());  // the driver's structure points to data that is not const
    ipmi_req message{};
    message.addr         = reinterpret_cast<unsigned char*>(&address);
    message.addr_len     = sizeof address;
    message.msgid        = messageId_;
    message.msg.netfn    = request[0] >> 2;
    message.msg.cmd      = request[1];
    message.msg.data     = data.data();
    message.msg.data_len = static_cast<unsigned short>(data.size());
    return calls_.ioctl(device_.get(), IPMICTL_SEND_COMMAND, &message) == 0;
}

std::optional<Bytes> DeviceTransport::receive(const Bytes& request, Clock::time_point deadline)
{
    while (waitFor(device_.get(), POLLIN, deadline)) {
        ipmi_addr address{};
        Bytes     data(kReplyRoom);
        ipmi_recv received{};
        received.addr         = reinterpret_cast<unsigned char*>(&address);
        received.addr_len     = sizeof address;
        received.msg.data     = data.data();
        received.msg.data_len = static_cast<unsigned short>(data.size());
        // EMSGSIZE: the reply was longer than the room for it; what fits is there.
        if (calls_.ioctl(device_.get(), IPMICTL_RECEIVE_MSG_TRUNC, &received) != 0 && errno != EMSGSIZE) {
            if (errno == EAGAIN || errno == EINTR) continue;
            auto nothing = failed("receive");
            device_      = qvrf::Descriptor();
            return nothing;
        }
        if (received.recv_type != IPMI_RESPONSE_RECV_TYPE || received.msgid != messageId_) continue;

        Bytes reply{static_cast<std::uint8_t>(received.msg.netfn << 2 | (request[0] & 0x03)), received.msg.cmd};
        reply.reserve(reply.size() + data.size());
        reply.insert(
            reply.end(), data.begin(),
            data.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(received.msg.data_len, data.size())));
        if (answers(request, reply)) return reply;
    }
    return failed("receive");
}

std::optional<Bytes> DeviceTransport::failed(const char* step)
{
    const int         cause = errno;
    const std::string what  = std::string(step) + " at " + path_;
    reportFailure(what.c_str(), std::strerror(cause));
    return std::nullopt;
}

}  // namespace qvplatform
