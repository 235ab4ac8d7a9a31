/** @file SysfsTest.cpp  Finding the USB NIC in a /sys of the test's own, with links and uevent files as the kernel's.
 */
#include <dirent.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "OxaAutoUpdateLinux.h"
#include "Sandbox.h"
#include "owners.h"

namespace {

constexpr char kNetClass[] = "/sys/class/net/";

void makeDirectories(const std::string& path)
{
    for (auto slash = path.find('/', 1); slash != path.npos; slash = path.find('/', slash + 1)) {
        ::mkdir(path.substr(0, slash).c_str(), 0755);
    }
    ASSERT_TRUE(::mkdir(path.c_str(), 0755) == 0 || ::access(path.c_str(), F_OK) == 0) << path;
}

class Sysfs : public sandbox::Test {
protected:
    void SetUp() override
    {
        sandbox::Test::SetUp();
        if (IsSkipped()) return;
        ASSERT_EQ(::mount("none", "/sys", "tmpfs", 0, nullptr), 0);
        mounted_ = true;
        makeDirectories(kNetClass);
    }
    void TearDown() override
    {
        if (!mounted_) return;
        EXPECT_EQ(::umount2("/sys", MNT_DETACH), 0);
    }

    void link(const std::string& name, const std::string& target)
    {
        ASSERT_EQ(::symlink(target.c_str(), (kNetClass + name).c_str()), 0) << name;
    }
    /** An interface of a device at @p device below /sys/devices; @p uevent is the device's file, "": it has none. */
    void interface(const std::string& name, const std::string& device, const std::string& uevent)
    {
        const std::string net = "/sys/devices/" + device + "/net/" + name;
        makeDirectories(net);
        ASSERT_EQ(::symlink(("../../../" + device.substr(device.rfind('/') + 1)).c_str(), (net + "/device").c_str()),
                  0);
        if (!uevent.empty()) std::ofstream("/sys/devices/" + device + "/uevent") << uevent;
        link(name, "../../devices/" + device + "/net/" + name);
    }
    void usb(const std::string& name, const std::string& product)
    {
        const std::string port = "1-" + std::to_string(++ports_);
        interface(name, "pci0000:00/0000:00:14.0/usb1/" + port + "/" + port + ":1.0",
                  "DEVTYPE=usb_interface\nDRIVER=cdc_ether\nPRODUCT=" + product +
                      "/100\nTYPE=0/0/0\nINTERFACE=2/6/0\nMODALIAS=usb:v7A3Ed0100dc00dsc00dp00ic02isc06ip00in00\n");
    }
    void pci(const std::string& name)
    {
        const std::string slot = "0000:01:00." + std::to_string(ports_++);
        interface(name, "pci0000:00/" + slot, "DRIVER=e1000e\nPCI_CLASS=20000\nPCI_ID=8086:10D3\n");
    }
    void virtualInterface(const std::string& name)
    {
        makeDirectories("/sys/devices/virtual/net/" + name);
        link(name, "../../devices/virtual/net/" + name);
    }

    int     ports_   = 0;
    bool    mounted_ = false;
    astring name_[64]{};
};

TEST_F(Sysfs, UsbNicIsFoundAmongOthers)
{
    virtualInterface("lo");
    virtualInterface("usbip0");  // "usb" in the name alone, and no device
    pci("eth0");
    usb("usb0", "46b/ffb0");
    usb("usb1", "7a3e/c051");
    usb("usb2", "7a3e/c052");
    link("gone0", "../../devices/pci0000:00/usb9/9-1/9-1:1.0/net/gone0");
    std::ofstream(std::string(kNetClass) + "bonding_masters") << "\n";
    ASSERT_EQ(GetUSBNICInterfaceName(name_), 0);
    EXPECT_STREQ(name_, "usb1");
}

TEST_F(Sysfs, NothingIsFoundAmongOthersOnly)
{
    EXPECT_EQ(GetUSBNICInterfaceName(name_), 1);
    virtualInterface("lo");
    usb("usb0", "46b/ffb0");
    interface("usb1", "pci0000:00/usb3/3-1/3-1:1.0", "");
    link("loop0", "loop0");
    EXPECT_EQ(GetUSBNICInterfaceName(name_), 1);
}

TEST_F(Sysfs, UnreadableUeventIsPassedOver)
{
    interface("usb0", "usb1/1-9/1-9:1.0", "");
    makeDirectories("/sys/devices/usb1/1-9/1-9:1.0/uevent");
    EXPECT_EQ(GetUSBNICInterfaceName(name_), 1);
    usb("usb1", "7a3e/c051");
    EXPECT_EQ(GetUSBNICInterfaceName(name_), 0);
    EXPECT_STREQ(name_, "usb1");
}

TEST_F(Sysfs, MissingClassIsNotFound)
{
    ASSERT_EQ(::rmdir(kNetClass), 0);
    EXPECT_EQ(GetUSBNICInterfaceName(name_), 1);
}

TEST_F(Sysfs, FirstOfTwoInTheDirectoryCounts)
{
    usb("usb5", "7a3e/c051");
    usb("usb4", "7a3e/c051");
    usb("usb6", "7a3e/c051");
    std::string           first;
    const qvrf::Directory directory(::opendir(kNetClass));
    while (first.empty()) {
        const dirent* entry = ::readdir(directory.get());
        ASSERT_NE(entry, nullptr);
        if (entry->d_name[0] != '.') first = entry->d_name;
    }
    ASSERT_EQ(GetUSBNICInterfaceName(name_), 0);
    EXPECT_EQ(name_, first);
}

TEST_F(Sysfs, NamesThatDoNotFitArriveEmpty)
{
    for (const std::size_t length : {15, 16, 63, 64, 255}) {
        const std::string name(length, 'u');
        usb(name, "7a3e/c051");
        std::fill(std::begin(name_), std::end(name_), '?');
        ASSERT_EQ(GetUSBNICInterfaceName(name_), 0) << length;
        EXPECT_EQ(std::string(name_), length < 64 ? name : "") << length;
        ASSERT_EQ(::unlink((kNetClass + name).c_str()), 0);
    }
}

TEST_F(Sysfs, ANameIsNoCommand)
{
    usb("x;touch pwned;", "46b/ffb0");
    usb("$(touch pwned)", "46b/ffb0");
    EXPECT_EQ(GetUSBNICInterfaceName(name_), 1);
    EXPECT_NE(::access("pwned", F_OK), 0);
}

TEST_F(Sysfs, OneAmongAThousandIsFound)
{
    for (int i = 0; i < 1000; ++i) virtualInterface("veth" + std::to_string(i));
    usb("usb0", "46b/ffb0");
    usb("usb1", "7a3e/c051");
    ASSERT_EQ(GetUSBNICInterfaceName(name_), 0);
    EXPECT_STREQ(name_, "usb1");
}

}  // namespace
