/**
 * @file qvisocppsecurecompat.h
 * Bounds-checked string, memory and time functions with the conventional _s names. C11 and C++17.
 *
 * Each function checks its pointers and sizes, then calls the C library's plain routine. Other libraries have functions
 * of these names; where their checks and results differ, what stands here holds, because the agent's components test
 * these results.
 *
 * Unless a function says otherwise:
 * - the result is 0 on success, EINVAL (22) or ERANGE (34) when an argument is refused, and the checks are made in the
 *   order in which they are listed;
 * - a refused call has written nothing;
 * - sizes of narrow texts count bytes, sizes of wide texts count wchar_t elements, both with the terminating zero;
 * - source and destination must not overlap;
 * - the functions keep no state, log nothing and set no errno of their own, and any thread may call them.
 */
#ifndef QVISOCPPSECURECOMPAT_H
#define QVISOCPPSECURECOMPAT_H

#include <stddef.h>
#include <stdio.h>
#include <time.h>
#include <wchar.h>

#include "qvtypes.h"

#if defined(__GNUC__)
#define QVISO_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#else
#define QVISO_PRINTF_LIKE(text, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Memory ---- */

/**
 * Copies @p count bytes.
 * @return 22 when a pointer is NULL; 34 when @p sizeOfDestBuff is 0 or less than @p count, and when @p count is 0: a
 *         copy of nothing is an error.
 */
errno_t OXAmemcpy_s(void* pDestBuff, size_t sizeOfDestBuff, const void* pSrcBuff, size_t count);

/**
 * Sets the first @p count bytes to the low byte of @p ch.
 * @return 22 when @p pDestBuff is NULL, when either size has its top bit set, or when @p sizeOfDestBuff is less than
 *         @p count; 0 otherwise, also when there is nothing to set.
 */
errno_t OXAmemset_s(void* pDestBuff, size_t sizeOfDestBuff, int ch, size_t count);

/* ---- Narrow texts ---- */

/**
 * Copies a text with its terminating zero.
 * @return 22 when a pointer is NULL; 34 when @p sizeInBytes is 0 or the text does not fit.
 */
errno_t strcpy_s(char* strDestination, size_t sizeInBytes, const char* strSource);

/**
 * strncpy: copies at most @p count characters, and fills with zeros up to @p count when the source is shorter.
 * Adds no terminating zero when the source has @p count or more characters: zero the destination beforehand.
 * @return 22 when a pointer is NULL, when @p sizeInBytes is 0, or when it is not greater than @p count. Never 34.
 */
errno_t strncpy_s(char* strDest, size_t sizeInBytes, const char* strSource, size_t count);

/**
 * Appends a text with its terminating zero.
 * @return 22 when a pointer is NULL; 34 when @p sizeInBytes is 0 or both texts do not fit.
 */
errno_t strcat_s(char* strDestination, size_t sizeInBytes, const char* strSource);

/**
 * Appends at most @p count characters and a terminating zero.
 * @return 22 when a pointer is NULL; 34 when @p sizeInBytes is 0 or has no room for the text that is there, @p count
 *         characters and a zero. The length of the source does not matter: a large @p count is refused even when the
 *         source is short.
 */
errno_t strncat_s(char* strDestination, size_t sizeInBytes, const char* strSource, size_t count);

/**
 * Compares at most @p count characters, ignoring case, like strncasecmp.
 * @return less than, equal to or greater than 0; 22 when a pointer is NULL, which looks like "greater": test for 0.
 */
errno_t strcmpcase_s(const astring* pSrc, const astring* pDest, size_t count);

/** A copy of the text, to be released with free; NULL when @p pSrc is NULL or memory is out. */
astring* strdup_s(const astring* pSrc);

/**
 * Whether one of the first @p len bytes is no decimal digit. Exactly @p len bytes are read: a terminating zero among
 * them does not end the scan and is no digit.
 * @return TRUE or FALSE; FALSE when @p pSrc is NULL or @p len is 0.
 */
