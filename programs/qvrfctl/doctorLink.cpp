/** @file doctorLink.cpp  The steps on the link: pass-through, USB NIC, carrier, addresses, ARP. */
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "descriptor.h"
#include "doctor.h"
#include "osprivlege.h"

namespace qvrfctl {
namespace {

constexpr std::size_t kInterfaceNameSize = 64;
constexpr auto        kArpTime           = std::chrono::seconds(2);
constexpr auto        kArpPause          = std::chrono::milliseconds(50);
constexpr char        kSetUp[]           = "sudo qvrfctl link setup";

bool has(const Evidence& evidence, const char* flag)
{
    const auto& flags = evidence.link.flags;
    return std::find(flags.begin(), flags.end(), flag) != flags.end();
}

Verdict notBehindLink(const Evidence& evidence)
{
    return skipped("not needed: the BMC is at " + evidence.endpoint->address);
}

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

/** Whether @p address is in the network of "169.254.1.2/16". */
bool isBeside(const std::string& network, const std::string& address)
{
    const auto slash = network.find('/');
    in_addr    ours{};
    in_addr    theirs{};
    if (slash == network.npos || ::inet_pton(AF_INET, network.substr(0, slash).c_str(), &ours) != 1) return false;
    if (::inet_pton(AF_INET, address.c_str(), &theirs) != 1) return false;
    const unsigned bits = static_cast<unsigned>(std::stoul(network.substr(slash + 1)));
    const u32      mask = bits == 0 ? 0 : ~u32{0} << (32 - std::min(bits, 32u));
    return ((ntohl(ours.s_addr) ^ ntohl(theirs.s_addr)) & mask) == 0;
}

/** One datagram that nobody waits for: the kernel has to find out the BMC's hardware address to send it. */
void provokeArp(const std::string& address)
{
    constexpr u16 discard = 9;
    sockaddr_in   to{};
    to.sin_family = AF_INET;
    to.sin_port   = htons(discard);
    ::inet_pton(AF_INET, address.c_str(), &to.sin_addr);
    const qvtools::Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket) ::sendto(socket.get(), "", 1, MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

/** Whether the kernel's table has a hardware address for @p address. */
bool isNeighbour(const std::string& address)
{
    constexpr unsigned complete = 0x2;
    std::ifstream      table("/proc/net/arp");
    std::string        line;
    while (std::getline(table, line)) {
        std::istringstream words(line);
        std::string        ip, type, flags;
        if (words >> ip >> type >> flags && ip == address) return (std::stoul(flags, nullptr, 16) & complete) != 0;
    }
    return false;
}

}  // namespace

Verdict checkPassThrough(Evidence& evidence)
{
    if (!needsLink(evidence)) return notBehindLink(evidence);
    if (!evidence.answers) return skipped("the BMC does not answer over IPMI");
    u8 mode = 0;
    if (APMDiscoveryGetOSToBMCStatus(&mode) != 0)
        return failed("the BMC does not tell its mode", "look into the BMC's log");
    evidence.mode = mode;
    if (mode == kPassThroughUsbNic) return ok(passThroughText(mode));
    return failed(passThroughText(mode), mode == kPassThroughOff ? "sudo qvrfctl link setup switches it on"
                                                                 : "choose the USB NIC in the BMC's settings");
}

Verdict checkUsbNic(Evidence& evidence)
{
    if (!needsLink(evidence)) return notBehindLink(evidence);
    std::array<astring, kInterfaceNameSize> name{};
    if (GetUSBNICInterfaceName(name.data()) != 0 || name[0] == '\0')
        return failed(
            "no interface of this host is the BMC's USB NIC (USB device 7a3e/c051)",
            evidence.mode == kPassThroughUsbNic ? "check the host's USB devices and network drivers" : kSetUp);
    evidence.interface = name.data();
    evidence.link      = readLink(evidence.interface);
    return ok(evidence.interface);
}

Verdict checkCarrier(Evidence& evidence)
{
    if (!needsLink(evidence)) return notBehindLink(evidence);
    if (evidence.interface.empty()) return skipped("there is no USB NIC");
    if (!has(evidence, "UP")) return failed(evidence.interface + " is down", kSetUp);
    if (has(evidence, "RUNNING")) return ok(evidence.interface + " is up and running");
    return failed(evidence.interface + " has no carrier",
                  "switch the OS-to-BMC pass-through off and on in the BMC's settings: it plugs its USB NIC in anew");
}

Verdict checkAddresses(Evidence& evidence)
{
    if (!needsLink(evidence)) return notBehindLink(evidence);
    if (evidence.interface.empty()) return skipped("there is no USB NIC");
    const auto&       own   = evidence.link.ipv4Addresses;
    const std::string all   = joined(own) + ' ' + joined(evidence.link.ipv6Addresses);
    const bool        other = !evidence.endpoint || evidence.endpoint->ipv6;
    if (own.empty() && (!other || evidence.link.ipv6Addresses.empty()))
        return failed(evidence.interface + " has no address for the BMC", kSetUp);
    const auto beside = [&](const std::string& network) { return isBeside(network, evidence.endpoint->address); };
    if (other || std::any_of(own.begin(), own.end(), beside)) return ok(all);
    return failed(all + " and the BMC's " + evidence.endpoint->address + " are in different networks",
                  "give the interface an address beside the BMC's, or remove its own and run 'qvrfctl link setup'");
}

Verdict checkArp(Evidence& evidence)
{
    if (!needsLink(evidence)) return notBehindLink(evidence);
    if (evidence.interface.empty() || !evidence.endpoint) return skipped("there is no link to ask on");
    if (evidence.endpoint->ipv6) return skipped("the BMC's address is IPv6");
    std::string address = evidence.endpoint->address;
    if (evidence.probes) {
        std::string name = evidence.interface;
        return OSSendARPProbeToTorvo(name.data(), 1, 1, address.data()) == 0
                   ? ok(address + " answers a request")
                   : failed(address + " does not answer", kSetUp);
    }
    provokeArp(address);
    const auto deadline = std::chrono::steady_clock::now() + kArpTime;
    while (!isNeighbour(address) && std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_for(kArpPause);
    return isNeighbour(address) ? ok(address + " answers")
                                : failed(address + " does not answer the kernel's requests",
                                         "'qvrfctl doctor --probe' brings the interface up and asks by itself");
}

}  // namespace qvrfctl
