/**
 * @file vmwire.h
 * The wire between the reference platform and the simulated BMC, for both ends.
 *
 * Frames are those of the OpenIPMI VM serial protocol, which QEMU's external-BMC device speaks too:
 * a message is  seq, netFn << 2 | LUN, command, data..., checksum, kMessageEnd;  a reply carries netFn + 1 and begins
 * its data with the completion code. The checksum makes the sum of all bytes from seq on zero (mod 256). A device
 * command (versions, attention, power) is  command, parameters..., kCommandEnd.  A byte of the text that equals one of
 * the three special bytes travels as kEscape, byte | 0x10; the receiver takes the 0x10 off again.
 *
 * What has no raw IPMI form (command lines, the user database, the KS log, login tokens) travels as text in an OEM
 * request that is written, run and read in pieces, so that it passes through every kernel driver's message limit.
 * Numbers are little-endian. A transaction id keeps processes apart that share one BMC; the BMC forgets a transaction
 * when its reply was read to the end, and the oldest one when more than kMaxTransactions are open.
 *
 *   kOemWrite  id:4 offset:2 bytes...       -> cc
 *   kOemRun    id:4 verb:1 length:2         -> cc status:4 (signed) replyLength:2
 *   kOemRead   id:4 offset:2 count:1        -> cc bytes...
 */
#ifndef VMWIRE_H
#define VMWIRE_H

#include <cstddef>
#include <cstdint>

namespace vmwire {

constexpr std::uint8_t kMessageEnd = 0xA0;
constexpr std::uint8_t kCommandEnd = 0xA1;
constexpr std::uint8_t kEscape     = 0xAA;
constexpr std::uint8_t kEscapeBit  = 0x10;

constexpr std::uint8_t kDeviceVersion      = 0xFF;
constexpr std::uint8_t kDeviceCapabilities = 0x08;
constexpr std::uint8_t kDeviceInterruptOn  = 0x05;  ///< from the BMC: replies raise the host's interrupt, or do not
constexpr std::uint8_t kDeviceInterruptOff = 0x06;

constexpr std::uint8_t kOemNetFn = 0x32;
constexpr std::uint8_t kOemWrite = 0x01;
constexpr std::uint8_t kOemRun   = 0x02;
constexpr std::uint8_t kOemRead  = 0x03;

/** What a transaction's text is for; status and reply of kOemRun depend on it. */
enum class Verb : std::uint8_t {
    commandLine = 1,  ///< "vorsk get ..." / "vorsk set ...": 0 and the output, non-zero and an error text
    userSet     = 2,  ///< "vorsk set torvo.users.<slot>.<attribute> <value>": 0 when written
    userSlot    = 3,  ///< a user name: the slot that holds it, 0 when none does
    freeSlot    = 4,  ///< no text: a free slot, 0 when none is
    ksLog       = 5,  ///< message id and arguments, each closed by NUL: 0 when logged
    enrolToken  = 6,  ///< a login token: 0 when the BMC will accept it
};

constexpr std::size_t kMaxChunk        = 128;   ///< text bytes in one write or read
constexpr std::size_t kMaxText         = 4096;  ///< text bytes in one transaction, either way
constexpr std::size_t kMaxTransactions = 16;

constexpr std::uint8_t kCompletionOk            = 0x00;
constexpr std::uint8_t kCompletionNodeBusy      = 0xC0;
constexpr std::uint8_t kCompletionInvalidCmd    = 0xC1;
constexpr std::uint8_t kCompletionTimeout       = 0xC3;  ///< what a driver answers for a BMC that is silent
constexpr std::uint8_t kCompletionLengthInvalid = 0xC7;
constexpr std::uint8_t kCompletionOutOfRange    = 0xC9;
constexpr std::uint8_t kCompletionInvalidField  = 0xCC;

}  // namespace vmwire

#endif
