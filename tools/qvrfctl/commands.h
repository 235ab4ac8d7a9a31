/** @file commands.h  The commands: one row each, one file a group. */
#ifndef QVRFCTL_COMMANDS_H
#define QVRFCTL_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

#include "session.h"

namespace qvrfctl {

/** Carries the command out. @throws Failure */
using Action = std::function<void(const Context&)>;

struct Command {
    const char* name;
    const char* summary;
    const char* example;
    Action (*declare)(CLI::App& command);  ///< adds the command's arguments; what comes back outlives the parse
};

struct CommandTable {
    const Command* first;
    const Command* last;
    const Command* begin() const noexcept { return first; }
    const Command* end() const noexcept { return last; }
};
CommandTable commands() noexcept;

Action declareDiscover(CLI::App& command);
Action declareServices(CLI::App& command);
Action declareGet(CLI::App& command);
Action declarePost(CLI::App& command);
Action declarePatch(CLI::App& command);
Action declareDelete(CLI::App& command);
Action declareUpload(CLI::App& command);
Action declareEvents(CLI::App& command);
Action declareLink(CLI::App& command);
Action declareSession(CLI::App& command);
Action declareUser(CLI::App& command);
Action declareDoctor(CLI::App& command);
Action declareReport(CLI::App& command);

}  // namespace qvrfctl

#endif
