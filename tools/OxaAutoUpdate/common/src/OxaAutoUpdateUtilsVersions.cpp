/** @file OxaAutoUpdateUtilsVersions.cpp  Discovery of versions: the BMC's firmware, the update package, the agent. */
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsDecode.h"
#include "OxaAutoUpdateUtilsIpmiRows.h"
#include "owners.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

astring OxaUpdatedVersion[APM_VERSION_SIZE];

namespace qvrf {
namespace {

constexpr std::size_t kMajor         = 3;
constexpr std::size_t kMinor         = 4;
constexpr std::size_t kPackageLength = 8;
constexpr std::size_t kPackageText   = 10;

s32 firmwareVersion(const char* op, u16* major, u16* minor) noexcept
{
    if (!major || !minor) {
        __SysDbgPrint3("[AUFPI]%s: pMajorVersion or pMinorVersion is NULL.\n", op);
        return OXA_UPDATE_FAILED;
    }
    IpmiExchange bmc({op, "[AUFPI]", ": ", "QVHIPMCommand: GetFwVersion failed!!"});
    if (const IpmiResult sent = bmc.send(rows::kFirmwareVersion); !sent.ok()) return sent.statusOr(OXA_UPDATE_FAILED);
    bmc.trace(0, 8);
    *major = bmc.at(kMajor);
    *minor = bmc.at(kMinor);
    return 0;
}

s32 packageVersion(const char* op, astring* version) noexcept
{
    if (!version) {
        __SysDbgPrint3("[AUFPI]%s: pOxaPloxversion is NULL.\n", op);
        return OXA_UPDATE_FAILED;
    }
    IpmiExchange bmc({op});
    if (const IpmiResult sent = bmc.send(rows::kPackageLength); !sent.ok()) return sent.statusOr(OXA_UPDATE_FAILED);
    const IpmiRow second = rows::forLength(rows::kPackageText, bmc.le16(kPackageLength));
    if (const IpmiResult sent = bmc.send(second); !sent.ok()) return sent.statusOr(OXA_UPDATE_FAILED);
    bmc.trace(10, 14);

    const std::string_view text = bmc.text(kPackageText);
    astring                cut[APM_VERSION_SIZE];  // the caller has room for no more
    copyCut(cut, sizeof cut, text);
    ConverHexToAscii(cut, version);
    // Refused for a text that does not fit, which leaves the last version that did; and without a NUL of its own.
    strncpy_s(OxaUpdatedVersion, sizeof OxaUpdatedVersion, text.data(), text.size());
    return 0;
}

s32 agentVersion(const char* op, astring* version) noexcept
{
    static constexpr char kCommand[] = "vorsk get torVO.serviceModule.ServiceModuleVersion";
    if (!version) {
        __SysDbgPrint3("[AUFPI]%s: pOxaOSversion is NULL.\n", op);
        return OXA_UPDATE_FAILED;
    }
    SmOwned<astring> reply;
    const s32        status = QVHIPMVorskPassthru(kCommand, Receive(reply));
    if (status != 0 || !reply) {
        __SysDbgPrint3("[AUFPI]%s: vorsk command failed %s with status %d \n", op, kCommand, status);
        return OXA_UPDATE_FAILED;
    }
    const auto recorded = recordedAgentVersion(reply.get());
    if (!recorded) {
        __SysDbgPrint3("[AUFPI]%s: ServiceModuleVersion= is missing in the reply.\n", op);
        return OXA_UPDATE_FAILED;
    }
    strncpy_s(version, APM_VERSION_SIZE, recorded->data(), recorded->size());
    return 0;
}

}  // namespace
}  // namespace qvrf

using namespace qvrf;

extern "C" s32 APMDiscoveryGetTorvoFwVersion(u16* pMajorVersion, u16* pMinorVersion)
{
    static constexpr char op[] = "APMDiscoveryGetTorvoFwVersion";
    TraceScope            trace(op, kUpdateTrace);
    return firmwareVersion(op, pMajorVersion, pMinorVersion);
}

extern "C" s32 APMDiscoveryGetOxaPloxVersion(astring* pOxaPloxversion)
{
    static constexpr char op[] = "APMDiscoveryGetOxaPloxVersion";
    TraceScope            trace(op, kUpdateTrace);
    return packageVersion(op, pOxaPloxversion);
}

extern "C" s32 APMDiscoveryGetOxaOSVersion(astring* pOxaOSversion)
{
    static constexpr char op[] = "APMDiscoveryGetOxaOSVersion";
    TraceScope            trace(op, kUpdateTrace);
    return agentVersion(op, pOxaOSversion);
}
