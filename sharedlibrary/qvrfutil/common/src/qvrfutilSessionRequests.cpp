/** @file qvrfutilSessionRequests.cpp  The public face of requests, uploads and subscriptions. */
#include "qvrfutilLX.h"
#include "trace.h"

extern "C" s32 QVRFUTILSendRequest(const astring* pWebResourceUrl, astring* pPostData, astring** ppRFResponse,
                                   u32 pRFResponseINLen, u32* pRFResponseOUTLen, QVRFUTILRequestType webMethodType,
                                   u16* pHttpRetCode, booln isHeaderRequested, astring** ppResponseHeaderBuff,
                                   astring* pFileNameWithPath)
{
    static constexpr char  op[] = "QVRFUTILSendRequest";
    const qvrf::TraceScope trace(op);
    const s32              status =
        QVRFUTILOSSendRequest(pWebResourceUrl, pPostData, ppRFResponse, pRFResponseINLen, pRFResponseOUTLen,
                              webMethodType, pHttpRetCode, isHeaderRequested, ppResponseHeaderBuff, pFileNameWithPath);
    if (pHttpRetCode != nullptr) __SysDbgPrint4("%s:Http Code = %d\n", op, *pHttpRetCode);
    return status;
}

extern "C" s32 QVRFUTILSendFileUploadRequest(const astring* pWebResourceUrl, const astring* filePathWithName,
                                             const astring* pPostData, astring** ppRFResponse, u32 pRFResponseINLen,
                                             u32* pRFResponseOUTLen, u16* pHttpRetCode)
{
    static constexpr char  op[] = "QVRFUTILSendFileUploadRequest";
    const qvrf::TraceScope trace(op);
    const s32 status = QVRFUTILOSSendFileUploadRequest(pWebResourceUrl, filePathWithName, pPostData, ppRFResponse,
                                                       pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode);
    if (pHttpRetCode != nullptr) __SysDbgPrint4("%s:Http Code = %d\n", op, *pHttpRetCode);
    return status;
}

extern "C" s32 QVRFUTILSendRequestNoAuth(const astring* pURL, astring** ppResponseBuffer, u32 pRFResponseINLen,
                                         u32* pRFResponseOUTLen, u16* pHttpRetCode)
{
    static constexpr char  op[] = "QVRFUTILSendRequestNoAuth";
    const qvrf::TraceScope trace(op);
    const s32              status =
        QVRFUTILOSSendRequestNoAuth(pURL, ppResponseBuffer, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode);
    if (pHttpRetCode != nullptr) __SysDbgPrint4("%s:Http Code = %d\n", op, *pHttpRetCode);
    return status;
}

extern "C" s32 QVRFUTILRegisterSSE(const astring*               pWebResourceUrl,
                                   QVRFUTILHttpCallbackContext* pQVRFUTILHttpCallbackContext, void** pQVRFUTILSSEhandle)
{
    const qvrf::TraceScope trace("QVRFUTILRegisterSSE");
    return QVRFUTILOSRegisterSSE(pWebResourceUrl, pQVRFUTILHttpCallbackContext, pQVRFUTILSSEhandle);
}

extern "C" s32 QVRFUTILUnregisterSSE(void** pQVRFUTILSSEhandle)
{
    const qvrf::TraceScope trace("QVRFUTILUnregisterSSE");
    return QVRFUTILOSUnregisterSSE(pQVRFUTILSSEhandle);
}
