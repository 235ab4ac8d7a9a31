/** @file OxaAutoUpdateUtilsPackageUrl.cpp  Where the BMC serves the update package. */
#include <cstring>

#include "OxaAutoUpdateUtils.h"
#include "owners.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr char kScheme[]    = "https://";
constexpr char kDirectory[] = "software/oxa";

s32 packageUrl(const char* op, astring* url) noexcept
{
    if (url == nullptr) {
        __SysDbgPrint3("[AUFPI]%s: no buffer for the url.\n", op);
        return OXA_UPDATE_FAILED;
    }
    const SmOwned<astring> address = smText(APM_IPV4_ADDRESS_SIZE);
    if (!address) {
        __SysDbgPrint3("[AUFPI]%s: failed to alloc memory pIPAddress = null.\n", op);
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    astring port[APM_PORT_SIZE]{};
    if (const s32 status = APMDiscoveryUSBNICIPAddress(address.get()); status != 0) {
        __SysDbgPrint3("[AUFPI]%s: get USB NIC IP failed with status %d.\n", op, status);
        return OXA_UPDATE_FAILED;
    }
    if (const s32 status = APMDiscoveryGetIPPort(port); status != 0) {
        __SysDbgPrint3("[AUFPI]%s: get https port failed with status %d.\n", op, status);
        return OXA_UPDATE_FAILED;
    }
    const std::size_t size = sizeof kScheme - 1 + ::strnlen(address.get(), APM_IPV4_ADDRESS_SIZE) +
                             ::strnlen(port, APM_PORT_SIZE) + 3 + sizeof kDirectory - 1;  // 3: ':', '/' and the NUL
    sprintf_s(url, size, "https://%s:%s/%s", address.get(), port, kDirectory);
    __SysDbgPrint4("[AUFPI]%s: generated https url : %s\n", op, url);
    return 0;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 createHTTPSurl(astring* pHttpsUrl)
{
    static constexpr char  op[] = "createHTTPSurl";
    const qvrf::TraceScope trace(op, qvrf::kUpdateTrace);
    return qvrf::packageUrl(op, pHttpsUrl);
}
