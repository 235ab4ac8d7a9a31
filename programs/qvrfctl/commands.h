/** @file commands.h  The commands: one row each, one file a group. */
#ifndef QVRFCTL_COMMANDS_H
#define QVRFCTL_COMMANDS_H

#include <functional>

#include "arguments.h"
#include "session.h"

namespace qvrfctl {

/** Carries the command out. @throws Failure */
using Action = std::function<void(const Context&)>;

struct Command {
    const char* name;
    const char* summary;
    const char* example;
    Action (*declare)(Arguments arguments);  ///< what comes back outlives the parse
};

struct CommandTable {
    const Command* first;
    const Command* last;
    const Command* begin() const noexcept { return first; }
    const Command* end() const noexcept { return last; }
};
CommandTable commands() noexcept;

Action declareDiscover(Arguments arguments);
Action declareServices(Arguments arguments);
Action declareGet(Arguments arguments);
Action declarePost(Arguments arguments);
Action declarePatch(Arguments arguments);
Action declareDelete(Arguments arguments);
Action declareUpload(Arguments arguments);
Action declareEvents(Arguments arguments);
Action declareLink(Arguments arguments);
Action declareSession(Arguments arguments);
Action declareUser(Arguments arguments);
Action declareDoctor(Arguments arguments);
Action declareReport(Arguments arguments);

}  // namespace qvrfctl

#endif
