/** @file oxarfutilHelperService.cpp  Reads whether the BMC's web server and Redfish service are enabled. */
#include <string_view>

#include "oxarfutilHelper.h"
#include "oxarfutilHelperParts.h"
#include "qvhipm.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

struct Service {
    const char* op;
    const char* command;
    const char* label;  // its name in the log
};
constexpr Service kWebserver{"OXAGetTorvoWebserver", "vorsk get torvo.webserver.enable", "pTorvoWebServer"};
constexpr Service kRedfish{"OXAGetTorvoRedfish", "vorsk get torvo.redfish.enable", "pTorvoRedfish"};

constexpr std::string_view kKey = "Enable=";

s32 resultOf(s32 passThruStatus) noexcept
{
    switch (passThruStatus) {
        case 1: return OXA_BMC_CMD_IPMI_ACCESS_FAILED;
        case 2: return OXA_BMC_CMD_IPMI_RESPONSE_ERROR;
        default: return passThruStatus;
    }
}

s32 serviceState(const Service& service, astring* state) noexcept
{
    const char* op = service.op;
    TraceScope  trace(op, kPlainTrace);
    if (!state) {
        __SysDbgPrint3("%s: %s is NULL.\n", op, service.label);
        return OXA_INTERNAL_ERROR;
    }
    const Command command = newCommand();
    if (!command) {
        __SysDbgPrint3("%s: failed to alloc memory pCommand == NULL.\n", op);
        return OXA_INTERNAL_ERROR;
    }
    if (const int length = sprintf_s(command.get(), kCommandSize, "%s", service.command); length < 0) {
        __SysDbgPrint3("%s: sprintf_s return value is %d.\n", op, length);
        return OXA_INTERNAL_ERROR;
    }
    __SysDbgPrint4("%s: pCommand %s\n", op, command.get());
    const s32 status = QVHIPMVorskCmdPassthru(command.get(), kKey.data(), static_cast<u32>(kKey.size()), state,
                                              OXA_SERVICE_STATE_SIZE, 0);
    if (status != 0) {
        __SysDbgPrint3("%s: vorsk command failed %s \n", op, command.get());
        return resultOf(status);
    }
    __SysDbgPrint4("%s: %s: %s.\n", op, service.label, state);
    return OXA_SUCCESS;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 OXAGetTorvoWebserver(astring* pTorvoWebServer)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::serviceState(qvrf::kWebserver, pTorvoWebServer);
}

extern "C" s32 OXAGetTorvoRedfish(astring* pTorvoRedfish)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::serviceState(qvrf::kRedfish, pTorvoRedfish);
}
