/** @file qvrfutilSessionFrame.cpp  Start and stop of the library, the session record and its endpoint. */
#include <initializer_list>

#include "OxaAutoUpdateLinuxShell.h"
#include "qvhipm.h"
#include "qvisocppsecurecompat.h"
#include "qvrfutilSession.h"
#include "trace.h"

extern "C" {
QVRFUTILSession g_RedfishSession{};
void*           g_SessionCreationLock       = nullptr;
booln           g_isRedfishSessionRequested = FALSE;
}

namespace {

using qvrf::assign;
using qvrf::clear;
using qvrf::TraceScope;

/** What a field holds while a new session is being forced. The bounds are those of the narrowest of these fields. */
void markAbsent(astring* field) noexcept
{
    strncpy_s(field, sizeof g_RedfishSession.Port, "-1", sizeof "-1");
}

s32 replaceSession(const char* op) noexcept
{
    __SysDbgPrint4("%s : Requesting a new session.\n", op);
    QVRFUTILSession& session = g_RedfishSession;
    for (astring* field : {session.SessionID, session.IPAddress, session.Port, session.EncryptedSessionToken})
        markAbsent(field);
    session.IPVersion = 4;
    const s32 status  = QVRFUTILCreateSession(session.UserName, session.Privilege, 4);
    if (status != OXA_SUCCESS) __SysDbgPrint3("%s : Session creation failed.\n", op);
    return status;
}

/** Members that no operation uses, and isOAuth, stay as they are. */
void resetRecord(s32 ipVersion) noexcept
{
    QVRFUTILSession& session = g_RedfishSession;
    qvrf::forgetSessionId();
    clear(session.IPAddress);
    clear(session.Port);
    sprintf_s(session.Port, sizeof session.Port - 1, "%d", 443);
    clear(session.EncryptedSessionToken);
    clear(session.pb64Text);
    clear(session.pb64Key);
    clear(session.UserName);
    clear(session.Privilege);
    session.IPVersion = ipVersion;
}

bool given(const char* op, const astring* text, const char* name) noexcept
{
    if (text == nullptr) __SysDbgPrint3("%s : %s is NULL.\n", op, name);
    return text != nullptr;
}

/** The texts may be the record's own. */
void setEndpoint(const astring* address, const astring* port, bool isIPv6) noexcept
{
    QVRFUTILSession& session                              = g_RedfishSession;
    astring          newAddress[sizeof session.IPAddress] = {};
    astring          newPort[sizeof session.Port]         = {};
    sprintf_s(newAddress, sizeof newAddress - 1, isIPv6 ? "[%s]" : "%s", address);
    // One byte less than the field: agents know that a port of five digits leaves the text empty.
    sprintf_s(newPort, sizeof newPort - 1, "%s", port);
    if (isIPv6) session.IPVersion = 6;
    assign(session.IPAddress, newAddress);
    assign(session.Port, newPort);
}

void tellEndpoint(const char* op) noexcept
{
    const QVRFUTILSession& session = g_RedfishSession;
    __SysDbgPrint4("%s : IPVersion  = %d\n", op, session.IPVersion);
    __SysDbgPrint4("%s : IPAddress  = %s\n", op, session.IPAddress);
    __SysDbgPrint4("%s : Port  = %s\n", op, session.Port);
}

/** 6.10 is the first firmware with all that the library asks of Redfish. */
bool firmwareIsRecent() noexcept
{
    u16 major = 0;
    u16 minor = 0;
    QVHIPMGetTorvoFwVersion(&major, &minor, nullptr);  // a version that cannot be read stays 0.0: too old
    return major > 6 || (major == 6 && minor >= 10);
}

}  // namespace

extern "C" s32 QVRFUTILInit(booln IPv6Stack)
{
    static constexpr char op[] = "QVRFUTILInit";
    const TraceScope      trace(op);
    if (qvrf::runShell(op, "modprobe ipmi_devintf > /dev/null 2>&1") != 0)
        __SysDbgPrint3("%s: ipmi_devintf loading failed.\n", op);

    giSServerNewGenAndAbove = TRUE;
    resetRecord(IPv6Stack != 0 ? 6 : 4);
    if (g_SessionCreationLock == nullptr) g_SessionCreationLock = SMMutexCreate(0);
    return OXA_SUCCESS;
}

extern "C" void QVRFUTILCleanUp()
{
    const TraceScope trace("QVRFUTILCleanUp");
    qvrf::dropKeptConnections();
    if (g_SessionCreationLock == nullptr) return;
    SMMutexDestroy(g_SessionCreationLock);
    g_SessionCreationLock = nullptr;
}

extern "C" s32 QVRFUTILGetRFSessionInfo(QVRFUTILSession* pRedfishSession, booln isNewSessionRequested)
{
    static constexpr char op[] = "QVRFUTILGetRFSessionInfo";
    const TraceScope      trace(op);
    if (isNewSessionRequested == TRUE)
        if (s32 st = replaceSession(op); st != OXA_SUCCESS) return st;
    *pRedfishSession = g_RedfishSession;
    return OXA_SUCCESS;
}

extern "C" s32 QVRFUTILSetIPAddress(astring* IPAddress, astring* PortNum, booln IsIPV6)
{
    static constexpr char op[] = "QVRFUTILSetIPAddress";
    const TraceScope      trace(op);
    if (!given(op, IPAddress, "IPAddress") || !given(op, PortNum, "PortNum")) return QVRFUTIL_INVALID_PARAMETER;
    qvrf::dropKeptConnections();
    setEndpoint(IPAddress, PortNum, IsIPV6 == TRUE);
    tellEndpoint(op);
    return OXA_SUCCESS;
}

extern "C" booln TorvoRedfishPrereqCheck()
{
    const TraceScope trace("TorvoRedfishPrereqCheck");
    const bool       passed = firmwareIsRecent();
    if (passed)
        __SysDbgPrint4("TorvoRedfishPrereqCheck: Firmware Check Passed for RF Capability... \n");
    else
        __SysDbgPrint3("TorvoRedfishPrereqCheck: Firmware Check Failed for RF Capability... \n");
    __SysDbgPrint4("\n\nTorvoRedfishPrereqCheck: Exiting... prereqCheck: %d\n", passed ? 1 : 0);
    return passed ? TRUE : FALSE;
}
