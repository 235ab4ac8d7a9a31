/** @file ProbeOnTheWireTest.cpp  The ARP probe over a real link: what travels, what the host's interface becomes. */
#include <fcntl.h>
#include <net/if.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "Bmc.h"
#include "Sandbox.h"
#include "osprivlege.h"

namespace {

using sandbox::flagsOf;
using sandbox::ipv4Of;
using sandbox::run;

const Bytes kReply = fromHex(
    "02005e100001 02005e100002 0806 0001 0800 06 04 0002"
    "02005e100002 a9fe0001 02005e100001 a9fe0002");

std::vector<Bytes> answers(std::size_t)
{
    return {kReply};
}

/** The request for 169.254.0.1 as it travels. @param sender  the host's address, hexadecimal */
Bytes requestFrom(const std::string& sender)
{
    return fromHex("ffffffffffff 02005e100001 0806 0001 0800 06 04 0001 02005e100001" + sender +
                   "02005e100001 a9fe0001");
}

u8 probe(std::string interfaceName, unsigned requests = 1, std::string bmc = "169.254.0.1")
{
    return OSSendARPProbeToTorvo(interfaceName.data(), requests, 1, bmc.data());
}

class ProbeOnTheWire : public sandbox::Test {};

TEST_F(ProbeOnTheWire, SendsEveryRequestAndGivesTheHostAnAddress)
{
    const sandbox::Link link("usb0");
    Bmc                 bmc(answers);
    EXPECT_EQ(probe("usb0", 5), 0);
    EXPECT_EQ(bmc.heard(), std::vector<Bytes>(5, requestFrom("a9fe0002")));
    EXPECT_EQ(ipv4Of("usb0"), std::set<std::string>{"169.254.0.2"});
    const unsigned wanted = IFF_UP | IFF_BROADCAST | IFF_RUNNING | IFF_MULTICAST;
    EXPECT_EQ(flagsOf("usb0") & wanted, wanted);
}

struct Addresses {
    const char*           name;
    const char*           setUp;  // shell commands after the link was made
    const char*           sender;
    std::set<std::string> after;
};

class HostAddress : public sandbox::Test, public testing::WithParamInterface<Addresses> {};

TEST_P(HostAddress, IsKeptOrPutBesideTheBmcs)
{
    const sandbox::Link link("usb0");
    run(GetParam().setUp);
    Bmc bmc(answers);
    EXPECT_EQ(probe("usb0"), 0);
    EXPECT_EQ(bmc.heard(), std::vector<Bytes>{requestFrom(GetParam().sender)});
    EXPECT_EQ(ipv4Of("usb0"), GetParam().after);
    EXPECT_NE(flagsOf("usb0") & IFF_UP, 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Interfaces, HostAddress,
    testing::Values(
        Addresses{
            "Another", "ip addr add 169.254.0.77/16 dev usb0 && ip link set usb0 up", "a9fe004d", {"169.254.0.77"}},
        Addresses{
            "AnotherOnAnInterfaceThatIsDown", "ip addr add 169.254.0.77/16 dev usb0", "a9fe004d", {"169.254.0.77"}},
        Addresses{"TheBmcs", "ip addr add 169.254.0.1/16 dev usb0 && ip link set usb0 up", "a9fe0002", {"169.254.0.2"}},
        Addresses{"BeginningLikeTheBmcs", "ip addr add 169.254.0.10/16 dev usb0", "a9fe0002", {"169.254.0.2"}},
        Addresses{"OfAnotherNetwork", "ip addr add 10.1.2.3/8 dev usb0", "0a010203", {"10.1.2.3"}},
        Addresses{"OfAnAliasOnly", "ip addr add 10.1.2.3/8 dev usb0 label usb0:1", "a9fe0002", {"169.254.0.2"}},
        Addresses{"BehindTwentyFiveOthers",
                  "for i in $(seq 25); do ip addr add 10.9.0.$i/32 dev lo; done;"
                  "ip addr add 169.254.0.77/16 dev usb0",
                  "a9fe004d",
                  {"169.254.0.77"}}),
    sandbox::NameOfRow{});

struct Arrival {
    const char*        name;
    std::vector<Bytes> frames;
    int                lateMs;
    u8                 result;
};

class WhatTheBmcSends : public sandbox::Test, public testing::WithParamInterface<Arrival> {};

/** An ARP frame from the BMC with a payload that is none. */
Bytes noise(std::size_t size)
{
    Bytes frame(kReply.begin(), kReply.begin() + 14);
    for (std::size_t i = 0; i < size; ++i) frame.push_back(static_cast<std::uint8_t>(i * 37 + size));
    return frame;
}

Bytes fromStation(const char* hardware)
{
    Bytes       frame = kReply;
    const Bytes from  = fromHex(hardware);
    std::copy(from.begin(), from.end(), frame.begin() + 6);
    return frame;
}

TEST_P(WhatTheBmcSends, DecidesByItsArrivalAlone)
{
    const sandbox::Link link("usb0");
    Bmc                 bmc([](std::size_t) { return GetParam().frames; }, GetParam().lateMs);
    EXPECT_EQ(probe("usb0"), GetParam().result);
    EXPECT_EQ(bmc.heard(), std::vector<Bytes>{requestFrom("a9fe0002")});
}

INSTANTIATE_TEST_SUITE_P(
    Frames, WhatTheBmcSends,
    testing::Values(Arrival{"Reply", {kReply}, 0, 0}, Arrival{"LateReply", {kReply}, 1200, 0},
                    Arrival{"Nothing", {}, 0, 1}, Arrival{"OneByte", {noise(1)}, 0, 0},
                    Arrival{"HalfAReply", {noise(13)}, 0, 0}, Arrival{"Noise", {noise(1500)}, 0, 0},
                    Arrival{"MoreThanTheBuffer", {noise(8900)}, 0, 0},
                    Arrival{"ManyFrames", std::vector<Bytes>(64, kReply), 0, 0},
                    Arrival{"AnotherProtocol", {fromHex("02005e100001 02005e100002 88b5 0001 0800 0604 0002")}, 0, 1},
                    Arrival{"ReplyOfAForeignStation", {fromStation("fe0123456789")}, 0, 0},
                    Arrival{"ReplyOfNobody", {fromStation("000000000000")}, 0, 1}),
    sandbox::NameOfRow{});

TEST_F(ProbeOnTheWire, DoesNotRepeatARequestThatWasNotAnswered)
{
    const sandbox::Link link("usb0");
    Bmc                 bmc([](std::size_t n) { return n == 0 ? answers(n) : std::vector<Bytes>{}; });
    EXPECT_EQ(probe("usb0", 5), 1);
    EXPECT_EQ(bmc.heard().size(), 2U);
    EXPECT_EQ(ipv4Of("usb0"), std::set<std::string>{"169.254.0.2"}) << "what was changed stays changed";
}

TEST_F(ProbeOnTheWire, TakesANameOfFifteenCharacters)
{
    const sandbox::Link link("usb0123456789ab");
    Bmc                 bmc(answers);
    EXPECT_EQ(probe("usb0123456789ab"), 0);
    EXPECT_EQ(bmc.heard().size(), 1U);
}

TEST_F(ProbeOnTheWire, TakesNoLongerNameForAnotherInterface)
{
    const sandbox::Link link("usb0123456789ab");
    for (const std::size_t length : {16, 63, 64, 255}) {
        EXPECT_EQ(probe("usb0123456789ab" + std::string(length - 15, 'c')), 1) << length;
    }
    EXPECT_EQ(flagsOf("usb0123456789ab") & IFF_UP, 0U);
}

TEST_F(ProbeOnTheWire, RefusesWhatCannotBeProbed)
{
    EXPECT_EQ(probe("nosuch0"), 1);
    EXPECT_EQ(probe(""), 1);
    const sandbox::Link link("usb0");
    for (const char* bmc : {"", "169.254.0", "169.254.0.256", "fe80::1", "169.254.0.1 ", "localhost"}) {
        EXPECT_EQ(probe("usb0", 1, bmc), 1) << bmc;
    }
    EXPECT_EQ(flagsOf("usb0") & IFF_UP, 0U);
}

TEST_F(ProbeOnTheWire, IsRefusedWithoutPrivilege)
{
    const sandbox::Link link("usb0");
    EXPECT_EQ(sandbox::inAnotherProcess([] { return ::setuid(65534) == 0 ? probe("usb0") : 99; }), 1);
    EXPECT_EQ(flagsOf("usb0") & IFF_UP, 0U);
}

TEST_F(ProbeOnTheWire, HearsItselfAsNobodyOnTheLoopback)
{
    run("ip link set lo up");
    EXPECT_EQ(probe("lo", 1, "127.0.0.9"), 1);
    EXPECT_TRUE(ipv4Of("lo").count("127.0.0.1")) << "it has an address of its own and keeps it";
}

TEST_F(ProbeOnTheWire, WorksBehindAThousandOpenFiles)
{
    const sandbox::Link link("usb0");
    Bmc                 bmc(answers);
    const int           result = sandbox::inAnotherProcess([] {
        const rlimit files{4096, 4096};
        if (::setrlimit(RLIMIT_NOFILE, &files) != 0) return 99;
        while (::open("/dev/null", O_RDONLY) < 1100) {
        }
        return static_cast<int>(probe("usb0"));
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(bmc.heard().size(), 1U);
}

}  // namespace
