/** @file configuration.h  The reference platform's word on its configuration: no part of the contract. */
#ifndef CONFIGURATION_H
#define CONFIGURATION_H

#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * What this process's platform takes its settings from and what is wrong with that, as lines of "key=value" for
 * programs that look the function up by its name: "file" that counts, "problem" (nothing is reached then) or any number
 * of "complaint", and the settings "hipm.endpoint", "suptlib.logfile" (while the debug print is on) and
 * "secure.tokenkey". Lines without a value are left out.
 * @param[out] text  as much as fits into @p size bytes, terminated
 * @return the length of all of it; 0 when memory is out
 */
u32 QVPlatformConfiguration(astring* text, u32 size);

#ifdef __cplusplus
}
#endif

#endif
