/** @file trace.h  Entry and exit lines of an operation, written as a pair however the operation ends. */
#ifndef TRACE_H
#define TRACE_H

#include "smsupport.h"
#include "uncancelled.h"

namespace qvrf {

/** The texts of a family of operations; each takes the operation's name. */
struct TraceTexts {
    const char* entry;
    const char* exit;
};

constexpr TraceTexts kSpacedTrace{"%s : Entry.\n", "%s : Exit.\n"};
constexpr TraceTexts kPlainTrace{"%s: Entry.\n", "%s: Exit.\n"};
constexpr TraceTexts kBareEntryTrace{"%s: Entry \n", "%s: Exit.\n"};
constexpr TraceTexts kEventTrace{"[QVRFUTIL]%s : Entry.\n", "[QVRFUTIL]%s : Exit.\n"};
constexpr TraceTexts kUpdateTrace{"[AUFPI]%s: entry.\n", "[AUFPI]%s: exit.\n"};
// Of operations that tell their result at the end: it follows the name in the exit line.
constexpr TraceTexts kStatusTrace{"%s: Entry.\n", "%s: Exit with status: %d.\n"};
constexpr TraceTexts kAddressTrace{"%s: entry\n", "%s: exit, retcode=%d\n"};
constexpr TraceTexts kProbeTrace{"%s: entry\n", "%s: exit,retcode=%d\n"};

// The formats are the constants above.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
class TraceScope {
public:
    /** @param op  the operation's name, a literal: outlives the scope */
    explicit TraceScope(const char* op, const TraceTexts& texts = kSpacedTrace) noexcept : op_(op), texts_(texts)
    {
        __SysDbgPrint4(texts_.entry, op_);
    }
    ~TraceScope() { __SysDbgPrint4(texts_.exit, op_); }
    TraceScope(TraceScope&&) = delete;  // and with it every copy

private:
    const Uncancelled uncancelled_;  // the lines are written within
    const char*       op_;
    const TraceTexts& texts_;
};

/** Runs @p body between the entry line and the exit line with its result. */
template <class Body>
auto traced(const char* op, const TraceTexts& texts, const Body& body)
{
    const Uncancelled uncancelled;
    __SysDbgPrint4(texts.entry, op);
    const auto result = body();
    __SysDbgPrint4(texts.exit, op, static_cast<int>(result));
    return result;
}
#pragma GCC diagnostic pop

}  // namespace qvrf

#endif
