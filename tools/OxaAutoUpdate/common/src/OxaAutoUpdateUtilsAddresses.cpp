/** @file OxaAutoUpdateUtilsAddresses.cpp  Discovery of the BMC's addresses on the USB NIC link. */
#include <algorithm>

#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsDecode.h"
#include "OxaAutoUpdateUtilsIpmiRows.h"
#include "owners.h"
#include "qvisocppsecurecompat.h"
#include "qvserver.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr std::size_t kTextLength  = 7;
constexpr std::size_t kText        = 10;
constexpr std::size_t kIpv6Address = 12;

/** What tells the two BMC generations' IPv4 discovery apart. */
struct Ipv4Form {
    const char*    op;
    const IpmiRow& first;
    s32            failure;
    s32            noMemory;
    void (*copy)(const astring*, astring*);
};
constexpr Ipv4Form kIpv4{"APMDiscoveryUSBNICIPAddress", rows::kIpv4Length, OXA_UPDATE_FAILED, OXA_UPDATE_OUT_OF_MEMORY,
                         ConverHexToAscii};
constexpr Ipv4Form kIpv4NewGen{"APMDiscoveryFetchIPv4IpAddressNewGenandAbove", rows::kIpv4LengthNewGen,
                               QVRFUTIL_FAILURE, QVRFUTIL_FAILURE, APMSuptConverHexToAscii};

s32 ipv4Address(const Ipv4Form& form, astring* address) noexcept
{
    TraceScope trace(form.op, kUpdateTrace);
    if (!address) {
        __SysDbgPrint3("[AUFPI]%s: IPAddress is NULL\n", form.op);
        return form.failure;
    }
    IpmiExchange bmc({form.op});
    if (!bmc.send(form.first).ok()) return form.failure;
    // The first answer gives the length high byte first; the second request wants it low byte first.
    const u16 length = bmc.be16(kTextLength);
    if (!bmc.send(rows::forLength(rows::kIpv4Text, length)).ok()) return form.failure;

    // A BMC may tell less than it sends.
    SmOwned<astring> text = smText(std::max(u32{length}, u32{QVHIPM_BUFFER_SIZE}));
    if (!text) {
        __SysDbgPrint3("[AUFPI]%s: failed to alloc memory for the address text.\n", form.op);
        return form.noMemory;
    }
    bmc.copyText(kText, form.copy, text.get());
    const auto part = addressPart(text.get());
    if (!part) {
        __SysDbgPrint3("[AUFPI]%s: IPPort is not well formed.\n", form.op);
        return form.failure;
    }
    text.get()[part->size()] = '\0';
    sprintf_s(address, APM_IPV4_ADDRESS_SIZE, "%s", text.get());
    return 0;
}

s32 ipv6Address(const char* op, bool onlyNewGen, astring* address) noexcept
{
    TraceScope trace(op, kUpdateTrace);
    if (!address) {
        __SysDbgPrint3("[AUFPI]%s: IPAddress is NULL\n", op);
        return QVRFUTIL_INVALID_PARAMETER;
    }
    OXAmemset_s(address, APM_IPV6_ADDRESS_SIZE, 0, APM_IPV6_ADDRESS_SIZE);
    if (onlyNewGen && giSServerNewGenAndAbove == FALSE) {
        sprintf_s(address, APM_IPV6_ADDRESS_SIZE, "%s", "fe80::1234");
        return 0;
    }
    IpmiExchange     bmc({op});
    const IpmiResult sent = bmc.send(rows::kIpv6);
    if (!sent.tookPlace) return QVRFUTIL_FAILURE;
    astring text[APM_IPV6_ADDRESS_SIZE];
    ipv6Text(bmc.from(kIpv6Address), text);
    sprintf_s(address, APM_IPV6_ADDRESS_SIZE, "%s", text);
    return sent.completion;  // a refusal leaves the reply's bytes as an address: callers test the result
}

}  // namespace
}  // namespace qvrf

extern "C" s32 APMDiscoveryUSBNICIPAddress(astring* pIPAddress)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::ipv4Address(qvrf::kIpv4, pIPAddress);
}

extern "C" s32 APMDiscoveryFetchIPv4IpAddressNewGenandAbove(astring* pUsbInterfaceAddr)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::ipv4Address(qvrf::kIpv4NewGen, pUsbInterfaceAddr);
}

extern "C" s32 APMDiscoveryUSBNICIPv6Address(astring* pIPAddress)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::ipv6Address("APMDiscoveryUSBNICIPv6Address", true, pIPAddress);
}

extern "C" s32 APMDiscoveryUSBNICIPv6AddressNewGenandAbove(astring* IPAddress)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::ipv6Address("APMDiscoveryUSBNICIPv6AddressNewGenandAbove", false, IPAddress);
}
