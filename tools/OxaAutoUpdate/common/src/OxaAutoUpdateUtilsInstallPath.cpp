/** @file OxaAutoUpdateUtilsInstallPath.cpp  The agent's installation path. */
#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsPaths.h"
#include "OxaAutoUpdateUtilsText.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr u32 kProductId = 34;
constexpr u32 kPathType  = 2;

constexpr char kLogFile[] = "qvoxaSync.log";

s32 findInstallPath(const char* op) noexcept
{
    const SmOwned<astring> logFile = smText(kPathSize);
    if (!logFile) {
        __SysDbgPrint3("[AUFPI]%s: failed to alloc memory for the log file path.\n", op);
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    pOXAInstallPath = smText(kPathSize).release();
    if (pOXAInstallPath == nullptr) {
        __SysDbgPrint3("[AUFPI]%s: failed to alloc memory pOXAInstallPath = null.\n", op);
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    const s32 status = askInstallPath(pOXAInstallPath);
    if (status != 0) {
        __SysDbgPrint3("[AUFPI]%s: SMGetPathByProductIDandType failed with status:%d.\n", op, status);
        sprintf_s(logFile.get(), kPathSize, "%s/%s", orEmpty(pExecutionDirectory), kLogFile);
        sprintf_s(pOXAInstallPath, sizeof kUsualInstallPath + 1, "%s", kUsualInstallPath);
    } else {
        sprintf_s(logFile.get(), kPathSize, "%s/%s/%s", pOXAInstallPath, "var/log", kLogFile);
    }
    __SysDbgPrint4("[AUFPI]%s: log file %s.\n", op, logFile.get());
    return status;
}

s32 installPath(astring* path) noexcept
{
    const s32 status = path == nullptr ? QVRFUTIL_FAILURE : askInstallPath(path);
    if (status == 0) return 0;
    __SysDbgPrint3("[AUFPI]AutoUpdateGetOxaInstallPath: SMGetPathByProductIDandType failed with status:%d.\n", status);
    return OXA_UPDATE_FAILED;
}

}  // namespace

s32 askInstallPath(astring* path) noexcept
{
    u32 size = kPathSize;
    return SMGetPathByProductIDandType(kProductId, kPathType, path, &size);
}

bool knowInstallPath() noexcept
{
    if (pOXAInstallPath == nullptr) pOXAInstallPath = smText(kPathSize).release();
    if (pOXAInstallPath == nullptr) return false;
    if (pOXAInstallPath[0] == '\0' && AutoUpdateGetOxaInstallPath(pOXAInstallPath) != 0) pOXAInstallPath[0] = '\0';
    return true;
}

const astring* installDirectory() noexcept
{
    return *orEmpty(pOXAInstallPath) != '\0' ? pOXAInstallPath : kUsualInstallPath;
}

}  // namespace qvrf

extern "C" s32 InitOxaAutoUpdateLog(void)
{
    static constexpr char  op[] = "InitOxaAutoUpdateLog";
    const qvrf::TraceScope trace(op, qvrf::kUpdateTrace);
    return qvrf::findInstallPath(op);
}

extern "C" s32 AutoUpdateGetOxaInstallPath(astring* pInstallPath)
{
    const qvrf::TraceScope trace("AutoUpdateGetOxaInstallPath", qvrf::kUpdateTrace);
    return qvrf::installPath(pInstallPath);
}
