/** @file osprivlegeArpProbe.cpp  Brings the USB NIC up and asks for the BMC by ARP until every request was answered. */
#include <arpa/inet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "osprivlege.h"
#include "osprivlegeArp.h"
#include "osprivlegeCarrier.h"
#include "osprivlegeInterfaceRequest.h"
#include "osprivlegePause.h"
#include "osprivlegeSourceAddress.h"
#include "shield.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr time_t      kAnswerWaitSeconds = 5;
constexpr std::size_t kFrameRoom         = 4096;

struct Probe {
    const char*  interfaceName;
    const char*  bmcText;
    in_addr      bmc;
    unsigned int requests;
    unsigned int pauseSeconds;
};

/** The interface that the probe goes out on. */
struct Interface {
    int  index   = 0;
    bool wasDown = false;
};

/** The interface's index, and the interface up. */
bool broughtUp(int socket, const char* interfaceName, Interface& found) noexcept
{
    ifreq request = requestFor(interfaceName);
    if (!performed(socket, kGetIndex, request)) return false;
    found.index = request.ifr_ifindex;

    if (!performed(socket, kGetFlags, request)) return false;
    if ((request.ifr_flags & IFF_UP) != 0) {
        __SysDbgPrint4("OSSendARPProbeToTorvo: interface %s status is UP\n", interfaceName);
        return true;
    }
    found.wasDown = true;
    __SysDbgPrint4("OSSendARPProbeToTorvo: interface %s status is DOWN\n", interfaceName);
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP | IFF_RUNNING);
    if (!performed(socket, kSetFlags, request)) return false;
    __SysDbgPrint4("OSSendARPProbeToTorvo: interface %s status is now UP\n", interfaceName);
    return true;
}

/** Binds the packet socket to ARP on the interface and learns the station that it is there. */
bool boundStation(int socket, int index, sockaddr_ll& me) noexcept
{
    me              = {};
    me.sll_family   = AF_PACKET;
    me.sll_protocol = htons(ETHERTYPE_ARP);
    me.sll_ifindex  = index;
    auto* address   = reinterpret_cast<sockaddr*>(&me);
    if (::bind(socket, address, sizeof me) < 0) {
        __SysDbgPrint3("OSSendARPProbeToTorvo: bind failed errno=%d..\n", errno);
        return false;
    }
    socklen_t size = sizeof me;
    if (::getsockname(socket, address, &size) < 0 || !hasUsableHardwareAddress(me)) {
        __SysDbgPrint3("OSSendARPProbeToTorvo: getsockname failed errno=%d..\n", errno);
        return false;
    }
    return true;
}

bool sent(int socket, const ArpRequest& request, const sockaddr_ll& to) noexcept
{
    const auto* address = reinterpret_cast<const sockaddr*>(&to);
    if (::sendto(socket, request.bytes.data(), request.size, 0, address, sizeof to) < 0) {
        __SysDbgPrint3("OSSendARPProbeToTorvo: send_pack failed.\n");
        return false;
    }
    __SysDbgPrint4("OSSendARPProbeToTorvo: arp request sent..\n");
    return true;
}

/** Waits for a frame or for the time to be up. @return false when the wait itself failed */
bool waited(int socket)
{
    // One fd_set ends at FD_SETSIZE; an agent with many open files may well have this socket behind it.
    std::vector<fd_set> readable(static_cast<std::size_t>(socket / FD_SETSIZE) + 1);
    FD_SET(socket % FD_SETSIZE, &readable.back());
    timeval timeOut{kAnswerWaitSeconds, 0};
    if (::select(socket + 1, readable.data(), nullptr, nullptr, &timeOut) != -1) return true;
    __SysDbgPrint3("OSSendARPProbeToTorvo: select failed errno=%d..\n", errno);
    return false;
}

/** Takes the frame that came in. What it says does not matter: on this link only the BMC can have sent it. */
bool answered(int socket) noexcept
{
    u8          frame[kFrameRoom];
    sockaddr_ll from{};
    socklen_t   size = sizeof from;
    if (::recvfrom(socket, frame, sizeof frame, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &size) < 0) {
        __SysDbgPrint3("OSGetUSBNICInterfaceIP4Addr: recvfrom() call failed\n");
        return false;
    }
    __SysDbgPrint4("OSSendARPProbeToTorvo: arp response recieved..\n");
    const StationText station = stationText(from);
    if (isNobody(station)) {
        __SysDbgPrint3("OSSendARPProbeToTorvo: the answer is from a station without address\n");
        return false;
    }
    __SysDbgPrint4("OSSendARPProbeToTorvo: dest mac addr = %s\n", station.data());
    return true;
}

bool everyRequestAnswered(int socket, const Probe& probe, const ArpRequest& request, const sockaddr_ll& to)
{
    for (unsigned int left = probe.requests; left > 0; --left) {
        if (!sent(socket, request, to)) return false;
        if (!waited(socket)) continue;  // no wait, no answer read: callers count on the next request coming at once
        if (!answered(socket)) return false;
        if (left > 1) pauseFor(probe.pauseSeconds);
    }
    return true;
}

bool reached(const Probe& probe)
{
    const LoggedSocket packets(AF_PACKET, SOCK_DGRAM, "OSSendAPProbeToTorvo: close() failed\n");
    if (!packets) {
        __SysDbgPrint3("OSSendARPProbeToTorvo: socket creation failed %s..\n", std::strerror(errno));
        return false;
    }
    Interface own;
    if (!broughtUp(packets.get(), probe.interfaceName, own)) return false;

    AddressText sourceText{};
    if (!provideSourceAddress(probe.interfaceName, probe.bmcText, probe.bmc, sourceText)) return false;
    in_addr source{};
    if (::inet_pton(AF_INET, sourceText.data(), &source) != 1) {
        __SysDbgPrint3("OSSendARPProbeToTorvo: sourceip %s is not valid\n", sourceText.data());
        return false;
    }
    sockaddr_ll me;
    if (!boundStation(packets.get(), own.index, me)) return false;
    if (own.wasDown) CarrierWait(probe.interfaceName).settled();
    return everyRequestAnswered(packets.get(), probe, arpRequest(me, source, probe.bmc), everybodyOn(me));
}

bool probed(const char* interfaceName, unsigned int requests, unsigned int pauseSeconds, const char* bmcText)
{
    if (interfaceName == nullptr || bmcText == nullptr || requests == 0 || pauseSeconds == 0) {
        __SysDbgPrint3("OSSendARPProbeToTorvo: invalid input..\n");
        return false;
    }
    Probe probe{interfaceName, bmcText, {}, requests, pauseSeconds};
    if (::inet_pton(AF_INET, bmcText, &probe.bmc) != 1) {
        __SysDbgPrint3("OSSendARPProbeToTorvo: invalid input(destip) %s..\n", bmcText);
        return false;
    }
    return reached(probe);
}

}  // namespace
}  // namespace qvrf

extern "C" u8 OSSendARPProbeToTorvo(char* intf_name, unsigned int RetryCount, unsigned int RetryInterval, char* DestIP)
{
    static constexpr char op[] = "OSSendARPProbeToTorvo";
    return qvrf::traced(op, qvrf::kProbeTrace, [&]() -> u8 {
        const auto probed = [&] { return qvrf::probed(intf_name, RetryCount, RetryInterval, DestIP); };
        return qvrf::shielded(op, false, probed) ? 0 : 1;
    });
}
