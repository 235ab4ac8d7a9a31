/**
 * @file qvresponse.h
 * What the HTTPS write callbacks collect received bytes into.
 */
#ifndef QVRESPONSE_H
#define QVRESPONSE_H

#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Received bytes, growing as they come in. */
typedef struct _QVRFUTIL_REDFISH_RESPONSE_RECEIVED {
    astring* pResponse; /**< heap memory (realloc/free), NULL until the first byte; one spare byte, no NUL of its own */
    size_t   responseSize; /**< bytes held */
} QVRFUTIL_REDFISH_RESPONSE_RECEIVED;

#ifdef __cplusplus
}
#endif

#endif
