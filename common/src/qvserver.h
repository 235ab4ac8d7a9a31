/**
 * @file qvserver.h
 * Which BMC generation this process serves.
 */
#ifndef QVSERVER_H
#define QVSERVER_H

#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * TRUE: the newer BMC generation, whose endpoint comes from QVRFUTILSetIPAddress and whose session the agent creates
 * itself. FALSE: an older one, found by IPMI discovery, with sessions made on demand and a fall-back between IPv4 and
 * IPv6. QVRFUTILInit sets it to TRUE; an agent that serves an older generation writes FALSE after it. Read without a
 * lock: set it before requests run.
 */
extern booln giSServerNewGenAndAbove;

#ifdef __cplusplus
}
#endif

#endif
