/** @file osprivlegeArp.cpp  Builds the ARP request and judges addresses; touches no socket. */
#include "osprivlegeArp.h"

#include <net/if_arp.h>
#include <netinet/ether.h>

#include <algorithm>
#include <cstring>

#include "qvisocppsecurecompat.h"

namespace qvrf {
namespace {

constexpr std::size_t kHardwareRoom = sizeof(sockaddr_ll::sll_addr);
static_assert(8 + 2 * (kHardwareRoom + sizeof(in_addr)) <= sizeof(ArpRequest::bytes), "the longest request fits");

u8* appended(u8* at, const void* from, std::size_t size) noexcept
{
    return std::copy_n(static_cast<const u8*>(from), size, at);
}

}  // namespace

bool hasUsableHardwareAddress(const sockaddr_ll& station) noexcept
{
    return station.sll_halen > 0 && station.sll_halen <= kHardwareRoom;
}

ArpRequest arpRequest(const sockaddr_ll& me, in_addr source, in_addr target) noexcept
{
    const auto hardwareLength = static_cast<u8>(std::min<std::size_t>(me.sll_halen, kHardwareRoom));
    // clang-format off
    const u8 head[] = {
        0, ARPHRD_ETHER,    // hardware type
        0x08, 0x00,         // protocol type: IPv4
        hardwareLength, 4,  // address lengths
        0, ARPOP_REQUEST,
    };
    // clang-format on
    ArpRequest request{};
    u8*        end = appended(request.bytes.data(), head, sizeof head);
    end            = appended(end, me.sll_addr, hardwareLength);
    end            = appended(end, &source.s_addr, sizeof source.s_addr);
    // The BMC is asked with the sender's hardware address in the target's place too, neither zeros nor broadcast.
    end          = appended(end, me.sll_addr, hardwareLength);
    end          = appended(end, &target.s_addr, sizeof target.s_addr);
    request.size = static_cast<std::size_t>(end - request.bytes.data());
    return request;
}

sockaddr_ll everybodyOn(const sockaddr_ll& me) noexcept
{
    sockaddr_ll everybody = me;
    std::fill_n(everybody.sll_addr, std::min<std::size_t>(me.sll_halen, kHardwareRoom), u8{0xFF});
    return everybody;
}

in_addr addressBeside(in_addr bmc) noexcept
{
    const u32 address = ntohl(bmc.s_addr);
    switch (address & 0xFF) {
        case 254:
        case 255: return in_addr{htonl(address - 1)};
        case 2: return in_addr{htonl(address + 3)};
        default: return in_addr{htonl(address + 1)};
    }
}

bool countsAsSame(const char* address, const char* bmc) noexcept
{
    return std::strncmp(address, bmc, ::strnlen(bmc, 1024)) == 0;
}

StationText stationText(const sockaddr_ll& station) noexcept
{
    ether_addr hardware{};
    static_assert(sizeof hardware <= kHardwareRoom, "an Ethernet address fits a link-layer address");
    OXAmemcpy_s(&hardware, sizeof hardware, station.sll_addr, sizeof hardware);
    char rendered[sizeof "ff:ff:ff:ff:ff:ff"];
    ::ether_ntoa_r(&hardware, rendered);

    StationText text{};
    strncpy_s(text.data(), text.size(), rendered, ::strnlen(rendered, text.size() - 1));
    return text;
}

bool isNobody(const StationText& station) noexcept
{
    static constexpr char nobody[] = "0:0:0:0:0:0";
    return std::memcmp(station.data(), nobody, sizeof nobody) == 0;
}

}  // namespace qvrf
