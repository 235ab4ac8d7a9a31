/** @file ipmi_replies.cpp  Whatever the BMC answers over IPMI, an operation fits it into the room that is promised. */
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>

#include "OxaAutoUpdateUtils.h"
#include "fuzz.h"
#include "oxarfutilHelper.h"
#include "qvhipm.h"
#include "qvserver.h"
#include "smsupport.h"

static fuzz::Input g_answers;

void fuzz::answerWith(Input answers)
{
    g_answers = answers;
}

// These come before the reference platform's.
extern "C" booln QVHIPMCommand(EsmIPMICmdIoctlReq*, EsmIPMICmdIoctlReq* response)
{
    const auto reply = g_answers.take(QVHIPM_BUFFER_SIZE);
    std::copy(reply.begin(), reply.end(), response->Parameters.IRREx.ReqRspBuffer);
    return !reply.empty();
}
extern "C" s32 QVHIPMVorskPassthru(const astring*, astring** response)
{
    const auto line = fuzz::text(g_answers.line());
    *response       = static_cast<astring*>(SMAllocMem(static_cast<u32>(line.size())));
    std::copy(line.begin(), line.end(), *response);
    return g_answers.byte() % 4 == 1;
}
extern "C" s32 QVHIPMVorskCmdPassthru(const astring*, const astring*, u32, astring* value, u32 size, u32)
{
    const auto line                             = g_answers.line().substr(0, size - 1);
    *std::copy(line.begin(), line.end(), value) = '\0';
    return g_answers.byte() % 4 == 1;
}
/** Reads every argument, as a log at its highest level does. */
#define READS_ARGUMENTS(print)                                            \
    extern "C" s32 print(const astring* format, ...)                      \
    {                                                                     \
        static char line[8192];                                           \
        va_list     arguments;                                            \
        va_start(arguments, format);                                      \
        const s32 length = std::vsnprintf(line, 8192, format, arguments); \
        va_end(arguments);                                                \
        return length;                                                    \
    }
READS_ARGUMENTS(__SysDbgPrint3)
READS_ARGUMENTS(__SysDbgPrint4)

FUZZ(ipmi_replies)
{
    static constexpr struct {
        s32 (*operation)(astring*);
        std::size_t room;
    } promises[]            = {{APMDiscoveryGetOxaPloxVersion, APM_VERSION_SIZE},
                               {APMDiscoveryGetOxaOSVersion, APM_VERSION_SIZE},
                               {APMDiscoveryUSBNICIPAddress, APM_IPV4_ADDRESS_SIZE},
                               {APMDiscoveryFetchIPv4IpAddressNewGenandAbove, APM_IPV4_ADDRESS_SIZE},
                               {APMDiscoveryUSBNICIPv6Address, APM_IPV6_ADDRESS_SIZE},
                               {APMDiscoveryGetIPPort, APM_PORT_SIZE},
                               {APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove, APM_PORT_SIZE_NEWER_GEN},
                               {createHTTPSurl, 64},
                               {OXAGetTorvoWebserver, 256}};
    const unsigned choice   = in.byte();
    giSServerNewGenAndAbove = choice >= 128;
    fuzz::answerWith(in);
    const auto&       promise = promises[choice % std::size(promises)];
    std::vector<char> room(promise.room);
    promise.operation(room.data());
    u8 mode = 0;
    APMDiscoveryGetOSToBMCStatus(&mode);
}
