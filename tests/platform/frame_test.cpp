/** @file frame_test.cpp  Frames byte by byte, and streams that are no frames. */
#include "frame.h"

#include <gmock/gmock.h>

#include <random>

using namespace qvplatform;

namespace {

struct FrameCase {
    const char* name;
    Message     message;
    Bytes       wire;
};

std::vector<Message> messagesIn(const Bytes& wire)
{
    FrameDecoder         decoder;
    std::vector<Message> messages;
    for (const auto byte : wire)
        if (auto message = decoder.take(byte)) messages.push_back(std::move(*message));
    return messages;
}

class Frame : public testing::TestWithParam<FrameCase> {};

TEST_P(Frame, IsEncoded)
{
    EXPECT_EQ(encodeMessage(GetParam().message), GetParam().wire);
}

TEST_P(Frame, IsDecoded)
{
    const auto messages = messagesIn(GetParam().wire);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].sequence, GetParam().message.sequence);
    EXPECT_EQ(messages[0].bytes, GetParam().message.bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Wire, Frame,
    testing::Values(FrameCase{"Firmware", {0x01, {0xC0, 0xBF, 0x01}}, {0x01, 0xC0, 0xBF, 0x01, 0x7F, 0xA0}},
                    FrameCase{"NoData", {0x00, {0x18, 0x01}}, {0x00, 0x18, 0x01, 0xE7, 0xA0}},
                    FrameCase{"SpecialData",
                              {0x02, {0x18, 0x59, 0xA0, 0xA1, 0xAA}},
                              {0x02, 0x18, 0x59, 0xAA, 0xB0, 0xAA, 0xB1, 0xAA, 0xBA, 0xA2, 0xA0}},
                    FrameCase{"SpecialSequence", {0xA0, {0x18, 0x01}}, {0xAA, 0xB0, 0x18, 0x01, 0x47, 0xA0}},
                    FrameCase{
                        "SpecialChecksum", {0x46, {0x18, 0x01, 0x01}}, {0x46, 0x18, 0x01, 0x01, 0xAA, 0xB0, 0xA0}},
                    FrameCase{"EscapedLookAlikes", {0x03, {0xB0, 0xB1, 0xBA}}, {0x03, 0xB0, 0xB1, 0xBA, 0xE2, 0xA0}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Frame, DeviceCommandHasNoChecksum)
{
    EXPECT_EQ(encodeCommand({0xFF, 0x01}), (Bytes{0xFF, 0x01, 0xA1}));
    EXPECT_EQ(encodeCommand({0x08, 0xAA}), (Bytes{0x08, 0xAA, 0xBA, 0xA1}));
}

class DamagedFrame : public testing::TestWithParam<std::pair<const char*, Bytes>> {};

TEST_P(DamagedFrame, IsDroppedAndTheNextOneArrives)
{
    Bytes       wire = GetParam().second;
    const Bytes good = encodeMessage({7, {0x1C, 0x01, 0x00}});
    wire.insert(wire.end(), good.begin(), good.end());
    const auto messages = messagesIn(wire);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].sequence, 7);
}

Bytes longFrame(std::size_t size)
{
    Bytes wire = encodeMessage({1, Bytes(size)});
    return wire;
}

INSTANTIATE_TEST_SUITE_P(
    Wire, DamagedFrame,
    testing::Values(std::pair<const char*, Bytes>{"BadChecksum", {0x01, 0xC0, 0xBF, 0x01, 0x7E, 0xA0}},
                    std::pair<const char*, Bytes>{"Empty", {0xA0}},
                    std::pair<const char*, Bytes>{"TooShort", {0x01, 0x02, 0xFD, 0xA0}},
                    std::pair<const char*, Bytes>{"EscapedEnd", {0x01, 0xC0, 0xBF, 0x01, 0x7F, 0xAA, 0xA0}},
                    std::pair<const char*, Bytes>{"DoubleEscape", {0x01, 0xC0, 0xAA, 0xAA, 0xB0, 0x9F, 0xA0}},
                    std::pair<const char*, Bytes>{"DeviceCommand", {0x01, 0xA1}},
                    std::pair<const char*, Bytes>{"MessageEndedAsCommand", {0x01, 0xC0, 0xBF, 0x01, 0x7F, 0xA1}},
                    std::pair<const char*, Bytes>{"Oversize", longFrame(kMaxFrame)}),
    [](const auto& row) { return std::string(row.param.first); });

TEST(Frame, OfTheGreatestSizeArrives)
{
    EXPECT_EQ(messagesIn(longFrame(kMaxFrame - 2)).size(), 1U);
}

TEST(Frame, AnyBytesComeBackAsTheyWere)
{
    std::mt19937                       random(1);
    std::uniform_int_distribution<int> octet(0, 255), length(2, 300);
    for (int round = 0; round < 500; ++round) {
        Message message{static_cast<std::uint8_t>(octet(random)), Bytes(static_cast<std::size_t>(length(random)))};
        for (auto& byte : message.bytes) byte = static_cast<std::uint8_t>(octet(random));
        const auto messages = messagesIn(encodeMessage(message));
        ASSERT_EQ(messages.size(), 1U);
        ASSERT_EQ(messages[0].bytes, message.bytes);
    }
}

}  // namespace
