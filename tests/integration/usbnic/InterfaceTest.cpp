/** @file InterfaceTest.cpp  Flags, address checks and address generation on real interfaces; the service's marker file.
 */
#include <fcntl.h>
#include <net/if.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "Sandbox.h"
#include "osprivlege.h"
#include "owners.h"

namespace {

using sandbox::flagsOf;
using sandbox::run;

class UsbNicInterface : public sandbox::Test {};

s32 setFlags(std::string name, u16 flags, u16 family = AF_INET)
{
    return SetIFFlags(name.data(), flags, family);
}

TEST_F(UsbNicInterface, FlagsReplaceWhatWasThere)
{
    const sandbox::Link link("usb0");
    run("ip link set usb0 arp off promisc on");
    EXPECT_EQ(setFlags("usb0", IFF_UP), 0);
    EXPECT_EQ(flagsOf("usb0") & (IFF_UP | IFF_NOARP | IFF_PROMISC), unsigned{IFF_UP});
    EXPECT_EQ(setFlags("usb0", 0, AF_INET6), 0);
    EXPECT_EQ(flagsOf("usb0") & IFF_UP, 0U);
}

TEST_F(UsbNicInterface, FlagsNeedAnInterfaceAndPrivilege)
{
    const sandbox::Link link("usb0123456789ab");
    EXPECT_EQ(setFlags("nosuch0", IFF_UP), -1);
    EXPECT_EQ(setFlags("", IFF_UP), -1);
    EXPECT_EQ(setFlags("usb0123456789abc", IFF_UP), -1);
    EXPECT_EQ(setFlags("usb0123456789ab", IFF_UP, 255), -1);
    const int status = sandbox::inAnotherProcess(
        [] { return ::setuid(65534) == 0 && setFlags("usb0123456789ab", IFF_UP) == -1 ? 0 : 1; });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(flagsOf("usb0123456789ab") & IFF_UP, 0U);
}

struct Check {
    const char* name;
    const char* setUp;
    s32 (*check)(astring*, booln);
    booln version;
    s32   result;
};

class AddressCheck : public sandbox::Test, public testing::WithParamInterface<Check> {};

TEST_P(AddressCheck, ReadsTheHostsAddresses)
{
    const sandbox::Link link("usb0");
    run(GetParam().setUp);
    std::string name = "usb0";
    EXPECT_EQ(GetParam().check(name.data(), GetParam().version), GetParam().result);
}

constexpr char kIpv4[]      = "ip addr add 10.0.0.1/8 dev usb0 && ip link set usb0 up";
constexpr char kIpv4Down[]  = "ip addr add 10.0.0.1/8 dev usb0";
constexpr char kLinkLocal[] = "ip link set usb0 addrgenmode none up && ip addr add fe80::5/64 dev usb0 nodad";
constexpr char kUnique[]    = "ip link set usb0 addrgenmode none up && ip addr add fd00::5/64 dev usb0 nodad";
constexpr char kNone[]      = "ip link set usb0 addrgenmode none up";

INSTANTIATE_TEST_SUITE_P(
    Addresses, AddressCheck,
    testing::Values(Check{"UsableIpv4", kIpv4, LXcheckHostIPVersion, 0, 0},
                    Check{"UsableIpv4OfAnInterfaceThatIsDown", kIpv4Down, LXcheckHostIPVersion, 0, -1},
                    Check{"UsableIpv6", kLinkLocal, LXcheckHostIPVersion, 1, 0},
                    Check{"UsableIpv6IsLinkLocal", kUnique, LXcheckHostIPVersion, 1, -1},
                    Check{"UsableNone", kNone, LXcheckHostIPVersion, 0, -1},
                    Check{"RoutableIpv4", kIpv4, LXcheckIFIPConfigured, 0, 0},
                    Check{"RoutableIpv4OfAnInterfaceThatIsDown", kIpv4Down, LXcheckIFIPConfigured, 0, -1},
                    Check{"RoutableIpv6", kUnique, LXcheckIFIPConfigured, 1, 0},
                    Check{"RoutableIpv6IsNotLinkLocal", kLinkLocal, LXcheckIFIPConfigured, 1, -1},
                    Check{"RoutableNone", kNone, LXcheckIFIPConfigured, 1, -1}),
    sandbox::NameOfRow{});

// --- Address generation.

constexpr char kEui64[] = "ip -d link show usb0 | grep -q 'addrgenmode eui64'";

s32 setPolicy(std::string name = "usb0")
{
    return SetAddrGenModePolicyForUSBNICIPV6(name.data());
}

TEST_F(UsbNicInterface, PolicyMakesTheAddressFollowTheHardware)
{
    const sandbox::Link link("usb0");
    run("ip link set usb0 addrgenmode none");
    EXPECT_EQ(setPolicy(), 0);
    run(kEui64);
    // The kernel gives the address when it has noticed that the link is there, which is soon but not at once.
    run("timeout 5 sh -c 'until ip -6 addr show dev usb0 | grep -q fe80::5eff:fe10:1/64; do sleep 0.02; done'");
    EXPECT_NE(flagsOf("usb0") & IFF_UP, 0U);
}

TEST_F(UsbNicInterface, PolicyLeavesTheModeOfALinkLocalAddress)
{
    const sandbox::Link link("usb0");
    run(kLinkLocal);
    EXPECT_EQ(setPolicy(), 0);
    EXPECT_NE(std::system(kEui64), 0);
    EXPECT_NE(flagsOf("usb0") & IFF_UP, 0U);
}

TEST_F(UsbNicInterface, PolicyNeedsAnInterface)
{
    EXPECT_EQ(setPolicy("nosuch0"), -1);
}

TEST_F(UsbNicInterface, PolicyWithoutTheCommandReturnsInBothProcesses)
{
    const sandbox::Link link("usb0");
    run("ip link set usb0 addrgenmode none");
    int returns[2];
    ASSERT_EQ(::pipe2(returns, O_CLOEXEC), 0);
    const qvrf::Descriptor reading(returns[0]);
    const int              status = sandbox::inAnotherProcess([&] {
        const pid_t self = ::getpid();
        ::setenv("PATH", "/nonexistent", 1);
        const s32  result = setPolicy();
        const char who    = ::getpid() == self ? 'p' : 'c';
        return ::write(returns[1], &who, 1) == 1 ? static_cast<int>(result) : 99;
    });
    ::close(returns[1]);
    EXPECT_EQ(status, 0);
    char       who[3]{};
    const auto count = ::read(reading.get(), who, 2);
    EXPECT_EQ(count, 2);
    EXPECT_STREQ(who, "cp") << "the child ends before the parent goes on";
    EXPECT_NE(flagsOf("usb0") & IFF_UP, 0U);
}

// --- The service.

TEST_F(UsbNicInterface, MarkerIsConsumed)
{
    constexpr char marker[] = "/opt/zelmar/kappel/Oxa/etc/ini/usbnicconfig.ini";
    run("mkdir -p /opt");
    ASSERT_EQ(::mount("none", "/opt", "tmpfs", 0, nullptr), 0);
    EXPECT_EQ(IsUSBNICIntfConfigRequired(), FALSE);
    run(std::string("mkdir -p /opt/zelmar/kappel/Oxa/etc/ini && touch ") + marker);
    EXPECT_EQ(IsUSBNICIntfConfigRequired(), TRUE);
    EXPECT_EQ(IsUSBNICIntfConfigRequired(), FALSE);

    run(std::string("touch ") + marker);
    ASSERT_EQ(::mount("none", "/opt", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(IsUSBNICIntfConfigRequired(), TRUE) << "a marker that cannot be deleted still asks";
    EXPECT_EQ(::access(marker, F_OK), 0);
    EXPECT_EQ(::umount2("/opt", MNT_DETACH), 0);
}

TEST(UsbNicService, IsAlwaysTriggered)
{
    EXPECT_EQ(getTriggerInfo(), TRUE);
}

TEST(UsbNicService, EndsItselfBySigterm)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGTERM, SIG_DFL);
        stoppingAPMServiceFromWithIn();
        ::_exit(1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
}

}  // namespace
