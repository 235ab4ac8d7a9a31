/**
 * @file oxarfutilHelper.h
 * Accounts on the BMC, and what the Redfish client logs in with.
 *
 * Every operation talks to the BMC through the platform and blocks while it does; none keeps state. Results are the
 * OXA_ codes of qvstatus.h. Any thread may call any of them, but not two at once for one user slot.
 *
 * A privilege is a text: "ro" (read only), "op" (operator), "root" (administrator); any other text means no privilege.
 */
#ifndef OXARFUTILHELPER_H
#define OXARFUTILHELPER_H

#include "qvresponse.h"
#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Characters of a generated password. */
#define OXA_PASSWORD_LENGTH 20
/** Room for a service state, in bytes, NUL included. */
#define OXA_SERVICE_STATE_SIZE 9

/**
 * Writes the name of the account in a user slot of the BMC.
 * @return OXA_SUCCESS; OXA_INTERNAL_ERROR when the name is NULL or too long, or memory is out;
 *         OXA_BMC_CMD_SET_USER_NAME_FAILED when the BMC refused.
 */
s32 OXASetBMCUsername(u32 slot, const astring* username);

/**
 * Writes the password of the account in a user slot of the BMC. The whole command, password included, goes to the
 * trace level of the debug print; the error line of a refused one leaves the password out.
 * @return OXA_SUCCESS; OXA_INTERNAL_ERROR when the password is NULL or too long, or memory is out;
 *         OXA_BMC_CMD_SET_USER_PASSWORD_FAILED when the BMC refused.
 */
s32 OXASetBMCUserPassword(u32 slot, const astring* password);

/**
 * Writes the privilege of the account in a user slot of the BMC.
 * @return OXA_SUCCESS; OXA_INVALID_PARAM when the privilege is NULL; OXA_INTERNAL_ERROR when memory is out;
 *         OXA_BMC_CMD_SET_USER_PRIVILEGE_FAILED when the BMC refused.
 */
s32 OXASetBMCUserPrivilege(u32 slot, const astring* privilege);

/**
 * Writes a whole account.
 * @param enable  1: name, password and privilege, then enable. 0: disable, then name, password and privilege. Any other
 *                value leaves the slot alone, with OXA_SUCCESS.
 * @return OXA_SUCCESS; OXA_INTERNAL_ERROR when name or password is NULL or memory is out; the setter's code when the
 *         name could not be written. When a later step fails, what was written is cleared again, the name last, and the
 *         result is that of clearing the name: OXA_SUCCESS then means that the slot is clean, not that the account
 *         works.
 */
s32 OXAConfigureBMCUser(u32 slot, const astring* username, const astring* password, const astring* privilege,
                        u8 enable);

/**
 * A password of OXA_PASSWORD_LENGTH characters, drawn from rand() with the time of day as its seed: whoever knows the
 * second in which it was made can make it too, and two calls within one second give the same one. Good for an account
 * that lives for minutes on a BMC whose link ends in this server, and for nothing else: where a password is to last,
 * hand one of your own to OXAConfigureBMCUser.
 * @param[out] pPassword  receives the text; the caller wipes it and gives it back with SMFreeMem
 * @return OXA_SUCCESS; OXA_INTERNAL_ERROR when the pointer is NULL or memory is out. Reseeds rand(), whose state is the
 *         process's.
 */
s32 OXAPasswordGenerator(astring** pPassword);

/**
 * Makes an account for @p pUsername, or gives the existing one a new password and the privilege. When no slot is free,
 * says so on standard output.
 * @param[out] pPassword  receives the password, also when a later step fails: the caller gives it back with SMFreeMem;
 *                        set it to NULL before the call
 * @return OXA_SUCCESS; OXA_INTERNAL_ERROR; OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT; the result of OXAConfigureBMCUser.
 */
s32 GenerateTorvoUser(const astring* pUsername, const astring* pPrivilege, astring** pPassword);

/**
 * Disables and clears the account of @p pUserName.
 * @return OXA_SUCCESS, also when there is no such account; OXA_INTERNAL_ERROR when the name is NULL; the result of
 *         OXAConfigureBMCUser.
 */
s32 OXADeleteTorvoUser(astring* pUserName);

