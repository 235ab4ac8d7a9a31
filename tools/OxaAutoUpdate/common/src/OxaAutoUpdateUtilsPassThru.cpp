/** @file OxaAutoUpdateUtilsPassThru.cpp  State of the OS-to-BMC pass-through link. */
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsIpmiRows.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr std::size_t kMode = 10;

s32 passThruMode(const char* op, u8* mode) noexcept
{
    if (!mode) {
        __SysDbgPrint3("[AUFPI]%s: pEnumOSToBMCMode is NULL.\n", op);
        return OXA_UPDATE_FAILED;
    }
    IpmiExchange bmc({op});
    if (!bmc.send(rows::kPassThruMode).ok()) return OXA_UPDATE_FAILED;
    *mode = bmc.at(kMode);
    return 0;
}

s32 setPassThru(const char* op, u8 mode) noexcept
{
    IpmiExchange bmc({op});
    for (IpmiRow row : rows::kSetPassThru) {
        if (row.opensExchange) row.bytes[rows::kModeByte] = mode;
        if (!bmc.send(row).ok()) return OXA_UPDATE_FAILED;
    }
    return 0;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 APMDiscoveryGetOSToBMCStatus(u8* pEnumOSToBMCMode)
{
    static constexpr char op[] = "APMDiscoveryGetOSToBMCStatus";
    qvrf::TraceScope      trace(op, qvrf::kUpdateTrace);
    return qvrf::passThruMode(op, pEnumOSToBMCMode);
}

extern "C" s32 APMDiscoverySetOSToBMCStatus(u8 setOSBMCMode)
{
    static constexpr char op[] = "APMDiscoverySetOSToBMCStatus";
    qvrf::TraceScope      trace(op, qvrf::kUpdateTrace);
    return qvrf::setPassThru(op, setOSBMCMode);
}
