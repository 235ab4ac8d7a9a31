/** @file osprivlegeSourceAddress.cpp  Finds the host's IPv4 address on the USB NIC, or derives and assigns one. */
#include "osprivlegeSourceAddress.h"

#include <arpa/inet.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "osprivlegeInterfaceRequest.h"
#include "owners.h"
#include "qvisocppsecurecompat.h"
#include "trace.h"

namespace qvrf {

namespace {

constexpr std::size_t kUsualEntries = 20;
constexpr socklen_t   kDottedLimit  = 32;
constexpr std::size_t kMostEntries  = 20480;  // stops the growth on a kernel that fills whatever it is given

in_addr ipv4Of(const ifreq& entry) noexcept
{
    sockaddr_in address;
    std::memcpy(&address, &entry.ifr_addr, sizeof address);
    return address.sin_addr;
}

/**
 * The host's IPv4 addresses with the interfaces that carry them; empty when the kernel refuses, logged. The kernel
 * drops without a word what does not fit, so a list that came back full is asked for again with more room.
 */
std::vector<ifreq> addressedInterfaces(int socket)
{
    for (std::size_t room = kUsualEntries;; room *= 2) {
        std::vector<ifreq> entries(room);
        ifconf             list{};
        list.ifc_len = static_cast<int>(room * sizeof(ifreq));
        list.ifc_req = entries.data();
        if (::ioctl(socket, SIOCGIFCONF, &list) < 0) {
            __SysDbgPrint3("OSGetUSBNICInterfaceIP4Addr: ioctl() call failed\n");
            return {};
        }
        const auto filled = static_cast<std::size_t>(std::max(list.ifc_len, 0)) / sizeof(ifreq);
        if (filled < room || room >= kMostEntries) {
            entries.resize(std::min(filled, room));
            return entries;
        }
    }
}

/** Copies the interface's address into @p address, if it has one. */
bool foundAddress(const char* interfaceName, AddressText& address)
{
    const Descriptor control(openSocket(AF_INET, SOCK_DGRAM));
    if (!control) {
        __SysDbgPrint3("OSGetUSBNICInterfaceIP4Addr: socket() call failed\n");
        return false;
    }
    for (ifreq& entry : addressedInterfaces(control.get())) {
        entry.ifr_name[IFNAMSIZ - 1] = '\0';
        char          text[INET_ADDRSTRLEN]{};
        const in_addr ipv4 = ipv4Of(entry);
        ::inet_ntop(AF_INET, &ipv4, text, sizeof text);
        __SysDbgPrint4("OSGetUSBNICInterfaceIP4Addr: %s: %s\n", entry.ifr_name, text);
        if (::strcasecmp(entry.ifr_name, interfaceName) == 0) {
            return strncpy_s(address.data(), address.size(), text, sizeof text) == 0;
        }
    }
    return false;
}

bool OSGetUSBNICInterfaceIP4Addr(const char* interfaceName, AddressText& address)
{
    return traced("OSGetUSBNICInterfaceIP4Addr", kAddressTrace, [&] { return foundAddress(interfaceName, address); });
}

in_addr buildLinkLocal(in_addr bmc, AddressText& address) noexcept
{
    // A fixed line that marks this case in every log; no operation of that name is involved.
    __SysDbgPrint3("OSSendARPProbeToTorvo: APMUpdateAutoconnectFeature() failed\n");
    const in_addr derived = addressBeside(bmc);
    __SysDbgPrint4("buildLinkLocal: ..d_ip.s_addr = 0x%x\n", derived.s_addr);
    ::inet_ntop(AF_INET, &derived, address.data(), kDottedLimit);
    __SysDbgPrint4("buildLinkLocal: ..d_ip= %s\n", address.data());
    __SysDbgPrint3("OSSendARPProbeToTorvo: failed to get source interface ip address..\n");
    return derived;
}

/** Sets the address and nothing beside it: netmask, broadcast address and route are the kernel's choice. */
bool assigned(const char* interfaceName, in_addr address) noexcept
{
    const LoggedSocket control(AF_INET, SOCK_DGRAM, "OSSendAPProbeToTorvo: close() failed\n");
    if (!control) {
        __SysDbgPrint3("OSSendARPProbeToTorvo: could not create socket for IPPROTO_IP\n");
        return false;
    }
    sockaddr_in ipv4{};
    ipv4.sin_family = AF_INET;
    ipv4.sin_addr   = address;
    ifreq request   = requestFor(interfaceName);
    std::memcpy(&request.ifr_addr, &ipv4, sizeof ipv4);
    if (!performed(control.get(), kSetAddress, request)) return false;

    request = requestFor(interfaceName);
    if (!performed(control.get(), kGetFlags, request)) return false;
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP | IFF_BROADCAST | IFF_RUNNING | IFF_MULTICAST);
    if (!performed(control.get(), kSetFlags, request)) return false;

    __SysDbgPrint4("OSSendAPProbeToTorvo: configuration of source interface ip address success\n");
    return true;
}

}  // namespace

bool provideSourceAddress(const char* interfaceName, const char* bmcText, in_addr bmc, AddressText& source)
{
    if (OSGetUSBNICInterfaceIP4Addr(interfaceName, source)) {
        if (!countsAsSame(source.data(), bmcText)) return true;
        __SysDbgPrint4("OSSendARPProbeToTorvo: Torvo IP recevied and OS ip configured is same.\n");
    }
    return assigned(interfaceName, buildLinkLocal(bmc, source));
}

}  // namespace qvrf
