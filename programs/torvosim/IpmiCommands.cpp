/**
 * @file IpmiCommands.cpp
 * The IPMI commands that the BMC answers.
 *
 * Offsets here count from the completion code. Hosts count from the netFn of their transfer buffer, two bytes earlier:
 * their reply byte 10 is data byte 8 here.
 */
#include "IpmiCommands.h"

#include <algorithm>
#include <string_view>

#include "ipmi/vmwire.h"

namespace torvosim {

namespace {

constexpr std::uint8_t kApp              = 0x06;
constexpr std::uint8_t kSetGlobalEnables = 0x2E;
constexpr std::uint8_t kOemGroup         = 0x2E;
constexpr std::uint8_t kOem              = 0x30;
constexpr std::uint8_t kMaker[]          = {0xC7, 0x03, 0x00};

Bytes refused(std::uint8_t completion)
{
    return {completion};
}

Bytes okReply(std::size_t size)
{
    Bytes reply(size);
    reply[0] = vmwire::kCompletionOk;
    return reply;
}

void putText(Bytes& reply, std::size_t at, std::string_view text)
{
    if (reply.size() < at + text.size()) reply.resize(at + text.size());
    std::copy(text.begin(), text.end(), reply.begin() + static_cast<std::ptrdiff_t>(at));
}

Bytes getDeviceId(const Facts& facts, const Bytes&)
{
    const auto bcdMinor = static_cast<std::uint8_t>(facts.firmwareMinor % 100 / 10 << 4 | facts.firmwareMinor % 10);
    return {vmwire::kCompletionOk,
            0x20,                                                   // device id
            0x01,                                                   // revision
            static_cast<std::uint8_t>(facts.firmwareMajor & 0x7F),  // bit 7 clear: in normal operation
            bcdMinor,
            0x02,  // IPMI 2.0, low digit first
            0x1F,  // sensors, SDR, SEL, FRU, event receiver
            kMaker[0],
            kMaker[1],
            kMaker[2],
            0x01,
            0x00,  // product
            static_cast<std::uint8_t>(facts.firmwareBuild),
            static_cast<std::uint8_t>(facts.firmwareBuild >> 8),
            0x00,
            0x00};
}

Bytes getGlobalEnables(const Facts& facts, const Bytes&)
{
    return {vmwire::kCompletionOk, facts.globalEnables};
}

/** What kernel drivers ask or set when they attach; there is nothing behind it. */
Bytes acknowledge(const Facts&, const Bytes&)
{
    return okReply(1);
}
Bytes oneZero(const Facts&, const Bytes&)
{
    return okReply(2);
}

Bytes getDeviceGuid(const Facts& facts, const Bytes&)
{
    Bytes reply = okReply(17);
    putText(reply, 1, "torvosim-");
    reply[16] = facts.firmwareMajor;
    return reply;
}

Bytes getSelfTest(const Facts&, const Bytes&)
{
    return {vmwire::kCompletionOk, 0x55, 0x00};
}

Bytes getChannelInfo(const Facts&, const Bytes& data)
{
    if (data.empty()) return refused(vmwire::kCompletionLengthInvalid);
    const auto channel = static_cast<std::uint8_t>(data[0] & 0x0F);
    if (channel != 0x0E && channel != 0x0F) return refused(vmwire::kCompletionInvalidField);
    // The system interface: medium 0x0C, protocol 0x05 (KCS), no sessions, IPMI's own vendor number.
    return {vmwire::kCompletionOk, 0x0F, 0x0C, 0x05, 0x00, 0xF2, 0x1B, 0x00, 0x00, 0x00};
}

/** The HTTPS URL, in blocks of 16 bytes; the first one gives two of them to encoding and length. */
Bytes getSystemInfo(const Facts& facts, const Bytes& data)
{
    constexpr std::uint8_t parameterUrl      = 0xDE;
    constexpr std::uint8_t parameterRevision = 0x11;
    constexpr std::size_t  blockBytes        = 16;
    constexpr std::size_t  firstText         = blockBytes - 2;
    if (data.size() != 4) return refused(vmwire::kCompletionLengthInvalid);
    if (data[1] != parameterUrl) return refused(0x80);  // parameter not supported
    const std::uint8_t set = data[2];

    std::string url;
    if (!facts.urlBlockEmpty) url = "https://" + facts.usbNicAddress + ':' + std::to_string(facts.httpsPort);
    Bytes reply = okReply(3 + blockBytes);
    reply[1]    = parameterRevision;
    reply[2]    = set;
    if (set == 0) {
        reply[4] = static_cast<std::uint8_t>(url.size());  // reply[3]: encoding 0, ASCII
        putText(reply, 5, std::string_view(url).substr(0, firstText));
        return reply;
    }
    const std::size_t from = firstText + (set - 1u) * blockBytes;
    if (from >= std::max<std::size_t>(url.size(), firstText + 1)) return refused(vmwire::kCompletionInvalidField);
    if (from < url.size()) putText(reply, 3, std::string_view(url).substr(from, blockBytes));
    return reply;
}

Bytes getOemPort(const Facts& facts, const Bytes& data)
{
    static constexpr std::uint8_t expected[] = {kMaker[0], kMaker[1], kMaker[2], 0x00, 0x0C, 0x00, 0x00, 0x00, 0xFF};
    if (data.size() != std::size(expected)) return refused(vmwire::kCompletionLengthInvalid);
    if (!std::equal(data.begin(), data.end(), expected)) return refused(vmwire::kCompletionInvalidField);
    Bytes reply = okReply(30);
    std::copy(std::begin(kMaker), std::end(kMaker), reply.begin() + 1);
    reply[5] = static_cast<std::uint8_t>(facts.httpsPort);
    reply[6] = static_cast<std::uint8_t>(facts.httpsPort >> 8);
    return reply;
}

Bytes getFirmwareVersion(const Facts& facts, const Bytes& data)
{
    if (data.size() != 1) return refused(vmwire::kCompletionLengthInvalid);
    if (data[0] != 0x01) return refused(vmwire::kCompletionInvalidField);
    Bytes reply = okReply(11);
    reply[1]    = facts.firmwareMajor;
    reply[2]    = facts.firmwareMinor;
    reply[3]    = static_cast<std::uint8_t>(facts.firmwareBuild);
    reply[4]    = static_cast<std::uint8_t>(facts.firmwareBuild >> 8);
    return reply;
}

/**
 * A text attribute, asked for twice: for its length + 1, then, with that length, for itself. The second reply has the
 * text from data byte 8 on and is as long as the request's length promises.
 */
Bytes textReply(std::string_view text, std::uint16_t asked)
{
    Bytes reply = okReply(7u + asked);
    putText(reply, 8, text.substr(0, asked == 0 ? 0 : asked - 1u));
    return reply;
}

Bytes usbNicText(const Facts& facts, std::uint16_t asked)
{
    std::string text = facts.usbNicAddress;
    if (facts.usbNicHasPort) text += '#' + std::to_string(facts.httpsPort);
    if (asked != 1) return textReply(text, asked);
    // This length travels high byte first, unlike the package version's.
    Bytes reply = okReply(7);
    reply[5]    = static_cast<std::uint8_t>((text.size() + 1) >> 8);
    reply[6]    = static_cast<std::uint8_t>(text.size() + 1);
    return reply;
}

Bytes packageText(const Facts& facts, const Bytes& data, std::uint16_t asked)
{
    const std::string& text = facts.packageVersion;
    // The second request still carries the length in its last byte, where the first has 0.
    if (asked != 2 || data[6] != 0) return textReply(text, asked);
    Bytes reply = okReply(8);
    reply[6]    = static_cast<std::uint8_t>(text.size() + 1);
    reply[7]    = static_cast<std::uint8_t>((text.size() + 1) >> 8);
    return reply;
}

Bytes getTextAttribute(const Facts& facts, const Bytes& data)
{
    constexpr std::uint8_t attributeUsbNic  = 0x00;
    constexpr std::uint8_t attributePackage = 0x05;
    constexpr std::size_t  mostText         = 200;
    if (data.size() < 6) return refused(vmwire::kCompletionLengthInvalid);
    const std::uint16_t asked = le16(data, 2);
    if (data[0] != 0x01 || asked == 0) return refused(vmwire::kCompletionInvalidField);
    if (asked > mostText) return refused(vmwire::kCompletionOutOfRange);
    if (data[1] == attributeUsbNic && data.size() == 6) return usbNicText(facts, asked);
    if (data[1] == attributePackage && data.size() == 7) return packageText(facts, data, asked);
    return refused(vmwire::kCompletionInvalidField);
}

}  // namespace

namespace {

/** Where a pass-through write goes; a write must fit its row exactly. */
struct PassThroughField {
    std::uint16_t offset;
    std::uint16_t length;
    bool (*store)(Facts&, const Bytes& value);
};

std::string textUpToNul(const Bytes& value)
{
    return {value.begin(), std::find(value.begin(), value.end(), std::uint8_t{0})};
}

constexpr PassThroughField kPassThrough[] = {
    {0x00, 4,
     [](Facts& f, const Bytes& v) {
         f.passThroughMode = v[3];
         return v[3] == 0 || v[3] == 21;
     }},
    {0x04, 16,
     [](Facts& f, const Bytes& v) {
         f.passThroughBmcAddress = textUpToNul(v);
         return true;
     }},
    {0x14, 16,
     [](Facts& f, const Bytes& v) {
         f.passThroughHostAddress = textUpToNul(v);
         return true;
     }},
    {0x24, 4,
     [](Facts& f, const Bytes& v) {
         f.passThroughSubnet = v;
         return true;
     }},
    {0x28, 2,
     [](Facts& f, const Bytes& v) {
         f.passThroughVlan = v;
         return true;
     }},
};

Bytes setPassThrough(Facts& facts, const Bytes& data)
{
    const std::uint16_t length = le16(data, 2);
    const std::uint16_t offset = le16(data, 4);
    const Bytes         value(data.begin() + 6, data.end());
    for (const PassThroughField& field : kPassThrough) {
        if (field.offset != offset) continue;
        if (length != field.length || value.size() != length) return refused(vmwire::kCompletionLengthInvalid);
        Facts changed = facts;
        if (!field.store(changed, value)) return refused(vmwire::kCompletionInvalidField);
        facts = changed;
        return okReply(6);
    }
    return refused(vmwire::kCompletionInvalidField);
}

/** Network attributes: read from group 0 (the pass-through) and group 2 (the IPv6 address), written in group 0. */
Bytes networkAttributes(Facts& facts, const Bytes& data)
{
    if (data.size() < 6) return refused(vmwire::kCompletionLengthInvalid);
    if (data[0] == 0x00 && data[1] == 0x00) return setPassThrough(facts, data);
    const std::uint16_t length = le16(data, 2);
    if (data[0] != 0x01 || data.size() != 7) return refused(vmwire::kCompletionInvalidField);
    if (data[1] == 0x00 && length == 4) {
        Bytes reply = okReply(10);
        reply[8]    = facts.passThroughMode;
        return reply;
    }
    if (data[1] == 0x02 && length == 20) {
        Bytes reply = okReply(26);
        std::copy(facts.usbNicV6.begin(), facts.usbNicV6.end(), reply.begin() + 10);
        return reply;
    }
    return refused(vmwire::kCompletionInvalidField);
}

/**
 * The driver decides whether replies are announced by an interrupt, and the device of a virtual machine raises none
 * until it is told: a driver that waits for one in vain finds its replies by polling, many times slower.
 */
IpmiReply setGlobalEnables(Facts& facts, const Bytes& data)
{
    constexpr std::uint8_t replyInterrupt = 0x01;
    IpmiReply              reply{refused(vmwire::kCompletionLengthInvalid), "Set BMC Global Enables"};
    if (data.size() != 1) return reply;
    facts.globalEnables = data[0];
    reply.data          = okReply(1);
    reply.deviceCommand = {(data[0] & replyInterrupt) != 0 ? vmwire::kDeviceInterruptOn : vmwire::kDeviceInterruptOff};
    return reply;
}

struct ReadRow {
    std::uint8_t netFn;
    std::uint8_t command;
    const char*  name;
    Bytes (*answer)(const Facts&, const Bytes& data);
};
// clang-format off
constexpr ReadRow kReads[] = {
    {kApp, 0x01, "Get Device ID", getDeviceId},
    {kApp, 0x04, "Get Self Test Results", getSelfTest},
    {kApp, 0x08, "Get Device GUID", getDeviceGuid},
    {kApp, 0x2F, "Get BMC Global Enables", getGlobalEnables},
    {kApp, 0x30, "Clear Message Flags", acknowledge},
    {kApp, 0x31, "Get Message Flags", oneZero},
    {kApp, 0x42, "Get Channel Info", getChannelInfo},
    {kApp, 0x59, "Get System Info Parameters", getSystemInfo},
    {kOemGroup, 0x02, "HTTPS port", getOemPort},
    {kOem, 0xBF, "Firmware version", getFirmwareVersion},
    {kOem, 0xD6, "Text attribute", getTextAttribute},
};
// clang-format on

struct TextRow {
    std::uint8_t command;
    OemReply (OemText::*answer)(const Bytes&);
};
constexpr TextRow kTexts[] = {
    {vmwire::kOemWrite, &OemText::write},
    {vmwire::kOemRun, &OemText::run},
    {vmwire::kOemRead, &OemText::read},
};

}  // namespace

IpmiReply IpmiCommands::answer(const IpmiMessage& request)
{
    if (request.netFn == vmwire::kOemNetFn) {
        for (const TextRow& row : kTexts) {
            if (row.command != request.command) continue;
            OemReply reply = (oemText_.*row.answer)(request.data);
            return {std::move(reply.data), std::move(reply.trace), true};
        }
    }
    if (request.netFn == kOem && request.command == 0xCF)
        return {bmc_.facts.with([&](Facts& f) { return networkAttributes(f, request.data); }), "Network attributes"};
    if (request.netFn == kApp && request.command == kSetGlobalEnables)
        return bmc_.facts.with([&](Facts& f) { return setGlobalEnables(f, request.data); });
    for (const ReadRow& row : kReads)
        if (row.netFn == request.netFn && row.command == request.command)
            return {bmc_.facts.with([&](Facts& f) { return row.answer(f, request.data); }), row.name};
    return {refused(vmwire::kCompletionInvalidCmd), "unknown command"};
}

}  // namespace torvosim
