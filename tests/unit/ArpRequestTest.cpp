/** @file ArpRequestTest.cpp  The ARP request byte by byte, the host's address beside the BMC's, who answered. */
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "osprivlegeArp.h"

namespace {

using namespace qvrf;

in_addr ipv4(const char* text)
{
    in_addr address{};
    EXPECT_EQ(inet_pton(AF_INET, text, &address), 1) << text;
    return address;
}

sockaddr_ll station(const std::vector<u8>& hardware, u8 length)
{
    sockaddr_ll me{};
    me.sll_family  = AF_PACKET;
    me.sll_ifindex = 7;
    me.sll_halen   = length;
    std::copy(hardware.begin(), hardware.end(), me.sll_addr);
    return me;
}

sockaddr_ll station(const std::vector<u8>& hardware)
{
    return station(hardware, static_cast<u8>(hardware.size()));
}

TEST(ArpRequestOnEthernet, IsTheseTwentyEightBytes)
{
    const auto request =
        arpRequest(station({0x02, 0x00, 0x5E, 0x10, 0xAB, 0xFF}), ipv4("169.254.0.2"), ipv4("169.254.0.1"));
    const std::vector<u8> wire(request.bytes.begin(), request.bytes.begin() + static_cast<long>(request.size));
    const std::vector<u8> expected = {
        0x00, 0x01, 0x08, 0x00, 0x06, 0x04, 0x00, 0x01,              // Ethernet, IPv4, lengths, request
        0x02, 0x00, 0x5E, 0x10, 0xAB, 0xFF, 0xA9, 0xFE, 0x00, 0x02,  // sender
        0x02, 0x00, 0x5E, 0x10, 0xAB, 0xFF, 0xA9, 0xFE, 0x00, 0x01,  // target: the sender's hardware address again
    };
    EXPECT_EQ(wire, expected);
}

class HardwareLength : public testing::TestWithParam<int> {};

TEST_P(HardwareLength, IsTakenFromTheStationAndStaysInBounds)
{
    const auto length = static_cast<u8>(GetParam());
    const auto me     = station({1, 2, 3, 4, 5, 6, 7, 8}, length);
    const bool usable = length >= 1 && length <= 8;
    EXPECT_EQ(hasUsableHardwareAddress(me), usable);

    const auto request = arpRequest(me, ipv4("10.0.0.1"), ipv4("10.0.0.2"));
    const auto kept    = std::min<std::size_t>(length, 8);
    EXPECT_EQ(request.size, 8 + 2 * (kept + 4));
    EXPECT_EQ(request.bytes[4], kept);
    EXPECT_EQ(request.bytes[request.size - 1], 2);

    const auto everybody = everybodyOn(me);
    EXPECT_EQ(everybody.sll_ifindex, me.sll_ifindex);
    EXPECT_EQ(everybody.sll_halen, me.sll_halen);
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(everybody.sll_addr[i], i < kept ? 0xFF : me.sll_addr[i]) << i;
}

INSTANTIATE_TEST_SUITE_P(Lengths, HardwareLength, testing::Values(0, 1, 5, 6, 7, 8, 9, 20, 255));

struct Beside {
    const char* bmc;
    const char* host;
};

class AddressBeside : public testing::TestWithParam<Beside> {};

TEST_P(AddressBeside, DiffersInTheLastOctetOnly)
{
    EXPECT_EQ(addressBeside(ipv4(GetParam().bmc)).s_addr, ipv4(GetParam().host).s_addr);
}

INSTANTIATE_TEST_SUITE_P(LastOctets, AddressBeside,
                         testing::Values(Beside{"169.254.0.0", "169.254.0.1"}, Beside{"169.254.0.1", "169.254.0.2"},
                                         Beside{"169.254.0.2", "169.254.0.5"}, Beside{"169.254.0.3", "169.254.0.4"},
                                         Beside{"169.254.1.252", "169.254.1.253"},
                                         Beside{"169.254.1.253", "169.254.1.254"},
                                         Beside{"169.254.1.254", "169.254.1.253"},
                                         Beside{"169.254.1.255", "169.254.1.254"},
                                         Beside{"255.255.255.255", "255.255.255.254"}, Beside{"0.0.0.0", "0.0.0.1"}));

struct Sameness {
    const char* host;
    const char* bmc;
    bool        same;
};

class AddressSameness : public testing::TestWithParam<Sameness> {};

TEST_P(AddressSameness, IsThatOfTheBeginning)
{
    EXPECT_EQ(countsAsSame(GetParam().host, GetParam().bmc), GetParam().same);
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, AddressSameness,
    testing::Values(Sameness{"169.254.0.1", "169.254.0.1", true}, Sameness{"169.254.0.10", "169.254.0.1", true},
                    Sameness{"169.254.0.199", "169.254.0.1", true}, Sameness{"169.254.0.1", "169.254.0.10", false},
                    Sameness{"169.254.0.2", "169.254.0.1", false}, Sameness{"", "169.254.0.1", false}));

struct Answerer {
    std::vector<u8> hardware;
    const char*     text;
    bool            nobody;
};

class Station : public testing::TestWithParam<Answerer> {};

TEST_P(Station, IsNamedByItsFirstSixBytes)
{
    const StationText text = stationText(station(GetParam().hardware));
    EXPECT_STREQ(text.data(), GetParam().text);
    EXPECT_EQ(isNobody(text), GetParam().nobody);
}

INSTANTIATE_TEST_SUITE_P(Addresses, Station,
                         testing::Values(Answerer{{}, "0:0:0:0:0:0", true},
                                         Answerer{{0, 0, 0, 0, 0, 0, 9, 9}, "0:0:0:0:0:0", true},
                                         Answerer{{0, 0, 0, 0, 0, 1}, "0:0:0:0:0:1", false},
                                         Answerer{{0, 0, 0, 0, 0, 0x0A}, "0:0:0:0:0:a", false},
                                         Answerer{{2, 0, 0x5E, 0x10, 0, 1}, "2:0:5e:10:0:1", false},
                                         Answerer{{255, 255, 255, 255, 255, 255}, "ff:ff:ff:ff:ff:ff", false}));

}  // namespace
