/**
 * @file frame.h
 * Frames of the wire to the simulated BMC (vmwire.h), as functions on values: no socket, no clock.
 */
#ifndef FRAME_H
#define FRAME_H

#include <cstddef>
#include <cstdint>
#include <optional>

#include "wiped.h"

namespace qvplatform {

/** Bytes between two end bytes, escapes taken off, that a receiver keeps; a frame that grows beyond is dropped. */
constexpr std::size_t kMaxFrame = 512;

/** An IPMI message under its sequence number: netFn << 2 | LUN, command, data (a reply's begins with its code). */
struct Message {
    std::uint8_t sequence = 0;
    Bytes        bytes;
};

/** @p message as it travels. */
Bytes encodeMessage(const Message& message);

/** A device command with its parameters as it travels. */
Bytes encodeCommand(const Bytes& command);

/** Puts a byte stream back into frames. Keeps kMaxFrame bytes at most, whatever arrives. */
class FrameDecoder {
public:
    /** @return the message that @p byte completed; device commands and damaged frames are dropped. */
    std::optional<Message> take(std::uint8_t byte);

private:
    void keep(std::uint8_t byte);
    void startOver();

    Bytes frame_;
    bool  escaped_ = false;
    bool  damaged_ = false;
};

}  // namespace qvplatform

#endif
