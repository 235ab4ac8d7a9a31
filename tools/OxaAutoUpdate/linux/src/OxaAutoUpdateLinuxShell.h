/** @file OxaAutoUpdateLinuxShell.h  The one door to the system's shell. */
#ifndef OXAAUTOUPDATELINUXSHELL_H
#define OXAAUTOUPDATELINUXSHELL_H

#include <string_view>

#include "owners.h"

namespace qvrf {

/** The characters that mean nothing to the shell. */
inline constexpr std::string_view kShellPlain =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./+-,:@%";

/**
 * A path as one word for the shell: as it is when it is made of plain characters alone, else in single quotes. Empty
 * when memory is out.
 */
SmOwned<astring> shellQuoted(std::string_view path) noexcept;

/**
 * Runs a command for the operation @p op. What this process printed so far comes first. A command whose end cannot be
 * learnt (no process to be had, or a host that ignores SIGCHLD) is logged.
 * @return what system() returns
 */
int runShell(const char* op, const char* command) noexcept;

}  // namespace qvrf

#endif
