/** @file guarded.h  Keeps exceptions inside an exported function of the platform. Silent: the logger itself uses it. */
#ifndef GUARDED_H
#define GUARDED_H

#include <utility>

namespace qvplatform {

template <class Result, class Body>
Result guarded(Result onThrow, Body&& body) noexcept
{
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return onThrow;
    }
}

}  // namespace qvplatform

#endif
