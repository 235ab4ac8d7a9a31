/** @file OxaAutoUpdateUtilsReport.cpp  Where the BMC keeps the update package, which versions there are, and the link.
 */
#include <cstdio>
#include <cstring>
#include <ctime>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "osprivlegePause.h"
#include "owners.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

u8 g_sEnabledUSBNIC;

namespace qvrf {
namespace {

constexpr char kScheme[]    = "https://";
constexpr char kDirectory[] = "software/oxa";

constexpr u8           kPassThruOff         = 0;
constexpr u8           kPassThruUsbNic      = 21;
constexpr std::clock_t kBusyTicks           = 3000;
constexpr unsigned     kLinkSettlingSeconds = 5;

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

/** Writes one line to the console, and to the debug log with the operation's name. */
void report(const char* op, const char* what, const char* version) noexcept
{
    std::printf("%s : %s\n", what, version);
    __SysDbgPrint3("[AUFPI]%s: %s : %s\n", op, what, version);
}

// Scripts read these lines; the blanks and the wording, "Available" for an installed version too, are theirs to rely
// on.
void reportVersions(const char* op) noexcept
{
    astring available[APM_VERSION_SIZE]{};
    astring installed[APM_VERSION_SIZE]{};
    if (APMDiscoveryGetOxaPloxVersion(available) == 0)
        report(op, "Available Torvo Service Module KS package version", available);
    else
        report(op, "Available Torvo Service Module KS package version", "NA.");
    if (APMDiscoveryGetOxaOSVersion(installed) == 0)
        report(op, "Currently installed Torvo Service Module version ", installed);
    else
        report(op, "Available Torvo Service Module  package version", "NA.");
}

/** The BMC needs a moment to bring its end of the link up. */
void waitForLink() noexcept
{
    const std::clock_t start = std::clock();
    while (start != -1 && std::clock() - start < kBusyTicks) continue;
    pauseFor(kLinkSettlingSeconds);
}

s32 setUpPassThru() noexcept
{
    u8 mode = 0;
    if (const s32 status = APMDiscoveryGetOSToBMCStatus(&mode); status != 0) {
        __SysDbgPrint3("OxaSetupOSBMCPassThru: status=%d.\n", status);
        return OXA_UPDATE_FAILED;
    }
    if (mode == kPassThruOff) {
        if (const s32 status = APMDiscoverySetOSToBMCStatus(kPassThruUsbNic); status != 0) {
            __SysDbgPrint3("OxaSetupOSBMCPassThru: APMDiscoverySetOSToBMCStatus failed with status:%d.\n", status);
            return OXA_UPDATE_FAILED;
        }
        waitForLink();
        SetUSBNICInterface();  // a link that does not answer yet shows in the download
        g_sEnabledUSBNIC = 1;
    } else if (mode == kPassThruUsbNic) {
        __SysDbgPrint4("OxaSetupOSBMCPassThru: We are good, OS BMC is enabled.\n");
        SetUSBNICInterface();
    }
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

extern "C" s32 getOxaversion(void)
{
    static constexpr char  op[] = "getOxaversion";
    const qvrf::TraceScope trace(op, qvrf::kUpdateTrace);
    qvrf::reportVersions(op);
    return 0;
}

extern "C" s32 OxaSetupOSBMCPassThru(void)
{
    const qvrf::TraceScope trace("OxaSetupOSBMCPassThru", qvrf::kUpdateTrace);
    return qvrf::setUpPassThru();
}
