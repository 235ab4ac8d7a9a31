/** @file qvisocppsecurecompatWide.cpp  Wide texts. */
#include <errno.h>
#include <wchar.h>

#include "qvisocppsecurecompat.h"

errno_t wcscpy_s(wchar_t* strDestination, size_t sizeInWords, const wchar_t* strSource)
{
    if (!strDestination || !strSource) return EINVAL;
    const size_t length = wcsnlen(strSource, sizeInWords);
    if (sizeInWords <= length) return ERANGE;
    wmemcpy(strDestination, strSource, length + 1);
    return 0;
}

errno_t wcscat_s(wchar_t* strDestination, size_t sizeInWords, const wchar_t* strSource)
{
    if (!strDestination || !strSource) return EINVAL;
    const size_t used = wcsnlen(strDestination, sizeInWords);
    return wcscpy_s(strDestination + used, sizeInWords - used, strSource);
}

// The three functions with a count leave its check to their callers; they refuse no more than stands here.

errno_t wcsncpy_s(wchar_t* strDest, size_t sizeInWords, const wchar_t* strSource, size_t count)
{
    if (!strDest || !strSource || sizeInWords == 0) return EINVAL;
    wcsncpy(strDest, strSource, count);
    return 0;
}

errno_t wcsncat_s(wchar_t* strDest, size_t sizeInWords, const wchar_t* strSource, size_t count)
{
    if (!strDest || !strSource || sizeInWords == 0) return EINVAL;
    wcsncat(strDest, strSource, count);
    return 0;
}

errno_t _wcsnset_s(wchar_t* str, size_t sizeInWords, wchar_t c, size_t count)
{
    if (!str || sizeInWords == 0) return EINVAL;
    wmemset(str, c, count);
    return 0;
}

errno_t _wcsset_s(wchar_t* str, size_t sizeInWords, wchar_t c)
{
    if (!str || sizeInWords == 0) return EINVAL;
    wmemset(str, c, wcslen(str));
    return 0;
}

wchar_t* wcstok_s(wchar_t* strToken, const wchar_t* strDelimit, wchar_t** context)
{
    return wcstok(strToken, strDelimit, context);
}
