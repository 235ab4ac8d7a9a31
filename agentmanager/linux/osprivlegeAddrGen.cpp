/** @file osprivlegeAddrGen.cpp  The IPv6 address-generation policy of the USB NIC. */
#include <net/if.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "osprivlege.h"
#include "osprivlegeCarrier.h"
#include "qvstatus.h"
#include "trace.h"

namespace {

constexpr u16 kUp   = IFF_UP;
constexpr u16 kDown = 0;

constexpr booln kIPv6 = 1;

void logOutcome(pid_t child) noexcept
{
    int   status = 0;
    pid_t waited = -1;
    do {
        errno  = 0;
        waited = ::waitpid(child, &status, 0);
    } while (waited < 0 && errno == EINTR);

    if (waited < 0) {
        __SysDbgPrint3("SetAddrGenModeForIPV6: waitpid() failed with ret=%d.\n", waited);
    } else if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
        __SysDbgPrint3("SetAddrGenModeForIPV6: unexpected child status=%d.\n", WEXITSTATUS(status));
    }
}

/** Asks `ip` for EUI-64 link-local addresses. An old `ip` or kernel may refuse: the link is bounced all the same. */
void SetAddrGenModeForIPV6(const astring* interfaceName) noexcept
{
    const qvrf::TraceScope trace("SetAddrGenModeForIPV6", qvrf::kPlainTrace);
    const pid_t            child = ::fork();
    if (child < 0) {
        __SysDbgPrint3("SetAddrGenModeForIPV6: fork() failed.\n");
    } else if (child == 0) {
        ::execlp("ip", "ip", "link", "set", interfaceName, "addrgenmode", "eui64", nullptr);
        // No exit here: a child that found no `ip` goes on like its parent, and callers rely on both returning.
    } else {
        logOutcome(child);
    }
}

/** Takes the interface down and up, so that the kernel generates its addresses anew. */
s32 bounce(astring* interfaceName, u16 family) noexcept
{
    if (SetIFFlags(interfaceName, kDown, family) != 0) {
        __SysDbgPrint3("SetAddrGenModePolicyForUSBNICIPV6: BringDOWNNetworkInterface failed.\n");
        return QVRFUTIL_FAILURE;
    }
    if (SetIFFlags(interfaceName, kUp, family) != 0) {
        __SysDbgPrint3("SetAddrGenModePolicyForUSBNICIPV6: BringUPNetworkInterface failed.\n");
        return QVRFUTIL_FAILURE;
    }
    return 0;
}

s32 bounceUsable(astring* interfaceName) noexcept
{
    SetIFFlags(interfaceName, kUp, AF_INET6);  // it is up already: whether this succeeds does not matter
    const s32 result = bounce(interfaceName, AF_INET6);
    if (result == 0) qvrf::CarrierWait(interfaceName).running();
    return result;
}

/** A USB interface that goes up, down and up before its carrier came can lose it for good. */
s32 bounceWithNewMode(astring* interfaceName) noexcept
{
    qvrf::CarrierWait carrier(interfaceName);
    const bool        runs = carrier.running();
    SetAddrGenModeForIPV6(interfaceName);
    const s32 result = bounce(interfaceName, AF_INET);
    if (runs && result == 0) carrier.running();
    return result;
}

s32 setPolicy(astring* interfaceName) noexcept
{
    if (interfaceName == nullptr) {
        __SysDbgPrint3("SetAddrGenModePolicyForUSBNICIPV6: pInterfaceName=NULL\n");
        return QVRFUTIL_FAILURE;
    }
    if (SetIFFlags(interfaceName, kUp, AF_INET) != 0) {
        __SysDbgPrint3("SetAddrGenModePolicyForUSBNICIPV6: BringUPNetworkInterface failed.\n");
        return QVRFUTIL_FAILURE;
    }
    return LXcheckHostIPVersion(interfaceName, kIPv6) == 0 ? bounceUsable(interfaceName)
                                                           : bounceWithNewMode(interfaceName);
}

}  // namespace

extern "C" s32 SetAddrGenModePolicyForUSBNICIPV6(astring* pInterfaceName)
{
    const qvrf::TraceScope trace("SetAddrGenModePolicyForUSBNICIPV6", qvrf::kPlainTrace);
    return setPolicy(pInterfaceName);
}
