/** @file ArpProbeTest.cpp  The ARP probe call by call: what is asked of the kernel, and what happens when it refuses.
 */
#include <algorithm>
#include <string>
#include <vector>

#include "BmcOnTheBench.h"
#include "UsbNicKernel.h"
#include "osprivlege.h"

namespace {

using Calls = std::vector<std::string>;

constexpr char kBind[] =
    "bind 11000806070000000000000000000000"
    "00000000";
constexpr char kSend[] =
    "sendto 28 0 11000806070000000100"
    "0006"
    "ffffffffffff0000";
constexpr char kRequest[] =
    "0001080006040001"
    "02005e000009"
    "a9fe0002"
    "02005e000009"
    "a9fe0001";
constexpr char kProgress[] = "OSSendARPProbeToTorvo: ";

class ArpProbe : public BmcOnTheBench {
protected:
    void SetUp() override
    {
        BmcOnTheBench::SetUp();
        kernel.interfaces["usb0"] = {7, 0};  // down
        answers(5);
    }
    void TearDown() override
    {
        EXPECT_TRUE(kernel.open.empty()) << "descriptors were not closed";
        BmcOnTheBench::TearDown();
    }
    void answers(std::size_t count) { kernel.frames.assign(count, {"anything", {2, 0, 0x5E, 0, 0, 0x0A}}); }
    u8   probe(unsigned requests = 1, unsigned pause = 1, std::string bmcs = "169.254.0.1", std::string name = "usb0")
    {
        return OSSendARPProbeToTorvo(name.data(), requests, pause, bmcs.data());
    }
    std::size_t asked(const std::string& beginning) const
    {
        return static_cast<std::size_t>(std::count_if(kernel.calls.begin(), kernel.calls.end(),
                                                      [&](const auto& call) { return call.rfind(beginning, 0) == 0; }));
    }
    Calls lines(bench::Level level) const
    {
        Calls found;
        for (const auto& line : bmc.log()) {
            if (line.level == level) found.push_back(line.text);
        }
        return found;
    }

