/** @file OxaAutoUpdateUtilsHttpsPort.cpp  Discovery of the HTTPS port of the BMC's web server. */
#include <cstring>

#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsDecode.h"
#include "OxaAutoUpdateUtilsIpmiRows.h"
#include "OxaAutoUpdateUtilsPaths.h"
#include "owners.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr u32         kUrlSize        = kPathSize;
constexpr std::size_t kUrlText        = 6;
constexpr std::size_t kUrlLength      = 7;
constexpr std::size_t kUrlRestStart   = 3;
constexpr std::size_t kUrlRestSize    = 15;
constexpr std::size_t kNewGenPort     = 7;
constexpr std::size_t kFirstTextBound = 256;

s32 writePort(const char* op, const astring* found, astring* port) noexcept
{
    if (!found) {
        __SysDbgPrint3("[AUFPI]%s: Not able to get https port Number.\n", op);
        return OXA_UPDATE_FAILED;
    }
    sprintf_s(port, APM_PORT_SIZE, "%s", found);
    return 0;
}

s32 portByCommand(const char* op, astring* port) noexcept
{
    static constexpr char kCommand[] = "vorsk get torvo.webserver.httpsport";
    SmOwned<astring>      reply;
    if (QVHIPMVorskPassthru(kCommand, Receive(reply)) != 0) {
        __SysDbgPrint3("[AUFPI]%s: pResp is NULL.\n", op);
        return OXA_UPDATE_FAILED;
    }
    if (!reply) {
        __SysDbgPrint3("[AUFPI]%s: vorsk command failed %s \n", op, kCommand);
        return OXA_UPDATE_FAILED;
    }
    return writePort(op, portInCommandReply(reply.get()), port);
}

s32 httpsPort(const char* op, astring* port) noexcept
{
    if (!port) {
        __SysDbgPrint3("[AUFPI]%s: pIPPortNum is NULL.\n", op);
        return OXA_UPDATE_FAILED;
    }
    IpmiExchange bmc({op});
    if (const IpmiResult sent = bmc.send(rows::kUrlStart); !sent.ok()) return sent.statusOr(OXA_UPDATE_FAILED);
    const u16        length = bmc.be16(kUrlLength);
    SmOwned<astring> url    = smText(kUrlSize);
    if (!url) {
        __SysDbgPrint3("[AUFPI]%s: failed to alloc memory for the URL.\n", op);
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    bmc.copyText(kUrlText, ConverHexToAscii, url.get());
    if (::strnlen(url.get(), kFirstTextBound) == 0) return portByCommand(op, port);

    __SysDbgPrint4("[AUFPI]%s: request bytes 4 and 5: %d %d\n", op, rows::kUrlRest.bytes[4], rows::kUrlRest.bytes[5]);
    if (const IpmiResult sent = bmc.send(rows::kUrlRest); !sent.ok()) return sent.statusOr(OXA_UPDATE_FAILED);
    SmOwned<astring> rest = smText(u32{length} + 1);
    if (!rest) {
        __SysDbgPrint3("[AUFPI]%s: failed to alloc memory for the rest of the URL.\n", op);
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    textOfBytes(bmc.from(kUrlRestStart), kUrlRestSize, rest.get(), std::size_t{length} + 1);
    strncat_s(url.get(), kUrlSize, rest.get(), ::strnlen(rest.get(), length));

    const bool           hasColon = std::strchr(url.get(), ':') != nullptr;
    bool                 hasHost  = false;
    const astring* const found    = portInUrl(url.get(), hasHost);
    if (hasHost && !hasColon) __SysDbgPrint4("[AUFPI]%s: IPPort = %s\n", op, "");
    return writePort(op, found, port);
}

s32 httpsPortNewGen(const char* op, astring* port) noexcept
{
    if (!port) {
        __SysDbgPrint3("%s : pHTTPSPortNum is NULL.\n", op);
        return QVRFUTIL_FAILURE;
    }
    OXAmemset_s(port, APM_PORT_SIZE_NEWER_GEN, 0, APM_PORT_SIZE_NEWER_GEN);
    IpmiExchange     bmc({op, "", " : "});
    const IpmiResult sent = bmc.send(rows::kHttpsPort);
    if (!sent.tookPlace) return QVRFUTIL_FAILURE;
    sprintf_s(port, APM_PORT_SIZE_NEWER_GEN, "%u", unsigned{bmc.le16(kNewGenPort)});
    return sent.completion;  // a refusal leaves a number too: callers test the result
}

}  // namespace
}  // namespace qvrf

extern "C" s32 APMDiscoveryGetIPPort(astring* pIPPortNum)
{
    static constexpr char op[] = "APMDiscoveryGetIPPort";
    qvrf::TraceScope      trace(op, qvrf::kUpdateTrace);
    return qvrf::httpsPort(op, pIPPortNum);
}

extern "C" s32 APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove(astring* pHTTPSPortNum)
{
    static constexpr char op[] = "APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove";
    qvrf::TraceScope      trace(op);
    return qvrf::httpsPortNewGen(op, pHTTPSPortNum);
}
