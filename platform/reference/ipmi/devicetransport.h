/** @file devicetransport.h  The way to a real BMC: the kernel's IPMI device. */
#ifndef DEVICETRANSPORT_H
#define DEVICETRANSPORT_H

#include <string>

#include "owners.h"
#include "transport.h"

namespace qvplatform {

/** The two system calls that only an IPMI driver answers. */
struct DeviceCalls {
    int (*open)(const char* path);
    int (*ioctl)(int fd, unsigned long request, void* argument);
};
extern const DeviceCalls kKernelCalls;

class DeviceTransport : public Transport {
public:
    /** Opens @p path with the first exchange, and again after the driver let go of it. */
    explicit DeviceTransport(std::string path, const DeviceCalls& calls = kKernelCalls)
        : path_(std::move(path)), calls_(calls)
    {
    }

    std::optional<Bytes> exchange(const Bytes& request, Clock::time_point deadline) override;
    int                  descriptor() const noexcept override { return device_.get(); }

private:
    bool                 open();
    bool                 send(const Bytes& request);
    std::optional<Bytes> receive(const Bytes& request, Clock::time_point deadline);
    std::optional<Bytes> failed(const char* step);

    const std::string  path_;
    const DeviceCalls& calls_;
    qvrf::Descriptor   device_;
    long               messageId_ = 0;
};

}  // namespace qvplatform

#endif