booln OXAstrNonDigitCheck(const astring* pSrc, u32 len);

/** strtok_r. Checks nothing: only @p strToken may be NULL, to go on with the text that @p context remembers. */
char* strtok_s(char* strToken, const char* strDelimit, char** context);

/* ---- Formatting ---- */

/**
 * Formats like snprintf, and leaves an empty text when the whole does not fit.
 * @return the number of characters without the zero; -1 when @p pBuffer or @p pFormat is NULL or @p sizeInBytes is 0
 *         (nothing is written), and when the text does not fit or cannot be formatted (the buffer is emptied).
 */
int sprintf_s(char* pBuffer, size_t sizeInBytes, const char* pFormat, ...) QVISO_PRINTF_LIKE(3, 4);

/**
 * snprintf with the bound @p count. @p sizeOfBuffer is only compared with 0: the caller sees to it that @p count is not
 * more than the buffer holds.
 * @return what snprintf returns: the length of the whole text, also when it was cut to @p count - 1 characters; -1 when
 *         @p pBuffer or @p pFormat is NULL or @p sizeOfBuffer is 0.
 */
int _snprintf_s(char* pBuffer, size_t sizeOfBuffer, size_t count, const char* pFormat, ...) QVISO_PRINTF_LIKE(4, 5);

/**
 * The text of the low 32 bits of @p value.
 * @param radix  2, 8 or 16 (lower-case digits); every other value gives decimal digits. In radix 2 the value 0 is an
 *               empty text.
 * @return 22 when @p str is NULL or @p sizeOfstr is 0; 34 when the text and its zero do not fit.
 */
errno_t _ultoa_s(unsigned long value, char* str, size_t sizeOfstr, int radix);

/** As _ultoa_s, but signed in decimal; the other radixes show the two's complement digits of the 32 bits. */
errno_t _ltoa_s(long value, char* str, size_t sizeOfstr, int radix);

/* ---- Wide texts ---- */

/** As strcpy_s. */
errno_t wcscpy_s(wchar_t* strDestination, size_t sizeInWords, const wchar_t* strSource);

/** As strcat_s. */
errno_t wcscat_s(wchar_t* strDestination, size_t sizeInWords, const wchar_t* strSource);

/**
 * wcsncpy. Unlike in strncpy_s, @p count is not compared with the size: the caller sees to it that @p count elements
 * fit. Adds no terminating zero when the source has @p count or more characters.
 * @return 22 when a pointer is NULL or @p sizeInWords is 0.
 */
errno_t wcsncpy_s(wchar_t* strDest, size_t sizeInWords, const wchar_t* strSource, size_t count);

/**
 * wcsncat. Lengths are not compared with the size: the caller sees to it that the result fits.
 * @return 22 when a pointer is NULL or @p sizeInWords is 0.
 */
errno_t wcsncat_s(wchar_t* strDest, size_t sizeInWords, const wchar_t* strSource, size_t count);

/** wcstok. Checks nothing: only @p strToken may be NULL, to go on with the text that @p context remembers. */
wchar_t* wcstok_s(wchar_t* strToken, const wchar_t* strDelimit, wchar_t** context);

/**
 * Sets every character of the text to @p c and keeps its terminating zero.
 * @return 22 when @p str is NULL or @p sizeInWords is 0; the size is not used otherwise.
 */
errno_t _wcsset_s(wchar_t* str, size_t sizeInWords, wchar_t c);

/**
 * Sets the first @p count elements to @p c, past the end of the text too. @p count is not compared with the size: the
 * caller sees to it that @p count elements are there.
 * @return 22 when @p str is NULL or @p sizeInWords is 0.
 */
errno_t _wcsnset_s(wchar_t* str, size_t sizeInWords, wchar_t c, size_t count);

/* ---- Files ---- */

