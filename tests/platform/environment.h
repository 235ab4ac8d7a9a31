/** @file environment.h  What main() prepared before the first call into the platform. */
#ifndef ENVIRONMENT_H
#define ENVIRONMENT_H

#include "scratch.h"

/** The settings of this process name files in here: "bmc" is the BMC's socket, "token.key" the shared key. */
const Scratch& environment();

#endif
