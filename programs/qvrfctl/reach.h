/** @file reach.h  Whether the BMC is there at all, asked before anything that cannot tell its silence from a "no". */
#ifndef QVRFCTL_REACH_H
#define QVRFCTL_REACH_H

#include "qvtypes.h"

namespace qvrfctl {

/**
 * Whether the status of a first exchange means that nobody answered. A driver whose BMC is silent answers for it, with
 * completion code C3 (timeout).
 */
bool isSilence(s32 status) noexcept;

/** One exchange: whether it was answered, whatever the answer. */
bool answersOverIpmi() noexcept;

/** @throws Failure when it was not */
void needAnswerOverIpmi();

}  // namespace qvrfctl

#endif