/**
 * Obtains a login token from the BMC's token service.
 * @param[out] pJWT          receives the token; the caller wipes it and gives it back with SMFreeMem
 * @param[out] pTokenLength  its length in characters
 * @return OXA_SUCCESS; OXA_REDFISH_TOKEN_GENERATION_FAILED, also when a pointer is NULL.
 */
s32 GenerateOAuthToken(const astring* pUsername, astring* pPrivilege, astring** pJWT, u32* pTokenLength);

/**
 * Whether the BMC's web server is enabled: the BMC's word for it, "Enabled" or "Disabled".
 * @param[out] pTorvoWebServer  room for OXA_SERVICE_STATE_SIZE bytes
 * @return OXA_SUCCESS; OXA_INTERNAL_ERROR when the pointer is NULL or memory is out; OXA_BMC_CMD_IPMI_ACCESS_FAILED;
 *         OXA_BMC_CMD_IPMI_RESPONSE_ERROR; any other code of the platform's pass-through.
 */
s32 OXAGetTorvoWebserver(astring* pTorvoWebServer);

/** Whether the BMC's Redfish service is enabled. @see OXAGetTorvoWebserver */
s32 OXAGetTorvoRedfish(astring* pTorvoRedfish);

/**
 * Opens a session on the BMC's session service, with one HTTPS exchange of 100 s at most.
 * @param IpAddr       the BMC's address, 33 characters at most (a full IPv6 address does not fit: -1); on
 *                     the newer generation IPv6 comes in its brackets. Link-local IPv6 leads out of the USB NIC
 * @param port         its HTTPS port as text
 * @param v4           the character '6' puts the address of an older generation into brackets
 * @param pJWT         the login token; at most 500 characters
 * @param username, password  a login by name is not offered: with @p oAuth 0 the result is -1
 * @param oAuth        non-zero: log in with the login token
 * @param[out] pRFSsnToken  receives the session token, 32 characters; the caller wipes it and gives it back with
 *                          SMFreeMem. It can be set although the result is -1: start with NULL
 * @param[out] pRFSsnID     receives the session's identifier; likewise
 * @return 0; 503 when the BMC has no session left to give; 271 for missing arguments; 272 out of memory; -1 when a
 *         libcurl call failed, the BMC answered anything but 201, or its headers lack token or identifier.
 * Any thread may call it.
 */
s32 OXACreateRedfishSession(const astring* IpAddr, const astring* port, astring v4, const astring* pJWT,
                            const astring* username, const astring* password, u8 oAuth, astring** pRFSsnToken,
                            astring** pRFSsnID);

/**
 * Closes a session on the BMC's session service, with one HTTPS exchange of 100 s at most.
 * @param v4          the number 6 puts the address into brackets, on both generations: with an address that has its
 *                    brackets already, pass 4
 * @param rfToken     the session token; its first 32 characters are sent
 * @param rfTokenLen  not used
 * @param sessionID   the session's identifier
 * @return 0, also when the reply has no body, whatever its HTTP status; 271 for missing arguments; 272 out of memory;
 *         -1 when a libcurl call failed or the reply's status is not 200.
 * Any thread may call it.
 */
s32 OXADeleteRedfishSession(const astring* IpAddr, const astring* port, u8 v4, const astring* rfToken, u32 rfTokenLen,
                            const astring* sessionID);

/** OXACreateRedfishSession without its own log lines. */
s32 OSCreateRedfishSession(const astring* IpAddr, const astring* port, astring v4, const astring* pJWT,
                           const astring* username, const astring* password, u8 oAuth, astring** pRFSsnToken,
                           astring** pRFSsnID);

/** OXADeleteRedfishSession without its own log lines. */
s32 OSDeleteRedfishSession(const astring* IpAddr, const astring* port, u8 v4, const astring* rfToken, u32 rfTokenLen,
                           const astring* sessionID);

/**
 * The libcurl write callback of the session service's answers: appends to a QVRFUTIL_REDFISH_RESPONSE_RECEIVED.
 * @return size * nmemb; 0 when memory is out or the answer's head is over 1 MiB, which makes libcurl end the transfer
 */
size_t curlRedfishResponseCallback(void* ptr, size_t size, size_t nmemb, void* userdata);

#ifdef __cplusplus
}
#endif

#endif
