/** @file OxaAutoUpdateLinuxShell.h  Commands for the system's shell. */
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

/** Runs a command. What was printed so far comes first. @return what system() returns */
int runShell(const char* command) noexcept;

}  // namespace qvrf

#endif