/**
 * Makes an empty file with a unique name in the current directory, readable and writable by its owner only.
 * @param[out] pBuffer      the file's name: @p sizeInBytes - 6 times 't' and six characters that make it unique. All
 *                          of @p sizeInBytes is name: the byte that follows must be there and be zero already.
 * @param      sizeInBytes  the length of the name, 7 or more
 * @return 22 when @p pBuffer is NULL or @p sizeInBytes is 6 or less; -1 when the file could not be made (errno tells).
 */
errno_t tmpnam_s(char* pBuffer, size_t sizeInBytes);

/**
 * fopen. @p ppFile receives the stream, NULL when the file could not be opened.
 * @return 22 when a pointer is NULL; the errno of fopen when it failed.
 */
errno_t fopen_s(FILE** ppFile, const char* pFilename, const char* pMode);

/**
 * open. @p pfh receives the descriptor, -1 when the file could not be opened.
 * @param oflag   the flags of open, and also the permission bits of a file that is made
 * @param shflag  ignored
 * @param pmode   ignored
 * @return 22 when @p pfh or @p pFilename is NULL; the errno of open when it failed.
 */
errno_t _sopen_s(int* pfh, const char* pFilename, int oflag, int shflag, int pmode);

/* ---- Environment. No other thread may change the environment meanwhile. ---- */

/**
 * Reads an environment variable.
 * @param[out] pReturnValue  the size of the value with its zero; 0 when there is no such variable
 * @param[out] pBuffer       the value; emptied when there is no such variable. NULL with size 0 asks for the size only.
 * @return 22 when @p pReturnValue is NULL, when only one of @p pBuffer and @p sizeInBytes is given, or when @p pVarName
 *         is NULL; 34 when the value does not fit (@p pReturnValue is set); 0 otherwise, also without such a variable.
 */
errno_t getenv_s(size_t* pReturnValue, char* pBuffer, size_t sizeInBytes, const char* pVarName);

/**
 * Copies an environment variable.
 * @param[out] ppBuffer      the value, to be released with free; NULL on failure
 * @param[out] pSizeInBytes  its size with the zero. Must not be NULL: it is not checked.
 * @return 22 when @p ppBuffer or @p pVarName is NULL (nothing is written), and when there is no such variable: here
 *         that is an error; 12 when memory is out.
 */
errno_t _dupenv_s(char** ppBuffer, size_t* pSizeInBytes, const char* pVarName);

/* ---- Time ---- */

/**
 * The text of a time in local time, such as "Thu Jan  1 00:00:00 1970\n".
 * @param sizeInBytes  26 or more
 * @return 22 when @p pBuffer is NULL or @p sizeInBytes is 0 (nothing is written), and when @p sizeInBytes is below 26
 *         or @p pTime is NULL or negative; -1 when the time has no such text. Except in the first case the buffer is
 *         emptied on failure.
 */
errno_t ctime_s(char* pBuffer, size_t sizeInBytes, const time_t* pTime);

/**
 * The text of a broken-down time; see ctime_s, whose results it shares.
 * 22 also stands for a field out of range: seconds 0..59 (no leap second), minutes 0..59, hours 0..23, day of the month
 * 1..31, month 0..11, year 0 and up, day of the week 0..6, day of the year 0..365.
 */
errno_t asctime_s(char* pBuffer, size_t sizeInBytes, const struct tm* pTM);

/**
 * Breaks a time down into local time. Mind the order of the arguments.
 * @return 22 when a pointer is NULL; -1 when the time is too far away.
 */
errno_t localtime_s(struct tm* pTM, const time_t* pTime);

/**
 * The seconds by which local time is now ahead of UTC: positive east of Greenwich, daylight saving included.
 * @return 22 when @p pSeconds is NULL; -1 when the local time is not known.
 */
errno_t _get_timezone(long* pSeconds);

#ifdef __cplusplus
}
#endif

#undef QVISO_PRINTF_LIKE

#endif
