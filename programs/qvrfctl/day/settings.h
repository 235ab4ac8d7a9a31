/** @file settings.h  The file that says what the options are when the command line does not. */
#ifndef QVRFCTL_DAY_SETTINGS_H
#define QVRFCTL_DAY_SETTINGS_H

#include <string>

namespace qvrfctl {

struct Options;

/**
 * Reads $XDG_CONFIG_HOME/qvrfctl, else ~/.config/qvrfctl, where there is one: lines "name=value", and comments with
 * "#". As it can lead a login elsewhere, one of another user is left out, and one that others may write is an error.
 * @return what there is to say about it with --verbose; mostly nothing
 * @throws Failure(kExitUsage) that names the line
 */
std::string readSettings(Options& options);

}  // namespace qvrfctl

#endif
