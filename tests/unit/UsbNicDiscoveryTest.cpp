/** @file UsbNicDiscoveryTest.cpp  Finding the USB NIC in sysfs and setting its link up, call by call. */
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "BmcOnTheBench.h"
#include "OxaAutoUpdateLinux.h"
#include "UsbNicKernel.h"

namespace {

using Calls = std::vector<std::string>;

const std::string kDevice  = "../../devices/pci0000:00/0000:00:14.0/usb1/1-1/1-1:1.0/net/";
const std::string kVirtual = "../../devices/virtual/net/";

std::string greps(const std::string& target)
{
    return "grep 7a3e/c051 /sys/class/net/" + target + "/device/uevent >/dev/null";
}

class UsbNicDiscovery : public BmcOnTheBench {
protected:
    void TearDown() override
    {
        EXPECT_EQ(kernel.held, 0) << "directories were not closed";
        EXPECT_TRUE(kernel.open.empty()) << "descriptors were not closed";
        BmcOnTheBench::TearDown();
    }
    void usbNic(const std::string& name)
    {
        kernel.links.emplace_back(name, kDevice + name);
        kernel.commands[greps(kDevice + name)] = 0;
    }
    Calls systemCalls() const
    {
        Calls found;
        std::copy_if(kernel.calls.begin(), kernel.calls.end(), std::back_inserter(found),
                     [](const auto& call) { return call.rfind("system", 0) == 0; });
        return found;
    }
    /** The result and the name, or what the buffer held before. */
    s32 find()
    {
        std::memset(name_, '?', sizeof name_);
        name_[63] = '\0';
        return GetUSBNICInterfaceName(name_);
    }

