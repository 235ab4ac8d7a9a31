/** @file qvrfutilSession.cpp  Opens the process-wide session. */
#include "qvrfutilSession.h"

#include "OxaAutoUpdateUtils.h"
#include "owners.h"
#include "oxarfutilHelper.h"
#include "smsecure.h"
#include "steps.h"
#include "trace.h"

namespace {

using namespace qvrf;

constexpr char kCreate[] = "QVRFUTILCreateSession";

constexpr s32 kSessionLimit = 503;  // OXACreateRedfishSession: the BMC has no session left to give

const astring* shown(const astring* text) noexcept
{
    return text != nullptr ? text : "(null)";
}

/** Only the first character is looked at: callers rely on every identifier with a leading "-" meaning "none". */
bool sessionExists() noexcept
{
    const astring first = g_RedfishSession.SessionID[0];
    return first != '\0' && first != '-';
}

s32 checkCreateArguments(const astring* user, const astring* privilege, s32 ipVersion) noexcept
{
    __SysDbgPrint4("%s: user = %s.\n", kCreate, shown(user));
    __SysDbgPrint4("%s: priv = %s.\n", kCreate, shown(privilege));
    __SysDbgPrint4("%s: IPV = %d.\n", kCreate, ipVersion);
    if (user == nullptr) {
        __SysDbgPrint3("%s: Username is null.\n", kCreate);
        return QVRFUTIL_FAILURE;
    }
    if (privilege == nullptr) {
        __SysDbgPrint3("%s: Privilege is NULL or invalid..\n", kCreate);
        return QVRFUTIL_FAILURE;
    }
    if (ipVersion != 4 && ipVersion != 6) {
        __SysDbgPrint3("%s: Invalid ipversion.\n", kCreate);
        return QVRFUTIL_FAILURE;
    }
    return OXA_SUCCESS;
}

s32 readFirmwareVersion() noexcept
{
    u16 major = 0;
    u16 minor = 0;
    if (s32 st = APMDiscoveryGetTorvoFwVersion(&major, &minor); st != 0) {
        __SysDbgPrint3("%s: APMDiscoveryGetTorvoFwVersion failed with status %d.\n", kCreate, st);
        return OXA_BMC_CMD_GET_FW_ERROR;
    }
    __SysDbgPrint4("%s: Major version %d.\n", kCreate, major);
    __SysDbgPrint4("%s: Minor version %d.\n", kCreate, minor);
    return OXA_SUCCESS;
}

s32 discoverAddress(s32 ipVersion) noexcept
{
    if (ipVersion == 6) {
        s32 st = APMDiscoveryUSBNICIPv6Address(g_RedfishSession.IPAddress);
        if (st == 0) return OXA_SUCCESS;
        __SysDbgPrint3("%s: get USB NIC IPv6 failed with status %d.\n", kCreate, st);
        return OXA_BMC_CMD_NO_IPADDRESS;
    }
    __SysDbgPrint4("%s: proceeding with IPv4.\n", kCreate);
    s32 st = APMDiscoveryUSBNICIPAddress(g_RedfishSession.IPAddress);
    if (st == 0) return OXA_SUCCESS;
    __SysDbgPrint3("%s: get USB NIC IP failed with status %d.\n", kCreate, st);
    return OXA_BMC_CMD_NO_IPADDRESS;
}

s32 discoverPort() noexcept
{
    __SysDbgPrint4("%s: USB NIC IP : %s\n", kCreate, g_RedfishSession.IPAddress);
    __SysDbgPrint4("%s: Calling get IP port. \n", kCreate);
    s32 st = APMDiscoveryGetIPPort(g_RedfishSession.Port);
    if (st == 0) return OXA_SUCCESS;
    __SysDbgPrint3("%s: get https port failed with status %d.\n", kCreate, st);
    return OXA_BMC_CMD_NO_IPPORT;
}

s32 discoverEndpoint(s32 ipVersion) noexcept
{
    if (s32 st = discoverAddress(ipVersion); st != OXA_SUCCESS) return st;
    return discoverPort();
}

/** What a login brings; wiped and given back when it goes. */
struct Login {
    SmOwned<astring> id;
    SecretText       token;
};

/** A login token of its own for each attempt. */
s32 obtainLoginToken(astring* user, astring* privilege, SecretText& loginToken) noexcept
{
    u32 length = 0;
    // Other results than this one go on: the session service has the last word on whatever token there is.
    if (GenerateOAuthToken(user, privilege, Receive(loginToken), &length) == OXA_REDFISH_TOKEN_GENERATION_FAILED) {
        __SysDbgPrint3("Redfish token generation failed.\n");
        return OXA_REDFISH_TOKEN_GENERATION_FAILED;
    }
    markFilled(loginToken);  // by its own length: the platform's may reach beyond its block
    __SysDbgPrint4("%s: jWT token : %s\n", kCreate, shown(loginToken.get()));
    g_RedfishSession.isOAuth = TRUE;
    __SysDbgPrint4("%s : Success midway.\n", kCreate);
    return OXA_SUCCESS;
}

void noteWhoLogsIn(const astring* user, const astring* privilege, s32 ipVersion) noexcept
{
    QVRFUTILSession& session = g_RedfishSession;
    assign(session.UserName, user);
    assign(session.Privilege, privilege);
    session.IPVersion = ipVersion;
    __SysDbgPrint4("%s: g_RedfishSession.IPVersion %d.\n", kCreate, session.IPVersion);
}

/** One login at the record's endpoint. */
s32 attempt(astring* user, astring* privilege, s32 ipVersion, Login& login) noexcept
{
    const QVRFUTILSession& session = g_RedfishSession;
    __SysDbgPrint4("%s: USB NIC IP : %s\n", kCreate, session.IPAddress);
    __SysDbgPrint4("%s: https port : %s\n", kCreate, session.Port);
    SecretText loginToken;
    if (s32 st = obtainLoginToken(user, privilege, loginToken); st != OXA_SUCCESS) return st;
    noteWhoLogsIn(user, privilege, ipVersion);
    const s32 status =
        OXACreateRedfishSession(session.IPAddress, session.Port, ipVersion == 6 ? '6' : '4', loginToken.get(), user,
                                nullptr, 1, Receive(login.token), Receive(login.id));
    markFilled(login.token);
    return status;
}

/** Turns to the other IP version, which only the older generation has an address for. */
s32 fallBack(s32& ipVersion) noexcept
{
    const bool wasIPv4 = ipVersion == 4;
    __SysDbgPrint3("%s: Session creation attempt with %s is not successful.\n", kCreate, wasIPv4 ? "IPv4" : "IPv6");
    __SysDbgPrint3("%s: Trying with %s now.\n", kCreate, wasIPv4 ? "IPv6" : "IPv4");
    if (giSServerNewGenAndAbove) {
        __SysDbgPrint3("%s: Session creation attempt with %s is not successful.\n", kCreate,
                       g_RedfishSession.IPAddress);
        return QVRFUTIL_FAILURE;
    }
    ipVersion = wasIPv4 ? 6 : 4;
    return discoverEndpoint(ipVersion);
}

/** Logs in; a refusal is followed by one more attempt with the other IP version. */
s32 logIn(astring* user, astring* privilege, s32& ipVersion, Login& login) noexcept
{
    for (bool fallenBack = false;; fallenBack = true) {
        const s32 status = attempt(user, privilege, ipVersion, login);
        if (status == OXA_SUCCESS || status == OXA_REDFISH_TOKEN_GENERATION_FAILED) return status;
        if (status == kSessionLimit) {
            __SysDbgPrint3("Session limit exceeded.\n");
            return OXA_BMC_SESSION_CREATION_FAILED;
        }
        if (fallenBack) {
            __SysDbgPrint3("%s: Session creation failed with status: %d.\n", kCreate, status);
            return OXA_BMC_SESSION_CREATION_FAILED;
        }
        if (s32 st = fallBack(ipVersion); st != OXA_SUCCESS) return st;
    }
}

void encloseAddressInBrackets() noexcept
{
    astring   enclosed[sizeof g_RedfishSession.IPAddress] = {};
    const int length = sprintf_s(enclosed, sizeof enclosed, "[%s]", g_RedfishSession.IPAddress);
    if (length < 0)
        __SysDbgPrint3("%s: Failed to copy string to IPAddress.\n", kCreate);
    else
        assign(g_RedfishSession.IPAddress, enclosed);
}

/** One opening under way, and all that it takes. */
class Opening {
public:
    Opening(astring* user, astring* privilege, s32 ipVersion) noexcept
        : user_(user), privilege_(privilege), ipVersion_(ipVersion)
    {
    }

