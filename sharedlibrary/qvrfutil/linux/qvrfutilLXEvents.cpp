/** @file qvrfutilLXEvents.cpp  Event subscriptions: a transfer that stays open, and the thread that reads it. */
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <new>

#include "qvisocppsecurecompat.h"
#include "qvrfutilLX.h"
#include "qvrfutilLXResponse.h"
#include "qvrfutilLXSession.h"
#include "qvrfutilLXStreamSocket.h"
#include "qvrfutilLXWatch.h"
#include "trace.h"

namespace {

using namespace qvrf;

constexpr char kRegister[]   = "QVRFUTILOSRegisterSSE";
constexpr char kUnregister[] = "QVRFUTILOSUnregisterSSE";
constexpr char kWorker[]     = "QVRFUTILReadCurlMultiEvents";
constexpr char kCallback[]   = "QVRFUTILCurlSSECallback";

constexpr int         kWaitMs        = 1000;
constexpr std::size_t kKeepAliveSize = 3;  // fragments up to this size carry no event

constexpr SessionRules kStreamSession{
    &kTransferTexts,
    "[QVRFUTIL] %s: Failed to get Session Details.\n",
    {"[QVRFUTIL] %s: Failed to Send SSE due to session failure. Please Retry\n"},
};

/** One subscription; lives in memory of SMAllocMem and goes with everything it holds. */
struct QVRFUTILCurlSSEHandle {
    CURL*                        pCurlHandle                  = nullptr;
    CURLM*                       pCurlMultiHandle             = nullptr;
    int                          pStillRunning                = 0;
    void*                        pCURLMULTI_SSEThreadHandle   = nullptr;
    std::atomic<booln>           pBreakCurlMultiEvents        = FALSE;  // written by unregister, read by the worker
    QVRFUTILHttpCallbackContext* pQVRFUTILHttpCallbackContext = nullptr;
    HeaderList                   headers;  // libcurl reads it for as long as the transfer lives: goes after it
    StreamSocket                 socket;
    MallocOwned<SSEEventData>    breakEvent;  // made early: a break must be told when memory is out, too

    ~QVRFUTILCurlSSEHandle() { endTransfer(); }

