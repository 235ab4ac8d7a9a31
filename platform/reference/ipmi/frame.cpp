/** @file frame.cpp  Escapes, checksum and end bytes. */
#include "frame.h"

#include <numeric>

#include "vmwire.h"

namespace qvplatform {
namespace {

/** Sequence, netFn and LUN, command, checksum. */
constexpr std::size_t kShortest = 4;

std::uint8_t sumOf(const Bytes& bytes)
{
    return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0U));
}

bool isSpecial(std::uint8_t byte)
{
    return byte == vmwire::kMessageEnd || byte == vmwire::kCommandEnd || byte == vmwire::kEscape;
}

Bytes escaped(const Bytes& plain, std::uint8_t end)
{
    Bytes wire;
    wire.reserve(2 * plain.size() + 1);
    for (const std::uint8_t byte : plain) {
        if (isSpecial(byte)) wire.push_back(vmwire::kEscape);
        wire.push_back(isSpecial(byte) ? static_cast<std::uint8_t>(byte | vmwire::kEscapeBit) : byte);
    }
    wire.push_back(end);
    return wire;
}

}  // namespace

Bytes encodeMessage(const Message& message)
{
    Bytes plain;
    plain.reserve(message.bytes.size() + 2);
    plain.push_back(message.sequence);
    plain.insert(plain.end(), message.bytes.begin(), message.bytes.end());
    plain.push_back(static_cast<std::uint8_t>(0x100U - sumOf(plain)));
    return escaped(plain, vmwire::kMessageEnd);
}

Bytes encodeCommand(const Bytes& command)
{
    return escaped(command, vmwire::kCommandEnd);
}

std::optional<Message> FrameDecoder::take(std::uint8_t byte)
{
    if (byte == vmwire::kEscape) {
        damaged_ = damaged_ || escaped_;
        escaped_ = true;
        return std::nullopt;
    }
    if (byte != vmwire::kMessageEnd && byte != vmwire::kCommandEnd) {
        keep(byte);
        return std::nullopt;
    }
    std::optional<Message> message;
    const bool             whole = !damaged_ && !escaped_ && frame_.size() >= kShortest && sumOf(frame_) == 0;
    if (byte == vmwire::kMessageEnd && whole) message = Message{frame_.front(), {frame_.begin() + 1, frame_.end() - 1}};
    startOver();
    return message;
}

void FrameDecoder::keep(std::uint8_t byte)
{
    if (escaped_) byte = static_cast<std::uint8_t>(byte & ~vmwire::kEscapeBit);
    escaped_ = false;
    damaged_ = damaged_ || frame_.size() == kMaxFrame;
    if (!damaged_) frame_.push_back(byte);
}

void FrameDecoder::startOver()
{
    frame_.clear();
    escaped_ = false;
    damaged_ = false;
}

}  // namespace qvplatform
