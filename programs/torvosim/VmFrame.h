/** @file VmFrame.h  Frames of the VM serial protocol: bytes of the wire to messages and back. */
#ifndef TORVOSIM_VMFRAME_H
#define TORVOSIM_VMFRAME_H

#include <optional>

#include "Support.h"

namespace torvosim {

struct IpmiMessage {
    std::uint8_t seq     = 0;
    std::uint8_t netFn   = 0;
    std::uint8_t lun     = 0;
    std::uint8_t command = 0;
    Bytes        data;  ///< in a reply the completion code is its first byte
};

/** What one end byte closed: a message, or a device command with its parameters. */
struct VmFrame {
    bool        isMessage = false;
    IpmiMessage message;
    Bytes       deviceCommand;
};

/** The bytes of @p message as they travel. */
Bytes encodeMessage(const IpmiMessage& message);
Bytes encodeDeviceCommand(const Bytes& command);

class VmFrameReader {
public:
    /** Takes the next byte of the wire. @return a frame when this byte closed a sound one; broken ones are dropped */
    std::optional<VmFrame> take(std::uint8_t byte);
    std::size_t            dropped() const noexcept { return dropped_; }

private:
    std::optional<VmFrame> closeMessage();

    Bytes       bytes_;
    bool        escaped_ = false;
    bool        broken_  = false;
    std::size_t dropped_ = 0;
};

}  // namespace torvosim

#endif
