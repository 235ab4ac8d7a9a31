/** @file hipmstatus.h  Results of the pass-through operations, and the library's failure lines. */
#ifndef HIPMSTATUS_H
#define HIPMSTATUS_H

#include <cstdio>

#include "smsupport.h"

// The debug print lives in libqvsupport, which needs this library for the KS log. A weak reference keeps that order;
// a process without libqvsupport just gets no lines.
#pragma weak __SysDbgPrint3

namespace qvplatform {

constexpr s32 kDone            = 0;
constexpr s32 kNotReached      = 1;
constexpr s32 kRefused         = 2;
constexpr s32 kKeyMissing      = 3;
constexpr s32 kValueTooLong    = 4;
constexpr s32 kInvalidArgument = 5;
constexpr s32 kOutOfMemory     = 6;

inline void reportFailure(const char* what, const char* why) noexcept
{
    if (__SysDbgPrint3 != nullptr) __SysDbgPrint3("[HIPM] %s: %s\n", what, why);
}

}  // namespace qvplatform

#endif
