/** @file OxaAutoUpdateLinuxReason.cpp  Why the last step of an update failed, in words for its user. */
#include "OxaAutoUpdateLinuxReason.h"

#include <cstdarg>
#include <cstdio>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtilsDecode.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

astring g_reason[OXA_UPDATE_REASON_SIZE];

}  // namespace

void setReason(const char* format, ...) noexcept
{
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(g_reason, sizeof g_reason, format, arguments);
    va_end(arguments);
}

void forgetReason() noexcept
{
    g_reason[0] = '\0';
}

}  // namespace qvrf

extern "C" s32 OXAAutoUpdateReason(astring* pReason, u32 size)
{
    const qvrf::TraceScope trace("OXAAutoUpdateReason", qvrf::kUpdateTrace);
    if (pReason == nullptr || size == 0) {
        __SysDbgPrint3("[AUFPI]OXAAutoUpdateReason: no buffer for the reason.\n");
        return OXA_UPDATE_FAILED;
    }
    qvrf::copyCut(pReason, size, qvrf::g_reason);
    return 0;
}
