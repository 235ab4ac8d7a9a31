/** @file UsbNicInterfaceTest.cpp  Flags, address checks and address generation of an interface, call by call. */
#include "BmcOnTheBench.h"

#include <arpa/inet.h>
#include <net/if.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "UsbNicKernel.h"
#include "osprivlege.h"

namespace {

using Calls = std::vector<std::string>;

/** The host's address list, as the C library hands it out. */
class HostAddresses {
public:
    /** @param address  dotted or IPv6 text; "": a link-layer entry; nullptr: an entry without an address */
    HostAddresses& has(const char* name, unsigned flags, const char* address, u32 scope = 0)
    {
        entries_.emplace_back();
        Entry& entry         = entries_.back();
        entry.list.ifa_name  = const_cast<char*>(name);
        entry.list.ifa_flags = flags;
        entry.list.ifa_addr  = address == nullptr ? nullptr : reinterpret_cast<sockaddr*>(&entry.address);
        if (entries_.size() > 1) entries_[entries_.size() - 2].list.ifa_next = &entry.list;
        if (address == nullptr) return *this;
        sockaddr_in ipv4{};
        if (*address == '\0') {
            entry.address.sin6_family = AF_PACKET;
        } else if (inet_pton(AF_INET, address, &ipv4.sin_addr) == 1) {
            ipv4.sin_family = AF_INET;
            std::memcpy(&entry.address, &ipv4, sizeof ipv4);
        } else {
            EXPECT_EQ(inet_pton(AF_INET6, address, &entry.address.sin6_addr), 1) << address;
            entry.address.sin6_family   = AF_INET6;
            entry.address.sin6_scope_id = scope;
        }
        return *this;
    }
    ifaddrs* list() { return entries_.empty() ? nullptr : &entries_.front().list; }

private:
    struct Entry {
        ifaddrs      list{};
        sockaddr_in6 address{};
    };
    std::deque<Entry> entries_;
};

class UsbNicInterface : public BmcOnTheBench {
protected:
    void SetUp() override
    {
        BmcOnTheBench::SetUp();
        kernel.interfaces["usb0"] = {7, 0x1002};
    }
    void TearDown() override
    {
        EXPECT_TRUE(kernel.open.empty()) << "descriptors were not closed";
        EXPECT_EQ(kernel.held, 0) << "address lists were not given back";
        BmcOnTheBench::TearDown();
    }
    Calls errors() const
    {
        Calls found;
        for (const auto& line : bmc.log()) {
            if (line.level == bench::Level::error) found.push_back(line.text);
        }
        return found;
    }
    s32 setFlags(std::string name, u16 flags, u16 family) { return SetIFFlags(name.data(), flags, family); }
    s32 setPolicy(std::string name = "usb0") { return SetAddrGenModePolicyForUSBNICIPV6(name.data()); }

