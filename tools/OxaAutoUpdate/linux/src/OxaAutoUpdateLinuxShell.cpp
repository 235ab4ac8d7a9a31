/** @file OxaAutoUpdateLinuxShell.cpp  The one door to the system's shell. */
#include "OxaAutoUpdateLinuxShell.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "OxaAutoUpdateUtilsText.h"

namespace qvrf {

SmOwned<astring> shellQuoted(std::string_view path) noexcept
{
    if (!path.empty() && path.find_first_not_of(kShellPlain) == path.npos) return smCopy(path);
    constexpr std::string_view kQuote = "'\\''";  // out of the quotes, a quote, into the quotes
    SmOwned<astring>           quoted = smText(static_cast<u32>(path.size() * kQuote.size() + sizeof "''"));
    if (!quoted) return nullptr;
    astring* to = quoted.get();
    *to++       = '\'';
    for (const char c : path) {
        const std::string_view piece = c == '\'' ? kQuote : std::string_view(&c, 1);
        to += piece.copy(to, piece.size());
    }
    *to = '\'';
    return quoted;
}

int runShell(const char* op, const char* command) noexcept
{
    std::fflush(stdout);
    errno            = 0;
    const int status = std::system(command);
    if (status != -1) return status;
    // Not the command itself: arguments of an installer may be nobody else's business.
    const char* const why = errno != 0 ? std::strerror(errno) : "nothing is known of its end";
    __SysDbgPrint3("%s: a command could not be run: %s\n", op, why);
    return status;
}

}  // namespace qvrf
