/** @file DiscoveryDecodeTest.cpp  The decoders of discovery on texts that no BMC of today sends. */
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "OxaAutoUpdateUtilsDecode.h"
#include "OxaAutoUpdateUtilsRows.h"

namespace {

using namespace qvrf;

TEST(DiscoveryDecode, BytesAreCutToTheRoom)
{
    const u8 bytes[] = {'a', 0, 'b', 0x80, 'c'};
    for (std::size_t room = 0; room <= 6; ++room) {
        std::string text(8, '\0');
        textOfBytes(bytes, sizeof bytes, text.data(), room);
        EXPECT_STREQ(text.c_str(), std::string("ab\x80"
                                               "c")
                                       .substr(0, room ? room - 1 : 0)
                                       .c_str())
            << room;
    }
}

TEST(DiscoveryDecode, CopiesAreCutAndTerminated)
{
    astring to[] = "....";
    copyCut(to, 0, "abc");
    EXPECT_STREQ(to, "....");
    copyCut(to, 1, "abc");
    EXPECT_STREQ(to, "");
    copyCut(to, 3, "abc");
    EXPECT_STREQ(to, "ab");
    copyCut(to, 4, {"abcdef", 3});
    EXPECT_STREQ(to, "abc");
}

TEST(DiscoveryDecode, LengthIsSentLowByteFirstAndNineMoreBytesAreAsked)
{
    const IpmiRow row = rows::forLength(rows::kIpv4Text, 0xFFFF);
    EXPECT_EQ(row.bytes[4], 0xFF);
    EXPECT_EQ(row.bytes[5], 0xFF);
    EXPECT_EQ(row.replyBytes, 0x10008U);
    EXPECT_EQ(rows::forLength(rows::kIpv4Text, 0x0110).bytes[4], 0x10);
}

/** Random texts of the characters that matter, against what the rules say in other words; sanitizers watch the rest. */
TEST(DiscoveryDecode, RandomTextsAreTakenApartWithinThemselves)
{
    std::mt19937      random(20240607);
    const std::string alphabet = "https:/=HPor1.\n#";
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (std::size_t n = random() % 24; n > 0; --n) text += alphabet[random() % alphabet.size()];

        std::string    url  = text;
        const astring* port = portInUrl(url.data());
        if (port) {
            EXPECT_GE(port, url.data());
            EXPECT_LE(port + std::strlen(port), url.data() + url.size());
            EXPECT_EQ(std::string(port).find(':'), std::string::npos);
        }
        std::string reply = text;
        port              = portInCommandReply(reply.data());
        EXPECT_EQ(std::string(port ? port : "").find('='), std::string::npos);

        const auto address = addressPart(text);
        EXPECT_EQ(address.has_value(), text.find('#') != text.npos);
        if (address) {
            EXPECT_EQ(std::string(*address) + "#", text.substr(0, address->size() + 1));
        }
    }
}

}  // namespace