    s32 run() noexcept { return carryOut(*this, kSteps); }

private:
    s32 checkArguments() noexcept { return checkCreateArguments(user_, privilege_, ipVersion_); }

    /** The newer generation's endpoint was set, and its IP version with it. */
    s32 chooseIpVersion() noexcept
    {
        if (giSServerNewGenAndAbove) ipVersion_ = g_RedfishSession.IPVersion;
        __SysDbgPrint4("%s: ipVersion %d.\n", kCreate, ipVersion_);
        return OXA_SUCCESS;
    }

    s32 readFirmware() noexcept { return readFirmwareVersion(); }

    s32 discover() noexcept { return giSServerNewGenAndAbove ? s32{OXA_SUCCESS} : discoverEndpoint(ipVersion_); }

    s32 enter() noexcept { return logIn(user_, privilege_, ipVersion_, login_); }

    s32 encrypt() noexcept
    {
        if (!login_.token || !login_.id) {
            __SysDbgPrint3("%s: the login gave no token or no session id.\n", kCreate);
            return QVRFUTIL_FAILURE;
        }
        const std::size_t length = strnlen(login_.token.get(), SMSECURE_PLAIN_SIZE);
        __SysDbgPrint4("%s: Create session succeeded.\n", kCreate);
        __SysDbgPrint4("%s: token=%s , session id = %s.\n", kCreate, login_.token.get(), login_.id.get());
        __SysDbgPrint4("%s: Length of non encrypted token is %lu\n", kCreate, static_cast<unsigned long>(length));
        output_ = smText(SMSECURE_OUTPUT_SIZE);
        if (output_) return encryptInto(static_cast<u32>(length));
        __SysDbgPrint3("%s: malloc failed for pencrypttext.\n", kCreate);
        return QVRFUTIL_OUT_OF_MEMORY;
    }