    UsbNicKernel kernel;
    astring      name_[64];
};

TEST_F(UsbNicDiscovery, AsksOnlyAboutUsbDevicesAndTakesTheFirst)
{
    kernel.links = {{".", ""},
                    {"..", ""},
                    {".usbhidden", kDevice + "usb9"},
                    {"lo", kVirtual + "lo"},
                    {"eth0", kDevice + "eth0"},
                    {"bonding_masters", ""}};
    usbNic("usb7");
    usbNic("usb8");
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(name_, "usb7");
    EXPECT_EQ(kernel.calls,
              (Calls{"opendir /sys/class/net/", "readlink /sys/class/net/lo", "readlink /sys/class/net/eth0",
                     "system " + greps(kDevice + "eth0"), "readlink /sys/class/net/bonding_masters",
                     "readlink /sys/class/net/usb7", "system " + greps(kDevice + "usb7")}));
    expectTrace("[AUFPI]getUSBNICInterfaceName:dir name = /sys/class/net/bonding_masters.\n");
    expectTrace("[AUFPI]getUSBNICInterfaceName:len = -1.\n");
    expectTrace("[AUFPI]getUSBNICInterfaceName:going to continue as len < 0.\n");
    expectTrace("[AUFPI]getUSBNICInterfaceName:len = " + std::to_string((kDevice + "usb7").size()) + ".\n");
    expectTrace("[AUFPI]getUSBNICInterfaceName: Command  " + greps(kDevice + "usb7") + "\n");
    expectTrace("[AUFPI]getUSBNICInterfaceName:  cmd res 0 interface Name is usb7\n");
    EXPECT_EQ(bmc.log().back().text, "[AUFPI]getUSBNICInterfaceName:exit.\n");
    EXPECT_EQ(bmc.allocations(), (std::vector<u32>{4096, 4096}));
}

TEST_F(UsbNicDiscovery, FindsNothing)
{
    kernel.links = {{"lo", kVirtual + "lo"}, {"usb0", kDevice + "usb0"}};
    EXPECT_EQ(find(), 1);
    EXPECT_EQ(name_[0], '?') << "untouched";
    kernel.netClassIsThere = false;
    EXPECT_EQ(find(), 1);
    EXPECT_EQ(GetUSBNICInterfaceName(nullptr), 1);
}

TEST_F(UsbNicDiscovery, RunsOutOfMemory)
{
    usbNic("usb0");
    bmc.failAllocation(1);
    EXPECT_EQ(find(), 9);
    expectError("[AUFPI]getUSBNICInterfaceName: failed to alloc memory targetPath = null.\n");
    bmc.restart();
    bmc.failAllocation(2);
    EXPECT_EQ(find(), 9);
    expectError("[AUFPI]getUSBNICInterfaceName: failed to alloc memory linkPath = null.\n");
    EXPECT_TRUE(kernel.calls.empty());
}

class NameLength : public UsbNicDiscovery, public testing::WithParamInterface<std::size_t> {};

TEST_P(NameLength, FitsOrArrivesEmpty)
{
    const std::string long_name(GetParam(), 'u');
    usbNic(long_name);
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(name_, GetParam() < 64 ? long_name.c_str() : "");
}

INSTANTIATE_TEST_SUITE_P(Lengths, NameLength, testing::Values(1, 15, 16, 63, 64, 255));

struct Target {
    const char* name;
    std::string target;
    bool        asked;
};
class LinkTarget : public UsbNicDiscovery, public testing::WithParamInterface<Target> {};

TEST_P(LinkTarget, ReachesTheShellOnlyAsOnePath)
{
    kernel.links = {{"odd0", GetParam().target}};
    for (const char* command : {"", " >/dev/null"}) kernel.commands[command] = 0;
    usbNic("usb0");
    EXPECT_EQ(find(), 0);
    EXPECT_STREQ(name_, "usb0");
    EXPECT_EQ(systemCalls().size(), GetParam().asked ? 2U : 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Targets, LinkTarget,
    testing::Values(Target{"AnotherUsbDevice", kDevice + "odd0", true}, Target{"NoUsb", kVirtual + "odd0", false},
                    Target{"UsbInTheNameOnly", kVirtual + "usbip0", true},
                    Target{"TwoCommands", kDevice + "x;reboot", false},
                    Target{"Substitution", kDevice + "$(reboot)", false}, Target{"Backticks", kDevice + "`x`", false},
                    Target{"Background", kDevice + "x&", false}, Target{"Redirection", kDevice + "x>y", false},
                    Target{"TwoWords", kDevice + "a b", false}, Target{"Quote", kDevice + "it's", false},
                    Target{"CommandTooLong", "usb/" + std::string(4096 - 15 - 4 - 14 - 1, 'x'), false},
                    Target{"PathTooLong", "usb/" + std::string(4095 - 4, 'x'), false},
                    Target{"TargetTooLong", "usb/" + std::string(8000, 'x'), false}),
    NameOfCase{});

TEST_F(UsbNicDiscovery, AThousandInterfacesCostTwoCommands)
{
    for (int i = 0; i < 1000; ++i) kernel.links.emplace_back("eth" + std::to_string(i), kVirtual + std::to_string(i));
    kernel.links.emplace_back("usb0", kDevice + "usb0");
    usbNic("usb1");
    EXPECT_EQ(find(), 0);
    EXPECT_EQ(systemCalls().size(), 2U);
}

// --- The whole link.

class LinkSetUp : public UsbNicDiscovery {
protected:
    void prepare()
    {
        const std::string bmcs = "169.254.0.1#443";
        bmc.expect("C0 D6 01 00 01 00 00 00").answersBe16(7, static_cast<u32>(bmcs.size()) + 1);
        bmc.expect("C0 D6 01 00 ** ** 00 00").answersText(bmcs);
        kernel.calls.clear();
        kernel.links.clear();
        kernel.interfaces["usb0"] = {7, 0x1003};
        kernel.frames.assign(5, {"reply", {2, 0, 0x5E, 0, 0, 1}});
        usbNic("usb0");
    }
};

TEST_F(LinkSetUp, ProbesTheBmcFiveTimesASecondApart)
{
    prepare();
    EXPECT_EQ(SetUSBNICInterface(), 0);
    EXPECT_EQ(kernel.sent.size(), 5U);
    EXPECT_EQ(std::count(kernel.calls.begin(), kernel.calls.end(), "sleep 1"), 4);
    expectTrace("[AUFPI]SetUSBNICInterface: g_torvoInterfaceName usb0\n");
    expectTrace("[AUFPI]SetUSBNICInterface: pLocalTorvoIP 169.254.0.1\n");
}

TEST_F(LinkSetUp, FoldsFailuresIntoOne)
{
    EXPECT_EQ(SetUSBNICInterface(), 1);
    expectError("[AUFPI]SetUSBNICInterface: getUSBNICInterfaceName failed with status:1.\n");

    prepare();
    kernel.frames.clear();
    EXPECT_EQ(SetUSBNICInterface(), 1);
    expectError("[AUFPI]SetUSBNICInterface: OSSendARPProbeToTorvo failed with status:1.\n");
}

TEST_F(LinkSetUp, GivesEverythingBackWhateverFails)
{
    std::vector<s32> results;
    walkFailures([this] { prepare(); }, [] { return SetUSBNICInterface(); },
                 [&](const std::string&, s32 status) { results.push_back(status); });
    // Its own two blocks tell themselves from the rest: the discovery's two, two exchanges, the address's text.
    EXPECT_EQ(results, (std::vector<s32>{9, 1, 1, 9, 1, 1, 1}));
}

TEST_F(LinkSetUp, SaysWhichStepFailed)
{
    const struct {
        u32         call;
        const char* line;
    } steps[] = {{1, "[AUFPI]SetUSBNICInterface: failed to alloc memory g_torvoInterfaceName = null.\n"},
                 {2, "[AUFPI]SetUSBNICInterface: getUSBNICInterfaceName failed with status:9.\n"},
                 {4, "[AUFPI]SetUSBNICInterface: failed to alloc memory pLocalTorvoIP = null.\n"},
                 {5, "[AUFPI]SetUSBNICInterface: APMDiscoveryUSBNICIPAddress failed with status:1.\n"}};
    for (const auto& step : steps) {
        bmc.restart();
        prepare();
        bmc.failCall(step.call);
        EXPECT_NE(SetUSBNICInterface(), 0);
        expectError(step.line);
    }
    bmc.restart();
}

}  // namespace
