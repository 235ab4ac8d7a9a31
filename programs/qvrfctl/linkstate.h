/** @file linkstate.h  The host's end of the link to the BMC, as the kernel knows it. */
#ifndef QVRFCTL_LINKSTATE_H
#define QVRFCTL_LINKSTATE_H

#include <string>
#include <vector>

#include "qvtypes.h"

namespace qvrfctl {

struct LinkState {
    std::vector<std::string> flags;
    std::string              hardwareAddress;  ///< empty: not known
    std::vector<std::string> ipv4Addresses;    ///< with their prefix length, "169.254.1.2/16"
    std::vector<std::string> ipv6Addresses;
};

/** The interface called @p name; one that is not there has neither flags nor addresses. */
LinkState readLink(const std::string& name);

/** "UP", "RUNNING" and so on, of those that say something about a link. */
std::vector<std::string> flagNames(unsigned flags);

/** The bits of a netmask from the left up to the first that is not set. */
unsigned prefixLength(const u8* mask, std::size_t size) noexcept;

// Modes of the OS-to-BMC pass-through.
constexpr u8 kPassThroughOff    = 0;
constexpr u8 kPassThroughUsbNic = 21;

/** "on (mode 21)" */
std::string passThroughText(u8 mode);

}  // namespace qvrfctl

#endif