    s32 encryptInto(u32 length) noexcept
    {
        const s32 status =
            SMqvoxaPBKDF2Encrypt(login_.token.get(), length, output_.get(), Receive(text_), Receive(key_));
        if (status != 0) {
            __SysDbgPrint3("%s: Encryption failed with status: %d\n", kCreate, status);
            return status;
        }
        markFilled(key_);
        if (text_ && key_) return OXA_SUCCESS;
        __SysDbgPrint3("%s: Encryption gave no texts.\n", kCreate);
        return QVRFUTIL_FAILURE;
    }

    /** The token is stored encrypted only. The identifier comes last: it says that all is there. */
    s32 store() noexcept
    {
        dropKeptConnections();
        QVRFUTILSession& session = g_RedfishSession;
        assign(session.pb64Text, text_.get());
        assign(session.pb64Key, key_.get());
        assign(session.EncryptedSessionToken, output_.get(), SMSECURE_OUTPUT_SIZE);  // a full one has no NUL
        assign(session.SessionID, login_.id.get());
        if (ipVersion_ == 6 && !giSServerNewGenAndAbove) encloseAddressInBrackets();
        return OXA_SUCCESS;
    }

    s32 tell() noexcept
    {
        const QVRFUTILSession& session = g_RedfishSession;
        __SysDbgPrint4("%s: IP Address now = %s.\n", kCreate, session.IPAddress);
        __SysDbgPrint4("%s: Encrypted session token = %s.\n", kCreate, session.EncryptedSessionToken);
        __SysDbgPrint4("%s: session sessionID = %s.\n", kCreate, session.SessionID);
        return OXA_SUCCESS;
    }

    static constexpr s32 (Opening::*kSteps[])() noexcept = {
        &Opening::checkArguments, &Opening::chooseIpVersion, &Opening::readFirmware, &Opening::discover,
        &Opening::enter,          &Opening::encrypt,         &Opening::store,        &Opening::tell,
    };

    astring*         user_;
    astring*         privilege_;
    s32              ipVersion_;
    Login            login_;
    SecretText       key_;
    SmOwned<astring> text_;
    SmOwned<astring> output_;
};

s32 createSession(astring* user, astring* privilege, s32 ipVersion) noexcept
{
    const QVRFUTILSession& session = g_RedfishSession;
    __SysDbgPrint4("%s: session sessionID = %s.\n", kCreate, session.SessionID);
    if (!sessionExists()) return Opening(user, privilege, ipVersion).run();
    __SysDbgPrint4("%s: session already exists. Do not create new.\n", kCreate);
    __SysDbgPrint4("%s: session token = %s.\n", kCreate, session.EncryptedSessionToken);
    __SysDbgPrint4("%s: session sessionID = %s.\n", kCreate, session.SessionID);
    return OXA_SUCCESS;
}

}  // namespace

extern "C" s32 QVRFUTILCreateSession(astring* pUserName, astring* pPrivilege, s32 ipVersion)
{
    const TraceScope trace(kCreate);
    return createSession(pUserName, pPrivilege, ipVersion);
}
