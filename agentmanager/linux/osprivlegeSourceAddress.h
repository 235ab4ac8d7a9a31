/** @file osprivlegeSourceAddress.h  The host's IPv4 address on the USB NIC: the one it has, or one beside the BMC's. */
#ifndef OSPRIVLEGESOURCEADDRESS_H
#define OSPRIVLEGESOURCEADDRESS_H

#include <netinet/in.h>

#include "osprivlegeArp.h"

namespace qvrf {

/**
 * The address to probe the BMC from. Where the interface has none, or one that counts as the BMC's, it is given the
 * address beside the BMC's.
 * @param bmcText  the text of @p bmc
 * @return false when the interface could not be given an address; logged
 */
bool provideSourceAddress(const char* interfaceName, const char* bmcText, in_addr bmc, AddressText& source);

}  // namespace qvrf

#endif
