/** @file FrameTest.cpp  Bytes of the wire to messages and back. */
#include <gtest/gtest.h>

#include "IpmiClient.h"
#include "VmFrame.h"

using torvosim::VmFrame;
using torvosim::VmFrameReader;

namespace {

/** The last frame that @p wire closes. */
std::optional<VmFrame> read(const std::string& wire, std::size_t* dropped = nullptr)
{
    VmFrameReader          reader;
    std::optional<VmFrame> last;
    for (const std::uint8_t byte : bytesOf(wire))
        if (auto frame = reader.take(byte)) last = std::move(frame);
    if (dropped != nullptr) *dropped = reader.dropped();
    return last;
}

TEST(Frame, CarriesSpecialBytesEscaped)
{
    const torvosim::IpmiMessage message{0xA0, 0x06, 0, 0x01, {0xAA, 0xA1, 0xA0}};
    const auto                  wire = torvosim::encodeMessage(message);
    // 0xA0 + 0x18 + 0x01 + 0xAA + 0xA1 + 0xA0 leave 0x5C to a full 256.
    EXPECT_EQ(hexOf(wire), "AA B0 18 01 AA BA AA B1 AA B0 5C A0");
    const auto frame = read(hexOf(wire));
    ASSERT_TRUE(frame && frame->isMessage);
    EXPECT_EQ(frame->message.seq, 0xA0);
    EXPECT_EQ(frame->message.netFn, 0x06);
    EXPECT_EQ(frame->message.data, message.data);
}

struct Broken {
    const char* name;
    const char* wire;
};
class BrokenFrame : public testing::TestWithParam<Broken> {};

TEST_P(BrokenFrame, IsDroppedAndTheNextOneRead)
{
    std::size_t dropped = 0;
    const auto  frame   = read(std::string(GetParam().wire) + " 01 18 01 E6 A0", &dropped);
    EXPECT_EQ(dropped, 1u);
    ASSERT_TRUE(frame && frame->isMessage);
    EXPECT_EQ(frame->message.command, 0x01);
}

INSTANTIATE_TEST_SUITE_P(Wires, BrokenFrame,
                         testing::Values(Broken{"WrongChecksum", "01 18 01 E7 A0"}, Broken{"TooShort", "01 18 E7 A0"},
                                         Broken{"Empty", "A0"}, Broken{"EmptyDeviceCommand", "A1"},
                                         Broken{"EscapeBeforeEnd", "01 18 01 E6 AA A0"},
                                         Broken{"EscapeTwice", "01 18 AA AA 01 E6 A0"}),
                         [](const auto& c) { return std::string(c.param.name); });

TEST(Frame, WithoutEndIsBounded)
{
    VmFrameReader reader;
    for (int i = 0; i < 100000; ++i) EXPECT_FALSE(reader.take(0x00));
    EXPECT_FALSE(reader.take(0xA0));  // all zeros would pass the checksum
    EXPECT_EQ(reader.dropped(), 1u);
}

}  // namespace
