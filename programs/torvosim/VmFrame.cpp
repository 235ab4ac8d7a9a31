/** @file VmFrame.cpp  Frames of the VM serial protocol. */
#include "VmFrame.h"

#include <numeric>
#include <utility>

#include "ipmi/vmwire.h"

namespace torvosim {

namespace {

constexpr std::size_t kShortest = 4;    // seq, netFn/LUN, command, checksum
constexpr std::size_t kLongest  = 512;  // well above the 272 bytes of the kernel's messages

void appendEscaped(Bytes& wire, const Bytes& bytes)
{
    for (const std::uint8_t byte : bytes) {
        if (byte == vmwire::kMessageEnd || byte == vmwire::kCommandEnd || byte == vmwire::kEscape) {
            wire.push_back(vmwire::kEscape);
            wire.push_back(byte | vmwire::kEscapeBit);
        } else {
            wire.push_back(byte);
        }
    }
}

std::uint8_t sum(const Bytes& bytes)
{
    return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0u));
}

}  // namespace

Bytes encodeMessage(const IpmiMessage& message)
{
    Bytes bytes{message.seq, static_cast<std::uint8_t>(message.netFn << 2 | message.lun), message.command};
    bytes.insert(bytes.end(), message.data.begin(), message.data.end());
    bytes.push_back(static_cast<std::uint8_t>(0x100 - sum(bytes)));
    Bytes wire;
    appendEscaped(wire, bytes);
    wire.push_back(vmwire::kMessageEnd);
    return wire;
}

Bytes encodeDeviceCommand(const Bytes& command)
{
    Bytes wire;
    appendEscaped(wire, command);
    wire.push_back(vmwire::kCommandEnd);
    return wire;
}

std::optional<VmFrame> VmFrameReader::take(std::uint8_t byte)
{
    if (byte == vmwire::kMessageEnd || byte == vmwire::kCommandEnd) {
        std::optional<VmFrame> frame;
        if (!broken_ && !escaped_) {
            if (byte == vmwire::kMessageEnd) {
                frame = closeMessage();
            } else if (!bytes_.empty()) {
                frame = VmFrame{false, {}, bytes_};
            }
        }
        if (!frame) ++dropped_;
        bytes_.clear();
        escaped_ = broken_ = false;
        return frame;
    }
    if (byte == vmwire::kEscape) {
        broken_  = broken_ || escaped_;
        escaped_ = true;
        return std::nullopt;
    }
    if (std::exchange(escaped_, false)) byte = static_cast<std::uint8_t>(byte & ~vmwire::kEscapeBit);
    if (bytes_.size() >= kLongest) {
        broken_ = true;  // keeps reading to the end byte, without keeping what it reads
    } else {
        bytes_.push_back(byte);
    }
    return std::nullopt;
}

std::optional<VmFrame> VmFrameReader::closeMessage()
{
    if (bytes_.size() < kShortest || sum(bytes_) != 0) return std::nullopt;
    VmFrame frame;
    frame.isMessage       = true;
    frame.message.seq     = bytes_[0];
    frame.message.netFn   = static_cast<std::uint8_t>(bytes_[1] >> 2);
    frame.message.lun     = bytes_[1] & 3;
    frame.message.command = bytes_[2];
    frame.message.data.assign(bytes_.begin() + 3, bytes_.end() - 1);
    return frame;
}

}  // namespace torvosim
