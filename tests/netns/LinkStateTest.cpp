/** @file LinkStateTest.cpp  How qvrfctl puts an interface's state into words. */
#include "linkstate.h"

#include <gtest/gtest.h>
#include <net/if.h>

#include <algorithm>

namespace qvrfctl {
namespace {

using Names = std::vector<std::string>;

TEST(LinkState, FlagsAreNamed)
{
    EXPECT_EQ(flagNames(0), Names());
    EXPECT_EQ(flagNames(IFF_UP | IFF_RUNNING | IFF_BROADCAST | IFF_MULTICAST),
              (Names{"UP", "RUNNING", "BROADCAST", "MULTICAST"}));
    EXPECT_EQ(flagNames(IFF_NOARP | IFF_DYNAMIC), Names{"NOARP"});
}

TEST(LinkState, PrefixEndsAtTheFirstBitThatIsNotSet)
{
    const u8 none[]    = {0, 0, 0, 0};
    const u8 class_b[] = {255, 255, 0, 0};
    const u8 odd[]     = {255, 0xF8, 255, 0};
    const u8 all[]     = {255, 255, 255, 255};
    EXPECT_EQ(prefixLength(none, sizeof none), 0u);
    EXPECT_EQ(prefixLength(class_b, sizeof class_b), 16u);
    EXPECT_EQ(prefixLength(odd, sizeof odd), 13u);
    EXPECT_EQ(prefixLength(all, sizeof all), 32u);
}

TEST(LinkState, PassThroughIsOffInOneModeOnly)
{
    EXPECT_EQ(passThroughText(kPassThroughOff), "off (mode 0)");
    EXPECT_EQ(passThroughText(kPassThroughUsbNic), "on (mode 21)");
    EXPECT_EQ(passThroughText(255), "on (mode 255)");
}

TEST(LinkState, ReadsWhatTheKernelHas)
{
    const LinkState loopback = readLink("lo");
    if (loopback.flags.empty()) GTEST_SKIP() << "no loopback interface here";
    EXPECT_EQ(loopback.hardwareAddress, "00:00:00:00:00:00");
    if (std::find(loopback.flags.begin(), loopback.flags.end(), "UP") == loopback.flags.end())
        GTEST_SKIP() << "the loopback interface is down";
    EXPECT_EQ(loopback.ipv4Addresses.at(0), "127.0.0.1/8");
}

TEST(LinkState, OfNoInterfaceIsEmpty)
{
    const LinkState nothing = readLink("l");  // not one whose name only begins so
    EXPECT_TRUE(nothing.flags.empty());
    EXPECT_TRUE(nothing.ipv4Addresses.empty());
}

}  // namespace
}  // namespace qvrfctl
