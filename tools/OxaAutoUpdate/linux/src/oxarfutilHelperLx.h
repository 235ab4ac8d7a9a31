/**
 * @file oxarfutilHelperLx.h
 * The client of the BMC's session service on libcurl: one HTTPS exchange each to open and to close a session.
 */
#ifndef OXARFUTILHELPERLX_H
#define OXARFUTILHELPERLX_H

#include "oxarfutilHelper.h"
#include "qvtypes.h"

namespace qvrf {

/**
 * Takes session token and session identifier out of a response's header text.
 * @param[in,out] header  NUL-terminated; the CR that ends the Location line becomes a NUL
 * @param[out]    token   33 bytes of SMAllocMem for the caller, also when the identifier is not found afterwards
 * @param[out]    id      65 bytes of SMAllocMem for the caller
 * @return 0, or -1
 */
s32 GetTokenSSID(astring* header, astring** token, astring** id) noexcept;

}  // namespace qvrf

#endif
