/** @file hipmstatus.cpp  The failure line, and each thread's last problem. */
#include "hipmstatus.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "smsupport.h"
#include "torvotext.h"

// The debug print lives in libqvsupport, which needs this library for the KS log. A weak reference keeps that order;
// a process without libqvsupport just gets no lines.
#pragma weak __SysDbgPrint3

namespace {

thread_local std::array<char, 512> t_problem{};

}  // namespace

namespace qvplatform {

void reportFailure(const char* what, const char* why) noexcept
{
    std::snprintf(t_problem.data(), t_problem.size(), "%s: %s", what, why);
    if (__SysDbgPrint3 != nullptr) __SysDbgPrint3("[HIPM] %s: %s\n", what, why);
}

void forgetProblem() noexcept
{
    t_problem[0] = '\0';
}

}  // namespace qvplatform

extern "C" u32 QVHIPMLastProblem(astring* text, u32 size)
{
    const std::size_t length = std::strlen(t_problem.data());
    if (text != nullptr && size > 0) std::snprintf(text, size, "%s", t_problem.data());
    return static_cast<u32>(length);
}
