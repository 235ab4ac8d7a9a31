/** @file qvrfutilSession.cpp  Opens the process-wide session and closes it again. */
#include "qvrfutilSession.h"

#include <cstdio>

#include "OxaAutoUpdateUtils.h"
#include "owners.h"
#include "oxarfutilHelper.h"
#include "smsecure.h"
#include "trace.h"

namespace {

using namespace qvrf;

constexpr char kCreate[] = "QVRFUTILCreateSession";
constexpr char kDelete[] = "QVRFUTILDeleteSession";

constexpr std::size_t kMostTokenCounted = 100;

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
    SecretText       token;
    SmOwned<astring> id;
};

/** One login at the record's endpoint, with a login token of its own. */
s32 attempt(astring* user, astring* privilege, s32 ipVersion, Login& login) noexcept
{
    QVRFUTILSession& session = g_RedfishSession;
    __SysDbgPrint4("%s: USB NIC IP : %s\n", kCreate, session.IPAddress);
    __SysDbgPrint4("%s: https port : %s\n", kCreate, session.Port);
    SecretText loginToken;
    u32        loginTokenLength = 0;
    // Other results than this one go on: the session service has the last word on whatever token there is.
    if (GenerateOAuthToken(user, privilege, Receive(loginToken), &loginTokenLength) ==
        OXA_REDFISH_TOKEN_GENERATION_FAILED) {
        __SysDbgPrint3("Redfish token generation failed.\n");
        return OXA_REDFISH_TOKEN_GENERATION_FAILED;
    }
    if (loginToken) markFilled(loginToken, std::strlen(loginToken.get()));  // the platform's length may be any
    __SysDbgPrint4("%s: jWT token : %s\n", kCreate, shown(loginToken.get()));
    session.isOAuth = TRUE;
    __SysDbgPrint4("%s : Success midway.\n", kCreate);

    assign(session.UserName, user);
    assign(session.Privilege, privilege);
    session.IPVersion = ipVersion;
    __SysDbgPrint4("%s: g_RedfishSession.IPVersion %d.\n", kCreate, session.IPVersion);
    const s32 status =
        OXACreateRedfishSession(session.IPAddress, session.Port, ipVersion == 6 ? '6' : '4', loginToken.get(), user,
                                nullptr, 1, Receive(login.token), Receive(login.id));
    if (login.token) markFilled(login.token, std::strlen(login.token.get()));  // ours: always terminated
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

/** Stores the login in the record, its token encrypted only. The identifier comes last: it says that all is there. */
s32 storeLogin(const Login& login) noexcept
{
    const std::size_t tokenLength = strnlen(login.token.get(), SMSECURE_PLAIN_SIZE);
    __SysDbgPrint4("%s: Create session succeeded.\n", kCreate);
    __SysDbgPrint4("%s: token=%s , session id = %s.\n", kCreate, login.token.get(), login.id.get());
    __SysDbgPrint4("%s: Length of non encrypted token is %zu\n", kCreate, tokenLength);
    const SmOwned<astring> output = smText(SMSECURE_OUTPUT_SIZE);
    if (!output) {
        __SysDbgPrint3("%s: malloc failed for pencrypttext.\n", kCreate);
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    SmOwned<astring> text;
    SecretText       key;
    if (s32 st = SMqvoxaPBKDF2Encrypt(login.token.get(), static_cast<u32>(tokenLength), output.get(), Receive(text),
                                      Receive(key));
        st != 0) {
        __SysDbgPrint3("%s: Encryption failed with status: %d\n", kCreate, st);
        return st;
    }
    if (!text || !key) {
        __SysDbgPrint3("%s: Encryption gave no texts.\n", kCreate);
        return QVRFUTIL_FAILURE;
    }
    dropKeptConnections();
    QVRFUTILSession& session = g_RedfishSession;
    markFilled(key, std::strlen(key.get()));
    assign(session.pb64Text, text.get());
    assign(session.pb64Key, key.get());
    assign(session.EncryptedSessionToken, output.get(), SMSECURE_OUTPUT_SIZE);  // a full one has no NUL
    assign(session.SessionID, login.id.get());
    return OXA_SUCCESS;
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

s32 createSession(astring* user, astring* privilege, s32 ipVersion) noexcept
{
    const QVRFUTILSession& session = g_RedfishSession;
    __SysDbgPrint4("%s: session sessionID = %s.\n", kCreate, session.SessionID);
    if (sessionExists()) {
        __SysDbgPrint4("%s: session already exists. Do not create new.\n", kCreate);
        __SysDbgPrint4("%s: session token = %s.\n", kCreate, session.EncryptedSessionToken);
        __SysDbgPrint4("%s: session sessionID = %s.\n", kCreate, session.SessionID);
        return OXA_SUCCESS;
    }
    if (s32 st = checkCreateArguments(user, privilege, ipVersion); st != OXA_SUCCESS) return st;
    if (giSServerNewGenAndAbove) ipVersion = session.IPVersion;
    __SysDbgPrint4("%s: ipVersion %d.\n", kCreate, ipVersion);
    if (s32 st = readFirmwareVersion(); st != OXA_SUCCESS) return st;
    if (!giSServerNewGenAndAbove)
        if (s32 st = discoverEndpoint(ipVersion); st != OXA_SUCCESS) return st;

    Login login;
    if (s32 st = logIn(user, privilege, ipVersion, login); st != OXA_SUCCESS) return st;
    if (s32 st = storeLogin(login); st != OXA_SUCCESS) return st;
    if (ipVersion == 6 && !giSServerNewGenAndAbove) encloseAddressInBrackets();
    __SysDbgPrint4("%s: IP Address now = %s.\n", kCreate, session.IPAddress);
    __SysDbgPrint4("%s: Encrypted session token = %s.\n", kCreate, session.EncryptedSessionToken);
    __SysDbgPrint4("%s: session sessionID = %s.\n", kCreate, session.SessionID);
    return OXA_SUCCESS;
}

/** The session's token in the clear, for one exchange. */
s32 decryptToken(SecretBuffer& token) noexcept
{
    if (!token) {
        __SysDbgPrint3("%s: malloc failed for pDecryptedSessionToken.\n", kDelete);
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    astring* buffer = token.get();
    s32      st     = SMqvoxaPBKDF2Decrypt(g_RedfishSession.pb64Key, g_RedfishSession.pb64Text, &buffer);
    if (st != 0) __SysDbgPrint3("%s: Decryption failed with status: %d\n", kDelete, st);
    return st;
}

/** The user of a session without login token was made for that session: it goes with it. */
s32 deleteTemporaryUser(astring* user) noexcept
{
    const s32 status = OXADeleteTorvoUser(user);
    if (status != OXA_SUCCESS) {
        astring number[12] = {};
        sprintf_s(number, sizeof number, "%d", status);
        __SysDbgPrint3("%s : Unable to delete User. status = %s\n", kDelete, number);
    }
    __SysDbgPrint4("%s:  Torvo User Deletion succeeded.\n", kDelete);  // in either case: log readers look for it
    return status;
}

/** The decrypted token with a NUL behind it: a platform that fills its buffer writes none. */
bool copyToken(const SecretBuffer& buffer, SecretBuffer& copy) noexcept
{
    if (!copy) {
        __SysDbgPrint3("%s: Unable to allocate memory.\n", kDelete);
        return false;
    }
    if (copy.size() > 1) strncpy_s(copy.get(), copy.size(), buffer.get(), copy.size() - 1);
    return true;
}

s32 deleteSession(astring* user, s32 ipVersion) noexcept
{
    if (user == nullptr) {
        __SysDbgPrint3("%s: Username is null.\n", kDelete);
        return QVRFUTIL_FAILURE;
    }
    if (ipVersion != 4 && ipVersion != 6) {
        __SysDbgPrint3("%s: Invalid ipversion.\n", kDelete);
        return QVRFUTIL_FAILURE;
    }
    SecretBuffer decrypted(SMSECURE_PLAIN_SIZE);
    if (s32 st = decryptToken(decrypted); st != 0) return st;
    SecretBuffer token(strnlen(decrypted.get(), decrypted.size()) + 1);
    if (!copyToken(decrypted, token)) return QVRFUTIL_FAILURE;

    const QVRFUTILSession& session = g_RedfishSession;
    const u32              length  = static_cast<u32>(strnlen(token.get(), kMostTokenCounted));
    __SysDbgPrint4("%s: Decrypted session token = %s.\n", kDelete, token.get());
    __SysDbgPrint4("session id = %s\n", session.SessionID);
    if (s32 st = OXADeleteRedfishSession(session.IPAddress, session.Port, static_cast<u8>(ipVersion), token.get(),
                                         length, session.SessionID);
        st != 0) {
        __SysDbgPrint3("%s: Delete session failed with status: %d.\n", kDelete, st);
        return st;
    }
    __SysDbgPrint4("%s: Delete session succeeded.\n", kDelete);
    const s32 status = session.isOAuth ? s32{OXA_SUCCESS} : deleteTemporaryUser(user);
    QVRFUTILCleanUp();
    return status;
}

void forgetToken() noexcept
{
    forgetSessionId();
    clear(g_RedfishSession.Port);
    clear(g_RedfishSession.EncryptedSessionToken);
    clear(g_RedfishSession.pb64Text);
    clear(g_RedfishSession.pb64Key);
}

}  // namespace

extern "C" s32 QVRFUTILCreateSession(astring* pUserName, astring* pPrivilege, s32 ipVersion)
{
    const TraceScope trace(kCreate);
    return createSession(pUserName, pPrivilege, ipVersion);
}

extern "C" s32 QVRFUTILDeleteSession(astring* pUserName, s32 ipVersion)
{
    const TraceScope trace(kDelete);
    const s32        status = deleteSession(pUserName, ipVersion);
    forgetToken();
    clear(g_RedfishSession.IPAddress);
    return status;
}

extern "C" s32 QVRFUTILDeleteSessionNewGenAndAbove()
{
    const TraceScope trace("QVRFUTILDeleteSessionNewGenAndAbove");
    dropKeptConnections();
    forgetToken();
    return OXA_SUCCESS;
}
