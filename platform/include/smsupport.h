/**
 * @file smsupport.h
 * The contract of the platform's support services: memory, mutexes, threads, debug print, paths, logs.
 *
 * On a managed server the maker's libqvsupport.so provides these symbols; elsewhere the open reference platform
 * does. Any thread may call any of them.
 */
#ifndef SMSUPPORT_H
#define SMSUPPORT_H

#include "qvtypes.h"

#if defined(__GNUC__)
#define SM_PRINTF_LIKE __attribute__((format(printf, 1, 2)))
#else
#define SM_PRINTF_LIKE
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** A block of @p size bytes, not zeroed; NULL when memory is out. Give it back with SMFreeMem. */
void* SMAllocMem(u32 size);

/** Gives back memory of SMAllocMem, malloc or strdup. NULL is allowed. */
void SMFreeMem(void* memory);

/** A new mutex, not recursive; NULL on failure. @p reserved is 0. */
void* SMMutexCreate(u32 reserved);

/** Takes the mutex, waiting @p waitMs milliseconds at most. @return 0 when obtained. */
s32 SMMutexLock(void* mutex, s32 waitMs);

/** Gives the mutex up. @return 0 on success. */
s32 SMMutexUnLock(void* mutex);

/** Destroys a mutex that nobody holds. @return 0 on success. */
s32 SMMutexDestroy(void* mutex);

/** What a thread runs; its result is ignored. */
typedef void* (*SMThreadProc)(void* argument);

/** Starts a thread that runs @p procedure(@p argument). @return its handle, NULL on failure. */
void* SMThreadStart(SMThreadProc procedure, void* argument);

/** Ends the thread and releases its handle; returns when the thread no longer runs. @return 0 on success. */
s32 SMThreadStop(void* thread);

/** Debug print at error level, formatted like printf. @return 0 when the line was taken or not wanted. */
s32 __SysDbgPrint3(const astring* format, ...) SM_PRINTF_LIKE;

/** Debug print at trace level, formatted like printf. @return 0 when the line was taken or not wanted. */
s32 __SysDbgPrint4(const astring* format, ...) SM_PRINTF_LIKE;

/**
 * A directory of an installed product.
 * @param[out]    path  receives the directory with its NUL
 * @param[in,out] size  the bytes that @p path has room for
 * @return 0 when found
 */
s32 SMGetPathByProductIDandType(u32 productId, u32 pathType, astring* path, u32* size);

/** Appends one message to the operating system's log. @return 0 on success. */
s32 SMAppendToOSSysLog(u32 logType, u32 severity, u32 eventId, const astring* source, const astring* message,
                       const astring* messageId, u32 dataSize, void* data);

/** Exports one message with its arguments to the BMC's KS log. @return 0 on success. */
s32 SMHOSMIExportLogKSL(const astring* messageId, u32 argumentCount, astring** arguments);

#ifdef __cplusplus
}
#endif

#endif
