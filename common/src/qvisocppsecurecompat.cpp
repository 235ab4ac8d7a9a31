/** @file qvisocppsecurecompat.cpp  Memory, narrow texts and formatting. */
#include "qvisocppsecurecompat.h"

#include <errno.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <charconv>

namespace {

constexpr size_t kTopBit = ~(SIZE_MAX >> 1);

constexpr int kDecimal = 10;

int digitsRadix(int radix)
{
    return radix == 2 || radix == 8 || radix == 16 ? radix : kDecimal;
}

template <class Number>
errno_t numberText(Number value, char* str, size_t sizeOfstr, int radix)
{
    char  text[32];  // the longest text: 32 binary digits
    char* end = text;
    // A zero has no binary digits, not even one: callers rely on the empty text.
    if (value != 0 || radix != 2) end = std::to_chars(text, text + sizeof text, value, digitsRadix(radix)).ptr;

    const auto length = static_cast<size_t>(end - text);
    if (sizeOfstr <= length) return ERANGE;
    memcpy(str, text, length);
    str[length] = '\0';
    return 0;
}

}  // namespace

errno_t OXAmemcpy_s(void* pDestBuff, size_t sizeOfDestBuff, const void* pSrcBuff, size_t count)
{
    if (!pDestBuff || !pSrcBuff) return EINVAL;
    if (sizeOfDestBuff == 0 || sizeOfDestBuff < count || count == 0) return ERANGE;
    memcpy(pDestBuff, pSrcBuff, count);
    return 0;
}

errno_t OXAmemset_s(void* pDestBuff, size_t sizeOfDestBuff, int ch, size_t count)
{
    if (!pDestBuff) return EINVAL;
    if ((sizeOfDestBuff | count) & kTopBit) return EINVAL;
    if (sizeOfDestBuff < count) return EINVAL;
    std::fill_n(static_cast<unsigned char*>(pDestBuff), count, static_cast<unsigned char>(ch));
    return 0;
}

errno_t strcpy_s(char* strDestination, size_t sizeInBytes, const char* strSource)
{
    if (!strDestination || !strSource) return EINVAL;
    const size_t length = strnlen(strSource, sizeInBytes);
    if (sizeInBytes <= length) return ERANGE;
    memcpy(strDestination, strSource, length + 1);
    return 0;
}

errno_t strncpy_s(char* strDest, size_t sizeInBytes, const char* strSource, size_t count)
{
    if (!strDest || !strSource || sizeInBytes <= count) return EINVAL;
    strncpy(strDest, strSource, count);
    return 0;
}

errno_t strcat_s(char* strDestination, size_t sizeInBytes, const char* strSource)
{
    if (!strDestination || !strSource) return EINVAL;
    const size_t used = strnlen(strDestination, sizeInBytes);
    return strcpy_s(strDestination + used, sizeInBytes - used, strSource);
}

errno_t strncat_s(char* strDestination, size_t sizeInBytes, const char* strSource, size_t count)
{
    if (!strDestination || !strSource) return EINVAL;
    const size_t used = strnlen(strDestination, sizeInBytes);
    if (sizeInBytes - used <= count) return ERANGE;  // not used + count, which could wrap
    strncat(strDestination, strSource, count);
    return 0;
}

errno_t strcmpcase_s(const astring* pSrc, const astring* pDest, size_t count)
{
    if (!pSrc || !pDest) return EINVAL;
    return strncasecmp(pSrc, pDest, count);
}

astring* strdup_s(const astring* pSrc)
{
    return pSrc ? strdup(pSrc) : nullptr;
}

booln OXAstrNonDigitCheck(const astring* pSrc, u32 len)
{
    if (!pSrc) return FALSE;
    // Not isdigit: a char may be negative, and that has no meaning there.
    const auto isDigit = [](astring c) { return c >= '0' && c <= '9'; };
    return std::all_of(pSrc, pSrc + len, isDigit) ? FALSE : TRUE;
}

char* strtok_s(char* strToken, const char* strDelimit, char** context)
{
    return strtok_r(strToken, strDelimit, context);
}

int sprintf_s(char* pBuffer, size_t sizeInBytes, const char* pFormat, ...)
{
    if (!pBuffer || sizeInBytes == 0 || !pFormat) return -1;
    va_list arguments;
    va_start(arguments, pFormat);
    const int length = vsnprintf(pBuffer, sizeInBytes, pFormat, arguments);
    va_end(arguments);
    if (static_cast<size_t>(length) < sizeInBytes) return length;  // the -1 of a failure widens past every size
    pBuffer[0] = '\0';
    return -1;
}

int _snprintf_s(char* pBuffer, size_t sizeOfBuffer, size_t count, const char* pFormat, ...)
{
    if (!pBuffer || sizeOfBuffer == 0 || !pFormat) return -1;
    va_list arguments;
    va_start(arguments, pFormat);
    // The bound is count, not the smaller of both: callers rely on count alone.
    const int length = vsnprintf(pBuffer, count, pFormat, arguments);
    va_end(arguments);
    return length;
}

errno_t _ultoa_s(unsigned long value, char* str, size_t sizeOfstr, int radix)
{
    if (!str || sizeOfstr == 0) return EINVAL;
    return numberText(static_cast<u32>(value), str, sizeOfstr, radix);
}

errno_t _ltoa_s(long value, char* str, size_t sizeOfstr, int radix)
{
    if (!str || sizeOfstr == 0) return EINVAL;
    const auto bits = static_cast<u32>(value);
    if (digitsRadix(radix) != kDecimal) return numberText(bits, str, sizeOfstr, radix);
    return numberText(static_cast<s32>(bits), str, sizeOfstr, radix);
}
