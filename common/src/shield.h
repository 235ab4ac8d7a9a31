/** @file shield.h  Keeps exceptions inside: around the body of every exported function and C callback. */
#ifndef SHIELD_H
#define SHIELD_H

#include <exception>
#include <utility>

#include "smsupport.h"

namespace qvrf {

/** Runs @p body; an exception is logged and becomes @p onThrow. */
template <class Result, class Body>
Result shielded(const char* op, Result onThrow, Body&& body) noexcept
{
    try {
        return std::forward<Body>(body)();
    } catch (const std::exception& e) {
        __SysDbgPrint3("%s : %s\n", op, e.what());
    } catch (...) {
        __SysDbgPrint3("%s : unknown exception\n", op);
    }
    return onThrow;
}

}  // namespace qvrf

#endif
