/**
 * @file oxarfutilHelperLx.h
 * The client of the BMC's session service on libcurl: one HTTPS exchange each to open and to close a session.
 * Arguments and results are those of OXACreateRedfishSession and OXADeleteRedfishSession (oxarfutilHelper.h).
 */
#ifndef OXARFUTILHELPERLX_H
#define OXARFUTILHELPERLX_H

#include "oxarfutilHelper.h"
#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

s32 OSCreateRedfishSession(const astring* IpAddr, const astring* port, astring v4, const astring* pJWT,
                           const astring* username, const astring* password, u8 oAuth, astring** pRFSsnToken,
                           astring** pRFSsnID);

s32 OSDeleteRedfishSession(const astring* IpAddr, const astring* port, u8 v4, const astring* rfToken, u32 rfTokenLen,
                           const astring* sessionID);

#ifdef __cplusplus
}

namespace qvrf {

/**
 * Takes session token and session identifier out of a response's header text (GetTokenSSID in the log).
 * @param[in,out] header  NUL-terminated; the CR that ends the Location line becomes a NUL
 * @param[out]    token   33 bytes of SMAllocMem for the caller, also when the identifier is not found afterwards
 * @param[out]    id      65 bytes of SMAllocMem for the caller
 * @return 0, or -1
 */
s32 tokenAndSessionId(astring* header, astring** token, astring** id) noexcept;

}  // namespace qvrf
#endif

#endif