    void endTransfer() noexcept
    {
        const PipeSignalHeld held;
        CURL* const          easy  = std::exchange(pCurlHandle, nullptr);
        CURLM* const         multi = std::exchange(pCurlMultiHandle, nullptr);
        if (multi != nullptr && easy != nullptr) curl_multi_remove_handle(multi, easy);
        if (easy != nullptr) curl_easy_cleanup(easy);
        if (multi != nullptr) curl_multi_cleanup(multi);
    }
};

struct DestroyedAndFreed {
    void operator()(QVRFUTILCurlSSEHandle* handle) const noexcept
    {
        handle->~QVRFUTILCurlSSEHandle();
        SMFreeMem(handle);
    }
};
using Subscription = std::unique_ptr<QVRFUTILCurlSSEHandle, DestroyedAndFreed>;

Subscription newSubscription() noexcept
{
    void* const  memory = SMAllocMem(sizeof(QVRFUTILCurlSSEHandle));
    Subscription subscription(memory != nullptr ? new (memory) QVRFUTILCurlSSEHandle : nullptr);
    if (!subscription) return nullptr;
    subscription->breakEvent.reset(static_cast<SSEEventData*>(std::calloc(1, sizeof(SSEEventData))));
    return subscription->breakEvent ? std::move(subscription) : nullptr;
}

bool multiSucceeded(const char* op, const char* name, CURLMcode rc) noexcept
{
    if (rc != CURLM_OK) __SysDbgPrint3("%s: The curl API set %s failed with %d.\n", op, name, rc);
    return rc == CURLM_OK;
}

void fill(SSEEventData& event, const QVRFUTILHttpCallbackContext& context, s32 status, s32 size) noexcept
{
    OXAmemset_s(&event, sizeof event, 0, sizeof event);  // its padding too: callers compare and store it whole
    event.StatusCode                 = status;
    event.EventPayloadSize           = size;
    event.ReceivedEventAvailableSize = size;
    event.pCallerContext             = context.pCallerContext;
}

SmOwned<SSEEventData> newEvent() noexcept
{
    return SmOwned<SSEEventData>(static_cast<SSEEventData*>(SMAllocMem(sizeof(SSEEventData))));
}

/** A copy of one piece of the stream, with a NUL behind it. */
SmOwned<astring> newPayload(const void* bytes, std::size_t count) noexcept
{
    SmOwned<astring> payload(static_cast<astring*>(SMAllocMem(static_cast<u32>(count + 1))));
    if (!payload) {
        __SysDbgPrint3("[QVRFUTIL] : %s Not enough memory\n", kCallback);
        return payload;
    }
    if (OXAmemcpy_s(payload.get(), count + 1, bytes, count) != 0) {
        __SysDbgPrint3("[QVRFUTIL] : %s Memcpy failed.\n", kCallback);
        return nullptr;
    }
    payload.get()[count] = '\0';
    return payload;
}

void deliver(const QVRFUTILHttpCallbackContext& to, const void* bytes, std::size_t count) noexcept
{
    SmOwned<astring> payload = newPayload(bytes, count);
    if (!payload) return;
    __SysDbgPrint4("[QVRFUTIL] Received SSE data: %s\n", payload.get());
    if (to.pCallerCallBackFunction == nullptr) {
        __SysDbgPrint3("[QVRFUTIL]%s  : Callback function or call back context or payload is NULL .\n", kCallback);
        return;
    }
    SmOwned<SSEEventData> event = newEvent();
    if (!event) {
        __SysDbgPrint3("[QVRFUTIL]%s  : malloc failed for EventBuff.\n", kCallback);
        return;
    }
    fill(*event, to, 0, static_cast<s32>(count));
    event->pEvent = payload.release();
    to.pCallerCallBackFunction(event.release());  // the callback's now
}

/** Whether the look at a stream that this thread takes brought some of its body: libcurl hands no handle over. */
thread_local bool t_bodyCame = false;

/** libcurl's write function. It never ends the transfer: a piece that cannot be delivered is dropped. */
extern "C" size_t QVRFUTILCurlSSECallback(void* ptr, size_t size, size_t nmemb, void* userdata)
{
    const TraceScope  trace(kCallback, kEventTrace);
    const std::size_t count = size * nmemb;
    t_bodyCame              = true;
    if (count <= kKeepAliveSize) tellLeftOut(userdata, ptr, count);
    if (ptr == nullptr || userdata == nullptr)
        __SysDbgPrint3("[QVRFUTIL] : %s Invalid input.\n", kCallback);
    else if (count <= kKeepAliveSize)
        __SysDbgPrint4("[QVRFUTIL] : %s Not enough data. Skip this.\n", kCallback);
    else
        deliver(*static_cast<const QVRFUTILHttpCallbackContext*>(userdata), ptr, count);
    return count;
}

void tellBroken(QVRFUTILCurlSSEHandle& handle, CURLcode rc) noexcept
{
    __SysDbgPrint3("[QVRFUTIL] %s: ERROR: Failed SSE. Connection broken. curl code = %d \n", kWorker, rc);
    const QVRFUTILHttpCallbackContext* const to = handle.pQVRFUTILHttpCallbackContext;
    if (to == nullptr || to->pCallerCallBackFunction == nullptr) return;
    SmOwned<SSEEventData> event = newEvent();
    if (!event) event.reset(handle.breakEvent.release());
    fill(*event, *to, QVRFUTIL_EVENT_STREAM_BROKEN, 0);
    to->pCallerCallBackFunction(event.release());
}

/**
 * Lets libcurl read and write what it can, on a thread that has SIGPIPE blocked. The process has its handler back in
 * between: a stream lives for hours.
 */
CURLMcode moveOn(QVRFUTILCurlSSEHandle& handle) noexcept
{
    t_bodyCame = false;
    CURLMcode rc;
    {
        const PipeSignalAside aside;
        rc = curl_multi_perform(handle.pCurlMultiHandle, &handle.pStillRunning);
    }
    handle.socket.look(handle.pCurlMultiHandle, handle.pCurlHandle, t_bodyCame);
    return rc;
}

/** Moves the transfer on until it ends, libcurl fails or unregister says stop. @return whether to look at its end */
bool readStream(QVRFUTILCurlSSEHandle& handle) noexcept
{
    int ready = 0;
    while (!handle.pBreakCurlMultiEvents && handle.pStillRunning != 0) {
        if (!multiSucceeded(kWorker, "Multi Wait",
                            curl_multi_wait(handle.pCurlMultiHandle, nullptr, 0, kWaitMs, &ready)) ||
            !multiSucceeded(kWorker, "Multi Perform", moveOn(handle)))
            return false;
        if (!handle.socket.floods()) continue;
        __SysDbgPrint3("[QVRFUTIL] %s: ERROR: header lines without end.\n", kWorker);
        tellBroken(handle, CURLE_RECV_ERROR);
        return false;
    }
    return true;
}

void judgeEnd(QVRFUTILCurlSSEHandle& handle) noexcept
{
    int left = 0;
    while (!handle.pBreakCurlMultiEvents) {
        const CURLMsg* const message = curl_multi_info_read(handle.pCurlMultiHandle, &left);
        if (message == nullptr) return;
        if (message->msg != CURLMSG_DONE || message->easy_handle != handle.pCurlHandle) continue;
        if (message->data.result != CURLE_OK) {
            tellBroken(handle, message->data.result);
            return;
        }
        __SysDbgPrint4("[QVRFUTIL] came out in success case.\n");
    }
}

s32 setStreamOptions(CURL* easy, QVRFUTILHttpCallbackContext* context) noexcept
{
    return curlStatus(setOption(kRegister, easy, QVRF_OPT(CURLOPT_SSLVERSION), 0L) &&
                      setOption(kRegister, easy, QVRF_OPT(CURLOPT_WRITEFUNCTION), &QVRFUTILCurlSSECallback) &&
                      setOption(kRegister, easy, QVRF_OPT(CURLOPT_WRITEDATA), context) &&
                      setOption(kRegister, easy, QVRF_OPT(CURLOPT_TIMEOUT), 10000L) &&
                      setOption(kRegister, easy, QVRF_OPT(CURLOPT_SSL_VERIFYPEER), 0L) &&
                      setOption(kRegister, easy, QVRF_OPT(CURLOPT_SSL_VERIFYHOST), 0L) &&
                      setOption(kRegister, easy, QVRF_OPT(CURLOPT_HTTPGET), 1L));
}

s32 setStreamHeaders(QVRFUTILCurlSSEHandle& handle, const Token& token) noexcept
{
    HeaderList& headers = handle.headers;
    return curlStatus(headers.append(kRegister, "Accept: */*") &&
                      appendTokenHeader(kRegister, headers, token, kTokenLine) &&
                      headers.append(kRegister, "Content-type: application/json") &&
                      setOption(kRegister, handle.pCurlHandle, QVRF_OPT(CURLOPT_HTTPHEADER), headers.get()));
}

s32 setStreamUrl(CURL* easy, const QVRFUTILSession& session, const astring* path, SmOwned<astring>& url) noexcept
{
    if (!pathFits(kRegister, path)) return QVRFUTIL_FAILURE;
    url = requestUrl(session.IPAddress, session.Port, path);
    if (!url) {
        __SysDbgPrint3("[QVRFUTIL] %s: SMAllocMem for pUrl failed.\n", kRegister);
        return QVRFUTIL_FAILURE;
    }
    __SysDbgPrint4("[QVRFUTIL] %s: pUrl = %s.\n", kRegister, url.get());
    if (!leadToBmc(kRegister, easy, session.IPAddress)) return QVRFUTIL_CURL_FAILED;
    // Logged under this name since the first release; log readers know it so.
    setOption(kRegister, easy, CURLOPT_URL, "CURLOPT_HTTPHEADER", url.get());
    return OXA_SUCCESS;
}

s32 startTransfer(QVRFUTILCurlSSEHandle& handle) noexcept
{
    handle.pCurlMultiHandle = curl_multi_init();
    if (handle.pCurlMultiHandle == nullptr) {
        __SysDbgPrint3("[QVRFUTIL] %s: curl_multi_init() failed.\n", kRegister);
        return QVRFUTIL_CURL_FAILED;
    }
    const PipeSignalBlocked blocked;
    const bool              started = multiSucceeded(kRegister, "Multi Add Handle",
                                                     curl_multi_add_handle(handle.pCurlMultiHandle, handle.pCurlHandle)) &&
                         multiSucceeded(kRegister, "Multi Perform", moveOn(handle));
    return started ? s32{OXA_SUCCESS} : s32{QVRFUTIL_CURL_FAILED};
}

/** A transfer that cannot even begin has its result at once. */
s32 checkNotFailedAlready(QVRFUTILCurlSSEHandle& handle) noexcept
{
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(handle.pCurlMultiHandle, &left)) {
        if (message->msg != CURLMSG_DONE || message->easy_handle != handle.pCurlHandle) {
            __SysDbgPrint4("[QVRFUTIL] handle did not match.\n");
        } else if (message->data.result != CURLE_OK) {
            __SysDbgPrint3("[QVRFUTIL] %s: ERROR: Failed Register SSE. Curl call failed. \n", kRegister);
            handle.endTransfer();
            return QVRFUTIL_FAILURE;
        }
    }
    return OXA_SUCCESS;
}

