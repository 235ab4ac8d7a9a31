/**
 * @file qvrfutilLX.h
 * The transport behind the requests of qvrfutil.h, on libcurl. Arguments, results and threads are those of
 * QVRFUTILSendRequest; agents call that one, these stay exported for components that pick a method at build time.
 */
#ifndef QVRFUTILLX_H
#define QVRFUTILLX_H

#include <stdio.h>

#include "qvrfutil.h"

#ifdef __cplusplus
extern "C" {
#endif

/** QVRFUTILSendRequest without its final log line: checks the path and the buffer pointer, then picks the method. */
s32 QVRFUTILOSSendRequest(const astring* pWebResourceUrl, astring* pPostData, astring** ppRFResponse,
                          u32 pRFResponseINLen, u32* pRFResponseOUTLen, QVRFUTILRequestType webMethodType,
                          u16* pHttpRetCode, booln isHeaderRequested, astring** ppResponseHeaderBuff,
                          astring* pFileNameWithPath);

/** GET; with @p pFileNameWithPath into a file. Without a session on the newer generation: 101. */
s32 QVRFUTILOSGETRequest(const astring* pWebResourceUrl, astring** ppRFResponse, u32 pRFResponseINLen,
                         u32* pRFResponseOUTLen, u16* pHttpRetCode, booln isHeaderRequested,
                         astring** ppResponseHeaderBuff, astring* pFileNameWithPath);

/** POST of @p pPostData. Without a session on the newer generation: 104. */
s32 QVRFUTILOSPOSTRequest(const astring* pWebResourceUrl, astring* pPostData, astring** ppRFResponse,
                          u32 pRFResponseINLen, u32* pRFResponseOUTLen, u16* pHttpRetCode, booln isHeaderRequested,
                          astring** ppResponseHeaderBuff);

/** PATCH with @p pPatchData. Without a session on the newer generation: 104. */
s32 QVRFUTILOSPATCHRequest(const astring* pWebResourceUrl, astring* pPatchData, astring** ppRFResponse,
                           u32 pRFResponseINLen, u32* pRFResponseOUTLen, u16* pHttpRetCode, booln isHeaderRequested,
                           astring** ppResponseHeaderBuff);

/** DELETE. Without a session on the newer generation: 104. */
s32 QVRFUTILOSDELETERequest(const astring* pWebResourceUrl, astring** ppRFResponse, u32 pRFResponseINLen,
                            u32* pRFResponseOUTLen, u16* pHttpRetCode, booln isHeaderRequested,
                            astring** ppResponseHeaderBuff);

/** QVRFUTILSendFileUploadRequest without its log lines. */
s32 QVRFUTILOSSendFileUploadRequest(const astring* pWebResourceUrl, const astring* filePathWithName,
                                    const astring* pPostData, astring** ppRFResponse, u32 pRFResponseINLen,
                                    u32* pRFResponseOUTLen, u16* pHttpRetCode);

/** QVRFUTILSendRequestNoAuth without its log lines. */
s32 QVRFUTILOSSendRequestNoAuth(const astring* pURL, astring** ppResponseBuffer, u32 pRFResponseINLen,
                                u32* pRFResponseOUTLen, u16* pHttpRetCode);

/** QVRFUTILRegisterSSE without its log lines. */
s32 QVRFUTILOSRegisterSSE(const astring* pWebResourceUrl, QVRFUTILHttpCallbackContext* pQVRFUTILHttpCallbackContext,
                          void** pQVRFUTILSSEhandle);

/** QVRFUTILUnregisterSSE without its log lines. */
s32 QVRFUTILOSUnregisterSSE(void** pQVRFUTILSSEhandle);

/**
 * What a subscription's thread runs: reads the stream until it ends or the subscription is unregistered. A component
 * that brings threads of its own calls it with the handle of QVRFUTILRegisterSSE, which has a thread already: two must
 * not read one stream.
 * @param pQVRFUTILSSEhandle  the subscription; NULL is allowed and ends at once
 * @return always NULL
 */
void* QVRFUTILReadCurlMultiEvents(void* pQVRFUTILSSEhandle);

/**
 * The libcurl write callback of the requests: appends to a QVRFUTIL_REDFISH_RESPONSE_RECEIVED.
 * @return size * nmemb; (size_t)-1 when memory is out or the answer is longer than the library takes (1 MiB of head,
 *         4 GiB - 2 of body), which makes libcurl end the transfer
 */
size_t QVRFUTILCurlRedfishGETResponseCallback(astring* ptr, size_t size, size_t nmemb, void* pUserdata);

/**
 * The libcurl write callback of GET's download mode: writes size * nmemb bytes to @p stream.
 * @return what fwrite returns; 0 for a NULL stream, which makes libcurl end the transfer
 */
size_t SACopyFileCBCurl(void* ptr, size_t size, size_t nmemb, FILE* stream);

#ifdef __cplusplus
}
#endif

#endif
