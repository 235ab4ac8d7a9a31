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