s32 startWorker(QVRFUTILCurlSSEHandle& handle) noexcept
{
    const int running                 = handle.pStillRunning;  // the worker's from here on
    handle.pCURLMULTI_SSEThreadHandle = SMThreadStart(&QVRFUTILReadCurlMultiEvents, &handle);
    if (handle.pCURLMULTI_SSEThreadHandle == nullptr) {
        __SysDbgPrint3("[QVRFUTIL] %s: ERROR: Failed to start thread.\n", kRegister);
        return QVRFUTIL_FAILURE;
    }
    __SysDbgPrint4("[QVRFUTIL] CUrl MUlti SSE thread creation done.\n");
    __SysDbgPrint4("[QVRFUTIL] %s: still running = %d\n", kRegister, running);
    return OXA_SUCCESS;
}

s32 subscribe(QVRFUTILCurlSSEHandle& handle, const astring* path, QVRFUTILHttpCallbackContext* context) noexcept
{
    handle.pCurlHandle = newEasyHandle().release();
    if (handle.pCurlHandle == nullptr) {
        __SysDbgPrint3("[QVRFUTIL] %s: curl_easy_init() failed.\n", kRegister);
        return QVRFUTIL_CURL_FAILED;
    }
    QVRFUTILSession session;
    if (s32 st = obtainSession(kRegister, kStreamSession, session); st != OXA_SUCCESS) return st;
    if (s32 st = setStreamOptions(handle.pCurlHandle, context); st != OXA_SUCCESS) return st;
    SmOwned<astring> url;  // given back after the token
    Token            token;
    if (s32 st = token.decrypt(kRegister, kTransferTexts, session); st != OXA_SUCCESS) return st;
    if (s32 st = setStreamHeaders(handle, token); st != OXA_SUCCESS) return st;
    if (s32 st = setStreamUrl(handle.pCurlHandle, session, path, url); st != OXA_SUCCESS) return st;
    handle.pQVRFUTILHttpCallbackContext = context;
    if (s32 st = startTransfer(handle); st != OXA_SUCCESS) return st;
    if (s32 st = checkNotFailedAlready(handle); st != OXA_SUCCESS) return st;
    return startWorker(handle);
}