    UsbNicKernel kernel;
};

TEST_F(ArpProbe, BringsTheInterfaceUpGivesItAnAddressAndAsks)
{
    EXPECT_EQ(probe(2, 3), 0);
    const Calls expected = {
        "socket 17 2 0",
        "SIOCGIFINDEX usb0",
        "SIOCGIFFLAGS usb0",
        "SIOCSIFFLAGS usb0 0041",
        "socket 2 2 0",
        "SIOCGIFCONF 800",
        "close",
        "socket 2 2 0",
        "SIOCSIFADDR usb0 family 2 port 0 169.254.0.2",
        "SIOCGIFFLAGS usb0",
        "SIOCSIFFLAGS usb0 1043",
        "close",
        kBind,
        "getsockname 20",
        kSend,
        "select its 5.000000",
        "recvfrom 4096 64 20",
        "sleep 3",
        kSend,
        "select its 5.000000",
        "recvfrom 4096 64 20",
        "close",
    };
    EXPECT_EQ(kernel.calls, expected);
    EXPECT_EQ(kernel.sent, Calls(2, kRequest));
}

TEST_F(ArpProbe, TellsItsStory)
{
    EXPECT_EQ(probe(), 0);
    const Calls trace = {
        "OSSendARPProbeToTorvo: entry\n",
        "OSSendARPProbeToTorvo: interface usb0 status is DOWN\n",
        "OSSendARPProbeToTorvo: interface usb0 status is now UP\n",
        "OSGetUSBNICInterfaceIP4Addr: entry\n",
        "OSGetUSBNICInterfaceIP4Addr: exit, retcode=0\n",
        "buildLinkLocal: ..d_ip.s_addr = 0x200fea9\n",
        "buildLinkLocal: ..d_ip= 169.254.0.2\n",
        "OSSendAPProbeToTorvo: configuration of source interface ip address success\n",
        "OSSendARPProbeToTorvo: arp request sent..\n",
        "OSSendARPProbeToTorvo: arp response recieved..\n",
        "OSSendARPProbeToTorvo: dest mac addr = 2:0:5e:0:0:a\n",
        "OSSendARPProbeToTorvo: exit,retcode=0\n",
    };
    EXPECT_EQ(lines(bench::Level::trace), trace);
    const Calls errors = {"OSSendARPProbeToTorvo: APMUpdateAutoconnectFeature() failed\n",
                          "OSSendARPProbeToTorvo: failed to get source interface ip address..\n"};
    EXPECT_EQ(lines(bench::Level::error), errors);
}

TEST_F(ArpProbe, SleepsBetweenRequestsOnly)
{
    EXPECT_EQ(probe(5, 1), 0);
    EXPECT_EQ(asked("sendto"), 5U);
    EXPECT_EQ(asked("sleep 1"), 4U);
}

TEST_F(ArpProbe, LeavesAnInterfaceThatIsUpAndHasAnAddressAsItIs)
{
    kernel.interfaces["usb0"].flags = 0x1003;
    kernel.addresses                = {{"lo", "127.0.0.1"}, {"USB0", "10.0.0.9"}, {"usb0", "10.0.0.8"}};
    EXPECT_EQ(probe(), 0);
    EXPECT_EQ(asked("SIOCS"), 0U);
    EXPECT_EQ(kernel.sent, Calls{"000108000604000102005e0000090a00000902005e000009a9fe0001"});
    expectTrace("OSSendARPProbeToTorvo: interface usb0 status is UP\n");
    expectTrace("OSGetUSBNICInterfaceIP4Addr: lo: 127.0.0.1\n");
    expectTrace("OSGetUSBNICInterfaceIP4Addr: USB0: 10.0.0.9\n");
    expectTrace("OSGetUSBNICInterfaceIP4Addr: exit, retcode=1\n");
    EXPECT_TRUE(lines(bench::Level::error).empty());
}

TEST_F(ArpProbe, ReplacesAnAddressThatBeginsLikeTheBmcs)
{
    kernel.addresses = {{"usb0", "169.254.0.10"}};
    EXPECT_EQ(probe(), 0);
    EXPECT_EQ(asked("SIOCSIFADDR usb0 family 2 port 0 169.254.0.2"), 1U);
    expectTrace("OSSendARPProbeToTorvo: Torvo IP recevied and OS ip configured is same.\n");
    expectError("OSSendARPProbeToTorvo: APMUpdateAutoconnectFeature() failed\n");
}

TEST_F(ArpProbe, AsksForMoreRoomWhenTheListCameBackFull)
{
    kernel.addresses.assign(20, {"lo", "127.0.0.1"});
    kernel.addresses.emplace_back("usb0", "10.0.0.9");
    EXPECT_EQ(probe(), 0);
    EXPECT_EQ(asked("SIOCGIFCONF 800"), 1U);
    EXPECT_EQ(asked("SIOCGIFCONF 1600"), 1U);
    EXPECT_EQ(asked("SIOCSIFADDR"), 0U);
}

TEST_F(ArpProbe, GoesOnAtOnceWhenTheWaitFails)
{
    kernel.failing = {"select"};
    EXPECT_EQ(probe(5), 0);
    EXPECT_EQ(asked("sendto"), 5U);
    EXPECT_EQ(asked("recvfrom"), 0U);
    EXPECT_EQ(asked("sleep"), 0U);
}

TEST_F(ArpProbe, EndsWithTheFirstRequestThatNobodyAnswers)
{
    answers(2);
    EXPECT_EQ(probe(5), 1);
    EXPECT_EQ(asked("sendto"), 3U);
    expectError("OSGetUSBNICInterfaceIP4Addr: recvfrom() call failed\n");
}

TEST_F(ArpProbe, TakesAFrameOfNobodyForAFailure)
{
    kernel.frames = {{std::string(5000, 'x'), {0, 0, 0, 0, 0, 0}}};
    EXPECT_EQ(probe(5), 1);
    EXPECT_EQ(asked("sendto"), 1U);
    expectTrace("OSSendARPProbeToTorvo: exit,retcode=1\n");
}

TEST_F(ArpProbe, TakesAnEmptyFrameForAnAnswer)
{
    kernel.frames = {{"", {2, 0, 0x5E, 0, 0, 0x0A}}};
    EXPECT_EQ(probe(), 0);
}

TEST_F(ArpProbe, WaitsForDescriptorsBeyondAnFdSet)
{
    for (const int first : {1023, 1024, 5000}) {
        kernel.firstDescriptor = first;
        EXPECT_EQ(probe(), 0);
    }
    EXPECT_EQ(asked("select its 5.000000"), 3U);
    EXPECT_EQ(asked("select"), 3U);
}

class HardwareThatDoesNotFit : public ArpProbe, public testing::WithParamInterface<int> {};

TEST_P(HardwareThatDoesNotFit, IsAFailure)
{
    kernel.interfaces["usb0"].hardware.assign(static_cast<std::size_t>(GetParam()), 1);
    EXPECT_EQ(probe(), 1);
    EXPECT_EQ(asked("sendto"), 0U);
    const auto errors = lines(bench::Level::error);
    EXPECT_EQ(errors.back().rfind("OSSendARPProbeToTorvo: getsockname failed errno=", 0), 0U) << errors.back();
}

INSTANTIATE_TEST_SUITE_P(Lengths, HardwareThatDoesNotFit, testing::Values(0, 9, 20, 32));

struct Input {
    const char* name;
    const char* interfaceName;
    unsigned    requests, pause;
    const char* bmcs;
    const char* line;
};

class InvalidInput : public ArpProbe, public testing::WithParamInterface<Input> {};

TEST_P(InvalidInput, TouchesNothing)
{
    const Input& in = GetParam();
    EXPECT_EQ(
        OSSendARPProbeToTorvo(const_cast<char*>(in.interfaceName), in.requests, in.pause, const_cast<char*>(in.bmcs)),
        1);
    EXPECT_TRUE(kernel.calls.empty());
    EXPECT_EQ(lines(bench::Level::error), Calls{std::string(kProgress) + in.line});
    expectTrace("OSSendARPProbeToTorvo: exit,retcode=1\n");
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, InvalidInput,
    testing::Values(Input{"NoInterface", nullptr, 1, 1, "169.254.0.1", "invalid input..\n"},
                    Input{"NoRequest", "usb0", 0, 1, "169.254.0.1", "invalid input..\n"},
                    Input{"NoPause", "usb0", 1, 0, "169.254.0.1", "invalid input..\n"},
                    Input{"NoAddress", "usb0", 1, 1, nullptr, "invalid input..\n"},
                    Input{"EmptyAddress", "usb0", 1, 1, "", "invalid input(destip) ..\n"},
                    Input{"NotDotted", "usb0", 1, 1, "fe80::1", "invalid input(destip) fe80::1..\n"},
                    Input{"OctetTooLarge", "usb0", 1, 1, "169.254.0.256", "invalid input(destip) 169.254.0.256..\n"}),
    NameOfCase{});

struct Refusal {
    const char* name;
    std::size_t call;  // the number of the call that fails
    const char* asked;
    u8          result;
    const char* line;  // "": nothing is said
};

class KernelRefusal : public ArpProbe, public testing::WithParamInterface<Refusal> {};

TEST_P(KernelRefusal, EndsTheProbeOrIsOnlyLogged)
{
    kernel.failCall = GetParam().call;
    EXPECT_EQ(probe(), GetParam().result);
    ASSERT_GE(kernel.calls.size(), GetParam().call);
    EXPECT_EQ(kernel.calls[GetParam().call - 1].rfind(GetParam().asked, 0), 0U) << kernel.calls[GetParam().call - 1];
    EXPECT_EQ(asked("sendto"), GetParam().call >= 15 || GetParam().result == 0 ? 1U : 0U);
    auto errors = lines(bench::Level::error);
    errors.erase(std::remove_if(errors.begin(), errors.end(),
                                [](const std::string& line) {  // the derived address
                                    return line.find("APMUpdateAutoconnectFeature") != line.npos ||
                                           line.find("failed to get source") != line.npos;
                                }),
                 errors.end());
    EXPECT_EQ(errors, *GetParam().line == '\0' ? Calls{} : Calls{GetParam().line});
    expectTrace("OSSendARPProbeToTorvo: exit,retcode=" + std::to_string(GetParam().result) + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Calls, KernelRefusal,
    testing::Values(
        Refusal{"PacketSocket", 1, "socket 17", 1,
                "OSSendARPProbeToTorvo: socket creation failed Input/output error..\n"},
        Refusal{"Index", 2, "SIOCGIFINDEX", 1, "OSSendARPProbeToTorvo: ioctl(SIOCGIFINDEX) failed errno=5..\n"},
        Refusal{"Flags", 3, "SIOCGIFFLAGS", 1, "OSSendARPProbeToTorvo: ioctl(SIOCGIFFLAGS) failed errno=5..\n"},
        Refusal{"BringingUp", 4, "SIOCSIFFLAGS", 1, "OSSendARPProbeToTorvo: ioctl(SIOSGIFFLAGS) failed errno=5..\n"},
        Refusal{"ListSocket", 5, "socket 2", 0, "OSGetUSBNICInterfaceIP4Addr: socket() call failed\n"},
        Refusal{"List", 6, "SIOCGIFCONF", 0, "OSGetUSBNICInterfaceIP4Addr: ioctl() call failed\n"},
        Refusal{"ListClose", 7, "close", 0, ""},
        Refusal{"AssignSocket", 8, "socket 2", 1, "OSSendARPProbeToTorvo: could not create socket for IPPROTO_IP\n"},
        Refusal{"Assign", 9, "SIOCSIFADDR", 1, "OSSendARPProbeToTorvo: ioctl(SIOCSIFADDR) failed errno=5..\n"},
        Refusal{"AssignFlags", 10, "SIOCGIFFLAGS", 1, "OSSendARPProbeToTorvo: ioctl(SIOCGIFFLAGS) failed errno=5..\n"},
        Refusal{"AssignUp", 11, "SIOCSIFFLAGS", 1, "OSSendARPProbeToTorvo: ioctl(SIOSGIFFLAGS) failed errno=5..\n"},
        Refusal{"AssignClose", 12, "close", 0, "OSSendAPProbeToTorvo: close() failed\n"},
        Refusal{"Bind", 13, "bind", 1, "OSSendARPProbeToTorvo: bind failed errno=5..\n"},
        Refusal{"Name", 14, "getsockname", 1, "OSSendARPProbeToTorvo: getsockname failed errno=5..\n"},
        Refusal{"Send", 15, "sendto", 1, "OSSendARPProbeToTorvo: send_pack failed.\n"},
        Refusal{"Wait", 16, "select", 0, ""},
        Refusal{"Receive", 17, "recvfrom", 1, "OSGetUSBNICInterfaceIP4Addr: recvfrom() call failed\n"},
        Refusal{"PacketClose", 18, "close", 0, "OSSendAPProbeToTorvo: close() failed\n"}),
    NameOfCase{});

}  // namespace
