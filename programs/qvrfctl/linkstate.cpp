/** @file linkstate.cpp  Reads an interface's flags and addresses from the host's address list. */
#include "linkstate.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>

#include <array>
#include <cstdio>
#include <memory>

namespace qvrfctl {
namespace {

struct FlagRow {
    unsigned    flag;
    const char* name;
};
constexpr FlagRow kFlags[] = {
    {IFF_UP, "UP"},
    {IFF_RUNNING, "RUNNING"},
    {IFF_BROADCAST, "BROADCAST"},
    {IFF_MULTICAST, "MULTICAST"},
    {IFF_POINTOPOINT, "POINTOPOINT"},
    {IFF_NOARP, "NOARP"},
    {IFF_PROMISC, "PROMISC"},
};

/** "169.254.1.2/16"; @p field: where a record of this family has its address. */
template <class Record, class Address>
std::string withPrefix(const ifaddrs& entry, Address Record::*field)
{
    const auto*                        own = reinterpret_cast<const Record*>(entry.ifa_addr);
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(entry.ifa_addr->sa_family, &(own->*field), text.data(), text.size());
    if (entry.ifa_netmask == nullptr) return text.data();
    const auto* mask = reinterpret_cast<const Record*>(entry.ifa_netmask);
    return std::string(text.data()) + '/' +
           std::to_string(prefixLength(reinterpret_cast<const u8*>(&(mask->*field)), sizeof(Address)));
}

std::string hardwareText(const sockaddr_ll& station)
{
    std::string text;
    for (unsigned i = 0; i < station.sll_halen && i < sizeof station.sll_addr; ++i) {
        std::array<char, 4> byte{};
        std::snprintf(byte.data(), byte.size(), "%s%02x", i == 0 ? "" : ":", unsigned{station.sll_addr[i]});
        text += byte.data();
    }
    return text;
}

void add(LinkState& link, const ifaddrs& entry)
{
    link.flags = flagNames(entry.ifa_flags);
    if (entry.ifa_addr == nullptr) return;
    switch (entry.ifa_addr->sa_family) {
        case AF_INET: link.ipv4Addresses.push_back(withPrefix(entry, &sockaddr_in::sin_addr)); break;
        case AF_INET6: link.ipv6Addresses.push_back(withPrefix(entry, &sockaddr_in6::sin6_addr)); break;
        case AF_PACKET:
            link.hardwareAddress = hardwareText(*reinterpret_cast<const sockaddr_ll*>(entry.ifa_addr));
            break;
        default: break;
    }
}

}  // namespace

LinkState readLink(const std::string& name)
{
    LinkState link;
    ifaddrs*  first = nullptr;
    if (::getifaddrs(&first) != 0) return link;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> list(first, ::freeifaddrs);
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next)
        if (name == entry->ifa_name) add(link, *entry);
    return link;
}

std::vector<std::string> flagNames(unsigned flags)
{
    std::vector<std::string> names;
    for (const FlagRow& row : kFlags)
        if ((flags & row.flag) != 0) names.emplace_back(row.name);
    return names;
}

unsigned prefixLength(const u8* mask, std::size_t size) noexcept
{
    unsigned length = 0;
    while (length < 8 * size && (mask[length / 8] & (0x80U >> (length % 8))) != 0) ++length;
    return length;
}

std::string passThroughText(u8 mode)
{
    return std::string(mode == kPassThroughOff ? "off" : "on") + " (mode " + std::to_string(unsigned{mode}) + ')';
}

}  // namespace qvrfctl
