/** @file OxaAutoUpdateLinuxInterface.cpp  Finds the USB NIC among the interfaces, and sets the link to the BMC up. */
#include <dirent.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxShell.h"
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsPaths.h"
#include "osprivlege.h"
#include "owners.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr char        kInterfaces[] = "/sys/class/net/";
constexpr std::size_t kWorkSize     = kPathSize;
constexpr std::size_t kNameSize     = 64;
constexpr std::size_t kAddressSize  = 64;

constexpr unsigned int kProbes            = 5;
constexpr unsigned int kProbePauseSeconds = 1;

constexpr TraceTexts kUnspacedTrace{"[AUFPI]%s:entry.\n", "[AUFPI]%s:exit.\n"};

/** Where the link of the interface at @p path leads; false when it is no link. */
bool followed(const astring* path, astring* target) noexcept
{
    const ssize_t length = ::readlink(path, target, kWorkSize);
    __SysDbgPrint4("[AUFPI]getUSBNICInterfaceName:len = %d.\n", static_cast<int>(length));
    if (length < 0) {
        __SysDbgPrint4("[AUFPI]getUSBNICInterfaceName:going to continue as len < 0.\n");
        return false;
    }
    target[std::min(static_cast<std::size_t>(length), kWorkSize - 1)] = '\0';
    return true;
}

/** The shell takes the path as it stands: a name that it would take for more than a name is never handed to it. */
bool isOneShellWord(std::string_view path) noexcept
{
    return path.find_first_not_of(kShellPlain) == path.npos;
}

/**
 * Does the device behind the link carry the USB NIC's vendor and product? On return @p target holds the command that
 * asked. A path or a command that is too long is no candidate: cut short, it would ask about something else.
 */
bool isUsbNic(const astring* name, astring* target, astring* path) noexcept
{
    if (std::strstr(target, "usb") == nullptr) return false;
    // Links in sysfs are relative: joined to /sys/class/net/ they lead to the device. Keep the join.
    if (sprintf_s(path, kWorkSize, "%s%s/device/uevent", kInterfaces, target) < 0) return false;
    if (!isOneShellWord(path)) {
        __SysDbgPrint3("[AUFPI]getUSBNICInterfaceName: not a path for the shell: %s\n", path);
        return false;
    }
    if (sprintf_s(target, kWorkSize, "grep 7a3e/c051 %s >/dev/null", path) < 0) return false;
    __SysDbgPrint4("[AUFPI]getUSBNICInterfaceName: Command  %s\n", target);
    const int status = runShell("getUSBNICInterfaceName", target);
    if (status != 0) return false;
    __SysDbgPrint4("[AUFPI]getUSBNICInterfaceName:  cmd res %d interface Name is %s\n", status, name);
    return true;
}

/** Hands the name over with its NUL; a name that does not fit arrives empty, never cut to another one's name. */
void handOver(const astring* name, astring* destination) noexcept
{
    const std::size_t length = ::strnlen(name, 256);
    const bool        fits   = strncpy_s(destination, kNameSize, name, length) == 0;
    if (!fits) __SysDbgPrint3("[AUFPI]getUSBNICInterfaceName: interface name too long: %s\n", name);
    destination[fits ? length : 0] = '\0';
}

s32 findUsbNic(astring* destination) noexcept
{
    if (destination == nullptr) {
        __SysDbgPrint3("[AUFPI]getUSBNICInterfaceName: no buffer for the name.\n");
        return OXA_UPDATE_FAILED;
    }
    const SmOwned<astring> target = smText(kWorkSize);
    if (!target) {
        __SysDbgPrint3("[AUFPI]getUSBNICInterfaceName: failed to alloc memory targetPath = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    const SmOwned<astring> path = smText(kWorkSize);
    if (!path) {
        __SysDbgPrint3("[AUFPI]getUSBNICInterfaceName: failed to alloc memory linkPath = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    const Directory interfaces(::opendir(kInterfaces));
    if (!interfaces) {
        __SysDbgPrint3("[AUFPI]getUSBNICInterfaceName: cannot open %s: %s\n", kInterfaces, std::strerror(errno));
        return OXA_UPDATE_FAILED;
    }

    while (const dirent* entry = ::readdir(interfaces.get())) {
        if (entry->d_name[0] == '.') continue;
        sprintf_s(path.get(), kWorkSize, "%s%s", kInterfaces, entry->d_name);
        __SysDbgPrint4("[AUFPI]getUSBNICInterfaceName:dir name = %s.\n", path.get());
        if (!followed(path.get(), target.get()) || !isUsbNic(entry->d_name, target.get(), path.get())) continue;
        handOver(entry->d_name, destination);
        return 0;
    }
    return OXA_UPDATE_FAILED;
}

s32 setUpLink() noexcept
{
    const SmOwned<astring> name = smText(kNameSize);
    if (!name) {
        __SysDbgPrint3("[AUFPI]SetUSBNICInterface: failed to alloc memory g_torvoInterfaceName = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    s32 status = GetUSBNICInterfaceName(name.get());
    if (status != 0) {
        __SysDbgPrint3("[AUFPI]SetUSBNICInterface: getUSBNICInterfaceName failed with status:%d.\n", status);
        return OXA_UPDATE_FAILED;
    }
    __SysDbgPrint4("[AUFPI]SetUSBNICInterface: g_torvoInterfaceName %s\n", name.get());

    const SmOwned<astring> address = smText(kAddressSize);
    if (!address) {
        __SysDbgPrint3("[AUFPI]SetUSBNICInterface: failed to alloc memory pLocalTorvoIP = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    status = APMDiscoveryUSBNICIPAddress(address.get());
    if (status != 0) {
        __SysDbgPrint3("[AUFPI]SetUSBNICInterface: APMDiscoveryUSBNICIPAddress failed with status:%d.\n", status);
        return OXA_UPDATE_FAILED;
    }
    __SysDbgPrint4("[AUFPI]SetUSBNICInterface: pLocalTorvoIP %s\n", address.get());

    status = OSSendARPProbeToTorvo(name.get(), kProbes, kProbePauseSeconds, address.get());
    if (status != 0) {
        __SysDbgPrint3("[AUFPI]SetUSBNICInterface: OSSendARPProbeToTorvo failed with status:%d.\n", status);
        return OXA_UPDATE_FAILED;
    }
    return 0;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 GetUSBNICInterfaceName(astring* pInterfaceName)
{
    const qvrf::TraceScope trace("getUSBNICInterfaceName", qvrf::kUnspacedTrace);
    return qvrf::findUsbNic(pInterfaceName);
}

extern "C" s32 SetUSBNICInterface(void)
{
    const qvrf::TraceScope trace("SetUSBNICInterface", qvrf::kUpdateTrace);
    return qvrf::setUpLink();
}
