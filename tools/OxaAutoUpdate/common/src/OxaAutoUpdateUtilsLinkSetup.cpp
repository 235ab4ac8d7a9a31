/** @file OxaAutoUpdateUtilsLinkSetup.cpp  Makes the BMC reachable on the USB NIC. */
#include <ctime>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "osprivlegePause.h"
#include "qvstatus.h"
#include "trace.h"

u8 g_sEnabledUSBNIC;

namespace qvrf {
namespace {

constexpr u8           kPassThruOff         = 0;
constexpr u8           kPassThruUsbNic      = 21;
constexpr std::clock_t kBusyTicks           = 3000;
constexpr unsigned     kLinkSettlingSeconds = 5;

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

extern "C" s32 OxaSetupOSBMCPassThru(void)
{
    const qvrf::TraceScope trace("OxaSetupOSBMCPassThru", qvrf::kUpdateTrace);
    return qvrf::setUpPassThru();
}