/** Gives the worker the time of one wait to see the stop flag. */
void waitForWorkerToSee() noexcept
{
    timespec left{1, 0};
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

s32 registerStream(const astring* path, QVRFUTILHttpCallbackContext* context, void** handle) noexcept
{
    if (path == nullptr || context == nullptr || handle == nullptr) {
        __SysDbgPrint3("[QVRFUTIL] %s: ERROR: Invalid arguments, returning..\n", kRegister);
        return QVRFUTIL_INVALID_ARGUMENTS;
    }
    __SysDbgPrint4("[QVRFUTIL] %s: SSE Web Url %s\n", kRegister, path);
    Subscription subscription = newSubscription();
    *handle                   = subscription.get();  // at once: the first event may come before this returns
    if (!subscription) {
        __SysDbgPrint3("[QVRFUTIL]%s: Unable to allocate memory for QVRFUTILCurlSSEhandle.\n", kRegister);
        return QVRFUTIL_FAILURE;
    }
    const s32 status = subscribe(*subscription, path, context);
    if (status == OXA_SUCCESS)
        subscription.release();  // the caller's now, until unregister
    else
        *handle = nullptr;
    return status;
}

s32 stopWorker(QVRFUTILCurlSSEHandle& handle) noexcept
{
    handle.pBreakCurlMultiEvents = TRUE;
    waitForWorkerToSee();
    if (handle.pCURLMULTI_SSEThreadHandle != nullptr) {
        SMThreadStop(std::exchange(handle.pCURLMULTI_SSEThreadHandle, nullptr));
        return OXA_SUCCESS;
    }
    __SysDbgPrint3("[QVRFUTIL] %s: ERROR: Thread handle is NULL..\n", kUnregister);
    return QVRFUTIL_FAILURE;
}

s32 unregisterStream(void** handle) noexcept
{
    if (handle == nullptr || *handle == nullptr) {
        __SysDbgPrint3("[QVRFUTIL] %s: ERROR: Invalid arguments, returning..\n", kUnregister);
        return QVRFUTIL_INVALID_ARGUMENTS;
    }
    const Subscription subscription(static_cast<QVRFUTILCurlSSEHandle*>(*handle));
    const s32          status = stopWorker(*subscription);
    *handle                   = nullptr;
    return status;
}

}  // namespace

