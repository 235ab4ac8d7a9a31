/** @file osprivlegeArp.h  ARP towards the BMC as plain values: the request, the host's address, who answered. */
#ifndef OSPRIVLEGEARP_H
#define OSPRIVLEGEARP_H

#include <netinet/in.h>
#include <netpacket/packet.h>

#include <array>
#include <cstddef>

#include "qvtypes.h"

namespace qvrf {

/** A dotted IPv4 address with its NUL, in a buffer that has room to spare. */
using AddressText = std::array<char, 128>;

/** An ARP request as it travels behind the link-layer header. */
struct ArpRequest {
    std::array<u8, 256> bytes;
    std::size_t         size;
};

/** A hardware address that a link-layer address record can hold: present, and no longer than the record. */
bool hasUsableHardwareAddress(const sockaddr_ll& station) noexcept;

/** The request for @p target by @p source at the station @p me, whose hardware address is usable. */
ArpRequest arpRequest(const sockaddr_ll& me, in_addr source, in_addr target) noexcept;

/** Everybody on the link of @p me. */
sockaddr_ll everybodyOn(const sockaddr_ll& me) noexcept;

/** The host's address next to the BMC's: another last octet, never 0. */
in_addr addressBeside(in_addr bmc) noexcept;

/** Does @p address begin with the text @p bmc? So 169.254.0.10 counts as 169.254.0.1; callers rely on it. */
bool countsAsSame(const char* address, const char* bmc) noexcept;

/** A station's hardware address as text, such as 2:0:5e:10:0:1, with its NUL. */
using StationText = std::array<char, 129>;
StationText stationText(const sockaddr_ll& station) noexcept;

/** The text of a station without a hardware address. */
bool isNobody(const StationText& station) noexcept;

}  // namespace qvrf

#endif
