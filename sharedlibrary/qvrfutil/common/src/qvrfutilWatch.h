/**
 * @file qvrfutilWatch.h
 * What a subscription to an event stream does not tell its callback: the bytes that it leaves out, and how it ended.
 *
 * QVRFUTILRegisterSSE hands pieces of a stream to a callback, pieces of 3 bytes and less left out, and is silent about
 * a stream that ends cleanly. Callers rely on both. Whoever has to put events together needs every byte and the end: a
 * watch tells them.
 *
 * @code
 *     static void left_out(void* context, const astring* bytes, u32 size) { append(context, bytes, size); }
 *     static void over(void* context, u16 http) { finish(context, http); }
 *
 *     QVRFUTILHttpCallbackContext callback = {&stream, on_piece};
 *     QVRFUTILSSEWatch            watch    = {&stream, left_out, over};
 *     QVRFUTILWatchSSE(&callback, &watch);
 *     QVRFUTILRegisterSSE("/redfish/v1/SSE", &callback, &handle);
 *     ...
 *     QVRFUTILUnregisterSSE(&handle);
 *     QVRFUTILWatchSSE(&callback, NULL);
 * @endcode
 */
#ifndef QVRFUTILWATCH_H
#define QVRFUTILWATCH_H

#include "qvrfutil.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Called on the subscription's own thread, in turn with its callback: together they see every byte, in order. No
 * exception may leave a function of it.
 */
typedef struct _QVRFUTILSSEWatch {
    void* pCallerContext; /**< handed to both functions as it is */
    /** A piece of 1 to 3 bytes, without a NUL behind it; the library's, and gone after the call. May be NULL. */
    void (*pLeftOutFunction)(void* pCallerContext, const astring* pBytes, u32 size);
    /**
     * The last call: the stream is over, for whatever reason; a break was told to the callback before. @p httpCode is
     * the status of the answer, 0 when none came. May be NULL.
     */
    void (*pOverFunction)(void* pCallerContext, u16 httpCode);
} QVRFUTILSSEWatch;

/**
 * Watches the subscription that @p pContext is, or will be, registered with.
 * @param pContext  the context handed to QVRFUTILRegisterSSE; only its address counts here
 * @param pWatch    what to call, copied; it replaces an earlier one. NULL ends the watch: do so after
 *                  QVRFUTILUnregisterSSE returned, and before the context's memory is used for something else
 * @return 0; 102 when @p pContext is NULL; 272 out of memory
 * Any thread may call it, except from one of the watch's own functions.
 */
s32 QVRFUTILWatchSSE(const QVRFUTILHttpCallbackContext* pContext, const QVRFUTILSSEWatch* pWatch);

#ifdef __cplusplus
}
#endif

#endif