extern "C" void* QVRFUTILReadCurlMultiEvents(void* pQVRFUTILSSEhandle)
{
    const TraceScope trace(kWorker, kEventTrace);
    auto* const      handle = static_cast<QVRFUTILCurlSSEHandle*>(pQVRFUTILSSEhandle);
    if (handle == nullptr || handle->pCurlHandle == nullptr || handle->pCurlMultiHandle == nullptr) return nullptr;
    const PipeSignalBlocked blocked;
    if (readStream(*handle)) judgeEnd(*handle);
    tellOver(handle->pQVRFUTILHttpCallbackContext, handle->pCurlHandle);
    return nullptr;
}

extern "C" s32 QVRFUTILOSRegisterSSE(const astring*               pWebResourceUrl,
                                     QVRFUTILHttpCallbackContext* pQVRFUTILHttpCallbackContext,
                                     void**                       pQVRFUTILSSEhandle)
{
    const TraceScope trace(kRegister, kEventTrace);
    return registerStream(pWebResourceUrl, pQVRFUTILHttpCallbackContext, pQVRFUTILSSEhandle);
}

extern "C" s32 QVRFUTILOSUnregisterSSE(void** pQVRFUTILSSEhandle)
{
    const TraceScope trace(kUnregister, kEventTrace);
    return unregisterStream(pQVRFUTILSSEhandle);
}
