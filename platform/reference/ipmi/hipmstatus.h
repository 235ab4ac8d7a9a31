/** @file hipmstatus.h  Results of the pass-through operations, and what the library says when one fails. */
#ifndef HIPMSTATUS_H
#define HIPMSTATUS_H

#include "qvtypes.h"

namespace qvplatform {

constexpr s32 kDone            = 0;
constexpr s32 kNotReached      = 1;
constexpr s32 kRefused         = 2;
constexpr s32 kKeyMissing      = 3;
constexpr s32 kValueTooLong    = 4;
constexpr s32 kInvalidArgument = 5;
constexpr s32 kOutOfMemory     = 6;

/** Logs "what: why" and keeps it as this thread's last problem. */
void reportFailure(const char* what, const char* why) noexcept;

/** Forgets this thread's last problem: the next operation has none yet. */
void forgetProblem() noexcept;

}  // namespace qvplatform

#endif
