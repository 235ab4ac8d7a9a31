/** @file OxaAutoUpdateUtilsPassThru.cpp  State of the OS-to-BMC pass-through link; and the plain text copy. */
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsRows.h"
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
        if (row.opens) row.bytes[rows::kModeByte] = mode;
        if (!bmc.send(row).ok()) return OXA_UPDATE_FAILED;
    }
    return 0;
}

void copyText(const char* op, const astring* source, astring* destination) noexcept
{
    TraceScope trace(op, kUpdateTrace);
    if (!source || !destination) return;
    while ((*destination++ = *source++) != '\0') {
    }
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

extern "C" void ConverHexToAscii(const astring* source, astring* destination)
{
    qvrf::copyText("ConverHexToAscii", source, destination);
}

extern "C" void APMSuptConverHexToAscii(const astring* source, astring* destination)
{
    qvrf::copyText("APMSuptConverHexToAscii", source, destination);
}
