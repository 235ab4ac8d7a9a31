/** @file sockettransport.h  The way to a simulated BMC: a stream socket that speaks vmwire.h. */
#ifndef SOCKETTRANSPORT_H
#define SOCKETTRANSPORT_H

#include "frame.h"
#include "owners.h"
#include "settings.h"
#include "transport.h"

namespace qvplatform {

class SocketTransport : public Transport {
public:
    /** Connects with the first exchange, and again after the peer went away. */
    explicit SocketTransport(Endpoint endpoint) : endpoint_(std::move(endpoint)) {}

    std::optional<Bytes> exchange(const Bytes& request, Clock::time_point deadline) override;
    int                  descriptor() const noexcept override { return socket_.get(); }

private:
    enum class Sent { whole, nothing, partly };

    bool                 stillConnected();
    bool                 connect(Clock::time_point deadline);
    Sent                 send(const Bytes& bytes, Clock::time_point deadline);
    std::optional<Bytes> receive(const Bytes& request, Clock::time_point deadline);
    std::optional<Bytes> failed(const char* step);
    void                 disconnect();

    const Endpoint   endpoint_;
    qvrf::Descriptor socket_;
    FrameDecoder     decoder_;
    std::uint8_t     sequence_ = 0;
};

}  // namespace qvplatform

#endif
