/** @file VorskCommands.h  The BMC's command line: "vorsk get ..." and "vorsk set ...". */
#ifndef TORVOSIM_VORSKCOMMANDS_H
#define TORVOSIM_VORSKCOMMANDS_H

#include <string>
#include <string_view>

#include "Bmc.h"

namespace torvosim {

struct CommandResult {
    std::int32_t status = 0;
    std::string  output;
};

CommandResult runVorskCommand(Bmc& bmc, std::string_view line);
/** "vorsk set torvo.users.<slot>.<attribute> <value>" alone: what the user database's own verb takes. */
CommandResult runUserSet(Bmc& bmc, std::string_view line);

/** @p line with the value of a password replaced, for the trace. */
std::string withoutPassword(std::string_view line);

}  // namespace torvosim

#endif
