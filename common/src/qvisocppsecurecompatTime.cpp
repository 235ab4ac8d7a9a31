/** @file qvisocppsecurecompatTime.cpp  Time. */
#include <errno.h>
#include <time.h>

#include "qvisocppsecurecompat.h"

namespace {

constexpr size_t kTimeText = 26;  // "Thu Jan  1 00:00:00 1970\n" and its zero

bool within(int value, int first, int last)
{
    return value >= first && value <= last;
}

bool inRange(const tm& t)
{
    return within(t.tm_sec, 0, 59)  // callers count on 60, a leap second, being refused
           && within(t.tm_min, 0, 59) && within(t.tm_hour, 0, 23) && within(t.tm_mday, 1, 31) &&
           within(t.tm_mon, 0, 11) && t.tm_year >= 0 && within(t.tm_wday, 0, 6) && within(t.tm_yday, 0, 365);
}

bool inRange(time_t t)
{
    return t >= 0;
}

/** The road that both texts share; @p write is the C library's routine. */
template <class Time>
errno_t timeText(char* buffer, size_t size, const Time* time, char* (*write)(const Time*, char*))
{
    if (!buffer || size == 0) return EINVAL;
    buffer[0] = '\0';
    if (size < kTimeText || !time || !inRange(*time)) return EINVAL;
    if (write(time, buffer)) return 0;
    buffer[0] = '\0';  // a year of five digits leaves a piece of text behind
    return -1;
}

}  // namespace

errno_t ctime_s(char* pBuffer, size_t sizeInBytes, const time_t* pTime)
{
    return timeText(pBuffer, sizeInBytes, pTime, ctime_r);
}

errno_t asctime_s(char* pBuffer, size_t sizeInBytes, const struct tm* pTM)
{
    return timeText(pBuffer, sizeInBytes, pTM, asctime_r);
}

errno_t localtime_s(struct tm* pTM, const time_t* pTime)
{
    if (!pTM || !pTime) return EINVAL;
    return localtime_r(pTime, pTM) ? 0 : -1;
}

errno_t _get_timezone(long* pSeconds)
{
    if (!pSeconds) return EINVAL;
    const time_t now   = time(nullptr);
    struct tm    local = {};
    if (!localtime_r(&now, &local)) return -1;
    *pSeconds = local.tm_gmtoff;  // the C library's sign: seconds east of UTC
    return 0;
}
