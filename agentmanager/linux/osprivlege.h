/**
 * @file osprivlege.h
 * The host's end of the USB NIC: interface flags, address checks, IPv6 address generation, ARP probe of the BMC.
 *
 * What changes an interface needs root (CAP_NET_ADMIN; the probe CAP_NET_RAW too). Nothing is kept between calls and
 * nothing locks: operations on different interfaces may run at once, operations that change one interface may not.
 * Every operation writes its entry and exit at trace level and its failures at error level of the debug print.
 */
#ifndef OSPRIVLEGE_H
#define OSPRIVLEGE_H

#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes the host's end of the USB NIC usable for IPv4 and proves that the BMC answers on it.
 *
 * Brings the interface up; gives it an address beside the BMC's when it has none, or when the one it has begins with
 * the BMC's text; then sends ARP requests for the BMC's address, each of which must be answered within 5 seconds.
 * What was changed on the host stays changed when a later step fails.
 *
 * @param intf_name      the interface, 15 characters at most
 * @param RetryCount     requests to send; the first one that goes unanswered ends the call. Not 0
 * @param RetryInterval  seconds to sleep between two requests; not 0
 * @param DestIP         the BMC's IPv4 address, dotted text
 * @return 0 no request went unanswered; 1 anything else, logged. A wait that fails, as one does that a signal
 *         interrupts, is passed over: where every wait failed the result is 0, and nobody has answered.
 * Blocks for up to RetryCount * 5 + (RetryCount - 1) * RetryInterval seconds, however many signals arrive, and where it
 * brought the interface up for up to 5 more while no carrier is there.
 */
u8 OSSendARPProbeToTorvo(char* intf_name, unsigned int RetryCount, unsigned int RetryInterval, char* DestIP);

/**
 * Replaces the changeable flags of an interface: nothing is read first, so a flag that is not in @p flags is cleared.
 * @param flags       IFF_UP (1) brings it up, 0 takes it down
 * @param addrfamily  AF_INET or AF_INET6: the family of the socket that carries the request
 * @return 0 done; -1 no name, no such interface, or not permitted
 */
s32 SetIFFlags(astring* pInterfaceName, u16 flags, u16 addrfamily);

/**
 * Does the interface carry a usable address: any IPv4 one, or a link-local IPv6 one?
 * Every interface whose name begins with @p pInterfaceName counts; the first of them that is down ends the search.
 * @param IPVersion  0: IPv4; otherwise IPv6
 * @return 0 yes; -1 no, the interface is down, no name, or the host's addresses cannot be listed
 */
s32 LXcheckHostIPVersion(astring* pInterfaceName, booln IPVersion);

/**
 * Does the interface carry a routable address: any IPv4 one, or an IPv6 one without a scope?
 * Every interface whose name begins with @p pInterfaceName counts; those that are down are passed over.
 * @param IPVersion  0: IPv4; otherwise IPv6
 * @return 0 yes; -1 no, no name, or the host's addresses cannot be listed
 */
s32 LXcheckIFIPConfigured(astring* pInterfaceName, booln IPVersion);

/**
 * Makes the interface's IPv6 link-local address follow its hardware address (EUI-64), as the BMC expects: sets the
 * generation mode where no link-local address is present yet, and takes the interface down and up again.
 *
 * Forks the calling process to run the command `ip`: call it where forking is safe, and not with SIGCHLD ignored,
 * where what became of `ip` cannot be learnt. Where `ip` cannot be executed, the forked process returns from this call
 * as well.
 *
 * Waits for a carrier that is not there before and after, for 5 seconds in all at most: what is sent sooner is lost.
 * @return 0 the interface went down and up again, whatever `ip` said; -1 it did not, or no name
 */
s32 SetAddrGenModePolicyForUSBNICIPV6(astring* pInterfaceName);

/**
 * Was the configuration of the USB NIC asked for? The request is the presence of the file
 * /opt/zelmar/kappel/Oxa/etc/ini/usbnicconfig.ini; asking removes it.
 * @return TRUE it was present; FALSE it was not
 */
booln IsUSBNICIntfConfigRequired(void);

/** @return always TRUE */
booln getTriggerInfo(void);

/** Sends SIGTERM to the calling process, so that the agent's own termination handling runs. */
void stoppingAPMServiceFromWithIn(void);

#ifdef __cplusplus
}
#endif

#endif
