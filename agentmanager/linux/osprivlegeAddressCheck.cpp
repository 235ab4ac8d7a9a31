/** @file osprivlegeAddressCheck.cpp  The two checks of an interface's addresses over the host's address list. */
#include "osprivlegeAddressCheck.h"

#include <net/if.h>
#include <netinet/in.h>

#include <cstring>
#include <optional>

#include "osprivlege.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

/** Compares as far as the name asked for goes: eth0 stands for eth0:1 and eth01 as well. */
bool speaksOf(const ifaddrs& entry, const char* interfaceName) noexcept
{
    return std::strncmp(entry.ifa_name, interfaceName, ::strnlen(interfaceName, 1024)) == 0;
}

sockaddr_in6 ipv6Of(const ifaddrs& entry) noexcept
{
    sockaddr_in6 address;
    std::memcpy(&address, entry.ifa_addr, sizeof address);
    return address;
}

bool isLinkLocal(const sockaddr_in6& address) noexcept
{
    const u8* bytes = address.sin6_addr.s6_addr;
    return bytes[0] == 0xFE && (bytes[1] & 0xC0) == 0x80;
}

template <class SuitsIpv6>
Finding judged(const ifaddrs& entry, const char* interfaceName, Wanted wanted, SuitsIpv6 suits) noexcept
{
    if (entry.ifa_addr == nullptr || !speaksOf(entry, interfaceName)) return Finding::nothing;
    if ((entry.ifa_flags & IFF_UP) == 0) return Finding::down;
    if (entry.ifa_addr->sa_family != (wanted == Wanted::ipv6 ? AF_INET6 : AF_INET)) return Finding::nothing;
    if (wanted == Wanted::ipv4) return Finding::suitable;
    return suits(ipv6Of(entry)) ? Finding::suitable : Finding::unsuitable;
}

/** The host's address list; logs in the name of @p op when there is none to be had. */
AddressList addressList(const char* op, const astring* interfaceName) noexcept
{
    AddressList list;
    if (interfaceName == nullptr) {
        __SysDbgPrint3("%s: Interface name is NULL\n", op);
    } else if (::getifaddrs(Receive(list)) != 0) {
        __SysDbgPrint3("%s: getifaddrs failed!!\n", op);
    }
    return list;
}

}  // namespace

Finding usableAddress(const ifaddrs& entry, const char* interfaceName, Wanted wanted) noexcept
{
    return judged(entry, interfaceName, wanted, isLinkLocal);
}

Finding routableAddress(const ifaddrs& entry, const char* interfaceName, Wanted wanted) noexcept
{
    return judged(entry, interfaceName, wanted, [](const sockaddr_in6& a) { return a.sin6_scope_id == 0; });
}

namespace {

/** What an address decides: a status for the whole check, or nothing. */
using Verdict = std::optional<s32>;

/** The IPv6 line has always carried the other check's name; readers of the log search for it. */
Verdict decideHostIPVersion(const ifaddrs& entry, const char* interfaceName, Wanted wanted) noexcept
{
    switch (usableAddress(entry, interfaceName, wanted)) {
        case Finding::nothing: return std::nullopt;
        case Finding::down: __SysDbgPrint3("LXcheckHostIPVersion: Interface is Down\n"); return QVRFUTIL_FAILURE;
        case Finding::unsuitable:
            __SysDbgPrint4("LXcheckHostIPVersion: not a link local address\n");
            return std::nullopt;
        case Finding::suitable: break;
    }
    if (wanted == Wanted::ipv6)
        __SysDbgPrint4("LXcheckIFIPConfigured: Interface  %s configured with IPV6\n", entry.ifa_name);
    else
        __SysDbgPrint4("LXcheckHostIPVersion: Interface %s configured IPV4\n", entry.ifa_name);
    return OXA_SUCCESS;
}

Verdict decideIFIPConfigured(const ifaddrs& entry, const char* interfaceName, Wanted wanted) noexcept
{
    const Finding finding = routableAddress(entry, interfaceName, wanted);
    if (finding == Finding::unsuitable)
        __SysDbgPrint4("LXcheckIFIPConfigured: Scope id %d not a IPV6 ULA address\n",
                       static_cast<int>(ipv6Of(entry).sin6_scope_id));
    if (finding != Finding::suitable) return std::nullopt;
    if (wanted == Wanted::ipv6)
        __SysDbgPrint4("LXcheckIFIPConfigured: Interface  %s configured with IPV6 ULA address\n", entry.ifa_name);
    else
        __SysDbgPrint4("LXcheckIFIPConfigured: Interface %s configured IPV4\n", entry.ifa_name);
    return OXA_SUCCESS;
}

/** The host's addresses one by one, until one decides. */
template <class Decide>
s32 decidedBy(const Decide& decide, const char* op, const char* interfaceName, booln IPVersion) noexcept
{
    const Wanted      wanted = IPVersion != 0 ? Wanted::ipv6 : Wanted::ipv4;
    const AddressList list   = addressList(op, interfaceName);
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next)
        if (const Verdict verdict = decide(*entry, interfaceName, wanted)) return *verdict;
    return QVRFUTIL_FAILURE;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 LXcheckHostIPVersion(astring* pInterfaceName, booln IPVersion)
{
    static constexpr char  op[] = "LXcheckHostIPVersion";
    const qvrf::TraceScope trace(op, qvrf::kPlainTrace);
    return qvrf::decidedBy(qvrf::decideHostIPVersion, op, pInterfaceName, IPVersion);
}

extern "C" s32 LXcheckIFIPConfigured(astring* pInterfaceName, booln IPVersion)
{
    static constexpr char  op[] = "LXcheckIFIPConfigured";
    const qvrf::TraceScope trace(op, qvrf::kPlainTrace);
    return qvrf::decidedBy(qvrf::decideIFIPConfigured, op, pInterfaceName, IPVersion);
}