    UsbNicKernel  kernel;
    HostAddresses host;
};

// --- Flags.

TEST_F(UsbNicInterface, FlagsAreWrittenUnread)
{
    EXPECT_EQ(setFlags("usb0", 0xFFFF, AF_INET6), 0);
    EXPECT_EQ(kernel.calls, (Calls{"socket 10 2 0", "SIOCSIFFLAGS usb0 FFFF", "close"}));
    expectTrace("SetIFFlags: Interface 'usb0': flags set to FFFF.\n");
    expectTrace("SetIFFlags: Entry.\n");
    expectTrace("SetIFFlags: Exit.\n");
    EXPECT_EQ(setFlags("usb0", 1, AF_INET), 0);
    expectTrace("SetIFFlags: Interface 'usb0': flags set to 0001.\n");
    EXPECT_EQ(kernel.interfaces["usb0"].flags, 1);
}

TEST_F(UsbNicInterface, FlagsOfANameThatDoesNotFitAreNobodys)
{
    kernel.interfaces["usb0123456789ab"] = {8, 0};
    EXPECT_EQ(setFlags("usb0123456789ab", 1, AF_INET), 0);
    EXPECT_EQ(setFlags("usb0123456789abc", 1, AF_INET), -1);
    EXPECT_EQ(setFlags("usb0123456789ab" + std::string(240, 'c'), 1, AF_INET), -1);
    EXPECT_EQ(std::count(kernel.calls.begin(), kernel.calls.end(), "SIOCSIFFLAGS  0001"), 2);
    EXPECT_EQ(errors().front(),
              "SetIFFlags: Interface 'usb0123456789abc': Error: SIOCSIFFLAGS failed: No such device\n");
}

TEST_F(UsbNicInterface, FlagsWithoutAName)
{
    EXPECT_EQ(SetIFFlags(nullptr, 1, AF_INET), -1);
    EXPECT_EQ(errors(), Calls{"SetIFFlags: pInterfaceName=NULL\n"});
    EXPECT_TRUE(kernel.calls.empty());
}

struct FlagRefusal {
    const char* name;
    const char* failing;
    s32         result;
    const char* line;
};
class FlagRefusals : public UsbNicInterface, public testing::WithParamInterface<FlagRefusal> {};

TEST_P(FlagRefusals, AreLogged)
{
    kernel.failing = {GetParam().failing};
    EXPECT_EQ(setFlags("usb0", 1, AF_INET), GetParam().result);
    EXPECT_EQ(errors(), Calls{GetParam().line});
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FlagRefusals,
    testing::Values(FlagRefusal{"Socket", "socket", -1, "SetIFFlags: socket error Input/output error\n"},
                    FlagRefusal{"Request", "SIOCSIFFLAGS", -1,
                                "SetIFFlags: Interface 'usb0': Error: SIOCSIFFLAGS failed: Input/output error\n"},
                    FlagRefusal{"Close", "close", 0, "SetIFFlags: close() failed\n"}),
    NameOfCase{});

// --- Address checks.

constexpr unsigned kUp = IFF_UP, kDown = 0;

struct Check {
    const char* name;
    s32 (*check)(astring*, booln);
    const char*                         asked;
    booln                               version;
    std::function<void(HostAddresses&)> set;
    s32                                 result;
    std::string                         line;  // in the log, "": any
};
class AddressChecks : public UsbNicInterface, public testing::WithParamInterface<Check> {};

TEST_P(AddressChecks, JudgeTheHostsList)
{
    const Check& row = GetParam();
    row.set(host);
    kernel.addressList = host.list();
    std::string asked  = row.asked;
    EXPECT_EQ(row.check(asked.data(), row.version), row.result);
    if (row.line.empty()) return;
    const auto log = bmc.log();
    EXPECT_TRUE(std::any_of(log.begin(), log.end(), [&](const auto& line) { return line.text == row.line; }))
        << row.line;
}

const Check kChecks[] = {
    {"UsableNone", LXcheckHostIPVersion, "usb0", 0, [](auto&) {}, -1, ""},
    {"UsableIpv4", LXcheckHostIPVersion, "usb0", 0,
     [](auto& h) { h.has("lo", kUp, "127.0.0.1").has("usb0", kUp, "").has("usb0", kUp, "10.0.0.1"); }, 0,
     "LXcheckHostIPVersion: Interface usb0 configured IPV4\n"},
    {"UsableOnAnotherOnly", LXcheckHostIPVersion, "usb0", 0, [](auto& h) { h.has("usb1", kUp, "10.0.0.1"); }, -1, ""},
    {"UsableByPrefix", LXcheckHostIPVersion, "usb0", 0, [](auto& h) { h.has("usb01", kUp, "10.0.0.1"); }, 0, ""},
    {"UsableLongerThanTheEntry", LXcheckHostIPVersion, "usb0:1", 0, [](auto& h) { h.has("usb0", kUp, "10.0.0.1"); }, -1,
     ""},
    {"UsableWithoutAddress", LXcheckHostIPVersion, "usb0", 0,
     [](auto& h) { h.has("usb0", kDown, nullptr).has("usb0", kUp, "10.0.0.1"); }, 0, ""},
    {"UsableDownFirst", LXcheckHostIPVersion, "usb0", 0,
     [](auto& h) { h.has("usb0", kDown, "").has("usb0", kUp, "10.0.0.1"); }, -1,
     "LXcheckHostIPVersion: Interface is Down\n"},
    {"UsableAnotherDown", LXcheckHostIPVersion, "usb0", 0,
     [](auto& h) { h.has("eth0", kDown, "").has("usb0", kUp, "10.0.0.1"); }, 0, ""},
    {"UsableIpv6", LXcheckHostIPVersion, "usb0", 1,
     [](auto& h) { h.has("usb0", kUp, "10.0.0.1").has("usb0", kUp, "fd00::1").has("usb0", kUp, "fe80::1", 7); }, 0,
     "LXcheckIFIPConfigured: Interface  usb0 configured with IPV6\n"},
    {"UsableIpv6Last", LXcheckHostIPVersion, "usb0", 2, [](auto& h) { h.has("usb0", kUp, "febf::1", 7); }, 0, ""},
    {"UsableIpv6Beyond", LXcheckHostIPVersion, "usb0", 1, [](auto& h) { h.has("usb0", kUp, "fec0::1", 7); }, -1,
     "LXcheckHostIPVersion: not a link local address\n"},
    {"UsableIpv6Before", LXcheckHostIPVersion, "usb0", 1, [](auto& h) { h.has("usb0", kUp, "fe40::1", 7); }, -1,
     "LXcheckHostIPVersion: not a link local address\n"},
    {"UsableIpv6NotIpv4", LXcheckHostIPVersion, "usb0", 0, [](auto& h) { h.has("usb0", kUp, "fe80::1", 7); }, -1, ""},
    {"RoutableNone", LXcheckIFIPConfigured, "usb0", 0, [](auto&) {}, -1, ""},
    {"RoutableIpv4", LXcheckIFIPConfigured, "usb0", 0, [](auto& h) { h.has("usb0", kUp, "10.0.0.1"); }, 0,
     "LXcheckIFIPConfigured: Interface usb0 configured IPV4\n"},
    {"RoutableSkipsDown", LXcheckIFIPConfigured, "usb0", 0,
     [](auto& h) { h.has("usb0", kDown, "10.0.0.1").has("usb01", kUp, "10.0.0.2"); }, 0, ""},
    {"RoutableDownOnly", LXcheckIFIPConfigured, "usb0", 0, [](auto& h) { h.has("usb0", kDown, "10.0.0.1"); }, -1, ""},
    {"RoutableIpv6", LXcheckIFIPConfigured, "usb0", 1,
     [](auto& h) { h.has("usb0", kUp, "fe80::1", 7).has("usb0", kUp, "fd00::1"); }, 0,
     "LXcheckIFIPConfigured: Interface  usb0 configured with IPV6 ULA address\n"},
    {"RoutableIpv6Scoped", LXcheckIFIPConfigured, "usb0", 1, [](auto& h) { h.has("usb0", kUp, "fe80::1", 7); }, -1,
     "LXcheckIFIPConfigured: Scope id 7 not a IPV6 ULA address\n"},
    {"RoutableEmptyName", LXcheckIFIPConfigured, "", 0, [](auto& h) { h.has("lo", kUp, "127.0.0.1"); }, 0, ""},
};
INSTANTIATE_TEST_SUITE_P(Lists, AddressChecks, testing::ValuesIn(kChecks), NameOfCase{});

TEST_F(UsbNicInterface, ChecksWithoutANameOrAList)
{
    EXPECT_EQ(LXcheckHostIPVersion(nullptr, 0), -1);
    EXPECT_EQ(LXcheckIFIPConfigured(nullptr, 0), -1);
    kernel.failing   = {"getifaddrs"};
    std::string name = "usb0";
    EXPECT_EQ(LXcheckHostIPVersion(name.data(), 0), -1);
    EXPECT_EQ(LXcheckIFIPConfigured(name.data(), 0), -1);
    EXPECT_EQ(
        errors(),
        (Calls{"LXcheckHostIPVersion: Interface name is NULL\n", "LXcheckIFIPConfigured: Interface name is NULL\n",
               "LXcheckHostIPVersion: getifaddrs failed!!\n", "LXcheckIFIPConfigured: getifaddrs failed!!\n"}));
}

// --- Address generation.

const Calls kUpByIpv4     = {"socket 2 2 0", "SIOCSIFFLAGS usb0 0001", "close"};
const Calls kBounceByIpv4 = {"socket 2 2 0", "SIOCSIFFLAGS usb0 0000", "close",
                             "socket 2 2 0", "SIOCSIFFLAGS usb0 0001", "close"};

Calls joined(std::initializer_list<Calls> parts)
{
    Calls all;
    for (const Calls& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST_F(UsbNicInterface, PolicySetsTheModeWhereNoLinkLocalAddressIs)
{
    EXPECT_EQ(setPolicy(), 0);
    EXPECT_EQ(kernel.calls, joined({kUpByIpv4, {"getifaddrs", "fork", "waitpid 4242 0"}, kBounceByIpv4}));
    EXPECT_TRUE(errors().empty());
    expectTrace("SetAddrGenModeForIPV6: Entry.\n");
    expectTrace("SetAddrGenModeForIPV6: Exit.\n");
}

TEST_F(UsbNicInterface, PolicyOfTheChildThatFindsNoCommandGoesOn)
{
    kernel.forked = 0;
    EXPECT_EQ(setPolicy(), 0);
    EXPECT_EQ(
        kernel.calls,
        joined({kUpByIpv4, {"getifaddrs", "fork", "execlp ip: ip link set usb0 addrgenmode eui64"}, kBounceByIpv4}));
}

TEST_F(UsbNicInterface, PolicyOnlyBouncesWhereALinkLocalAddressIs)
{
    kernel.addressList = host.has("usb0", kUp, "fe80::1", 7).list();
    EXPECT_EQ(setPolicy(), 0);
    const Calls up6 = {"socket 10 2 0", "SIOCSIFFLAGS usb0 0001", "close"};
    EXPECT_EQ(kernel.calls,
              joined({kUpByIpv4, {"getifaddrs"}, up6, {"socket 10 2 0", "SIOCSIFFLAGS usb0 0000", "close"}, up6}));
}

TEST_F(UsbNicInterface, PolicyWithoutAName)
{
    EXPECT_EQ(SetAddrGenModePolicyForUSBNICIPV6(nullptr), -1);
    EXPECT_EQ(errors(), Calls{"SetAddrGenModePolicyForUSBNICIPV6: pInterfaceName=NULL\n"});
}

struct PolicyRefusal {
    const char* name;
    bool        linkLocal;
    std::size_t call;
    int         childStatus;
    s32         result;
    const char* line;
};
class PolicyRefusals : public UsbNicInterface, public testing::WithParamInterface<PolicyRefusal> {};

TEST_P(PolicyRefusals, CountWhereTheInterfaceIsConcerned)
{
    if (GetParam().linkLocal) kernel.addressList = host.has("usb0", kUp, "fe80::1", 7).list();
    kernel.failCall    = GetParam().call;
    kernel.childStatus = GetParam().childStatus;
    EXPECT_EQ(setPolicy(), GetParam().result);
    EXPECT_EQ(errors().empty() ? std::string() : errors().back(), GetParam().line);
}

constexpr char kNotUp[]   = "SetAddrGenModePolicyForUSBNICIPV6: BringUPNetworkInterface failed.\n";
constexpr char kNotDown[] = "SetAddrGenModePolicyForUSBNICIPV6: BringDOWNNetworkInterface failed.\n";

INSTANTIATE_TEST_SUITE_P(
    Calls, PolicyRefusals,
    testing::Values(PolicyRefusal{"FirstUp", false, 2, 0, -1, kNotUp},
                    PolicyRefusal{"Fork", false, 5, 0, 0, "SetAddrGenModeForIPV6: fork() failed.\n"},
                    PolicyRefusal{"Wait", false, 6, 0, 0, "SetAddrGenModeForIPV6: waitpid() failed with ret=-1.\n"},
                    PolicyRefusal{"Command", false, 0, 255 << 8, 0,
                                  "SetAddrGenModeForIPV6: unexpected child status=255.\n"},
                    PolicyRefusal{"CommandKilled", false, 0, 9, 0, ""},
                    PolicyRefusal{"Down", false, 8, 0, -1, kNotDown}, PolicyRefusal{"Up", false, 11, 0, -1, kNotUp},
                    PolicyRefusal{"UpThatDoesNotMatter", true, 6, 0, 0,
                                  "SetIFFlags: Interface 'usb0': Error: SIOCSIFFLAGS failed: Input/output error\n"},
                    PolicyRefusal{"Ipv6Down", true, 9, 0, -1, kNotDown},
                    PolicyRefusal{"Ipv6Up", true, 12, 0, -1, kNotUp}),
    NameOfCase{});

}  // namespace
