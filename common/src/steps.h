/** @file steps.h  An operation as a list of steps. */
#ifndef STEPS_H
#define STEPS_H

#include <cstddef>

#include "qvstatus.h"
#include "qvtypes.h"

namespace qvrf {

/** Carries out member functions of @p work in their order, until one fails. @return its status, or OXA_SUCCESS */
template <class Work, class Step, std::size_t N>
s32 carryOut(Work& work, const Step (&steps)[N]) noexcept
{
    for (const Step step : steps)
        if (const s32 status = (work.*step)(); status != OXA_SUCCESS) return status;
    return OXA_SUCCESS;
}

}  // namespace qvrf

#endif
