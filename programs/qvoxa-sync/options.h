/** @file options.h  The command line. */
#ifndef QVOXASYNC_OPTIONS_H
#define QVOXASYNC_OPTIONS_H

#include <optional>
#include <string>

#include "outcome.h"

namespace qvoxasync {

struct Options {
    Action                     action   = Action::update;
    bool                       silent   = false;
    bool                       force    = false;
    bool                       json     = false;
    bool                       exitCode = false;  ///< that there is nothing to do shows in the exit status
    std::optional<std::string> installArguments;
    std::string                directory;  ///< of a download
};

/**
 * @param[out] options  filled as far as the command line could be read, also before a throw
 * @return false when all there was to do is done (--help, --version)
 * @throws Failure for a wrong command line
 */
bool parse(int argc, const char* const* argv, Options& options);

}  // namespace qvoxasync

#endif
