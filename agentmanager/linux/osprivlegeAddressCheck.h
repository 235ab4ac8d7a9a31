/** @file osprivlegeAddressCheck.h  What one entry of the host's address list says about an interface. */
#ifndef OSPRIVLEGEADDRESSCHECK_H
#define OSPRIVLEGEADDRESSCHECK_H

#include <ifaddrs.h>

#include "owners.h"

namespace qvrf {

/** The host's interfaces with their flags and addresses. */
using AddressList = std::unique_ptr<ifaddrs, GivenBackBy<&::freeifaddrs>>;

enum class Wanted { ipv4, ipv6 };

enum class Finding {
    nothing,     // another interface, another family, no address
    down,        // the interface asked for, but it is down
    unsuitable,  // an IPv6 address of it, but of the wrong scope
    suitable,
};

/** A usable address: IPv4, or IPv6 link-local, on an interface that is up. */
Finding usableAddress(const ifaddrs& entry, const char* interfaceName, Wanted wanted) noexcept;

/** A routable address: IPv4, or IPv6 with scope id 0, whatever its prefix, on an interface that is up. */
Finding routableAddress(const ifaddrs& entry, const char* interfaceName, Wanted wanted) noexcept;

}  // namespace qvrf

#endif
