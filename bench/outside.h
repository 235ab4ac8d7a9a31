/** @file outside.h  The clients that others wrote, each run as its users run it. */
#ifndef OUTSIDE_H
#define OUTSIDE_H

#include "bmc.h"
#include "figures.h"

namespace bench {

/** Is it installed? Whoever is not is left out, and bench/run says so. */
bool haveCurl();
bool haveSushy();
bool haveRedfishtool();

/**
 * Runs @p words in a process of its own. Its figures: "ms" and "cpuMs" of the whole process, and "peakMib" of memory.
 * @throws std::runtime_error when it fails
 */
Figures timedProcess(const Words& words);

/** The curl command with @p words behind the options that all of its uses here have. */
Words curlCommand(const Words& words, const std::string& token = {});

/** Debian's Python with a client of sushy; outside.py says which @p words there are. */
Words sushyCommand(const std::string& port, const Words& words);

/** Login, GET of a system, logout: one process each, or a shell's three. */
Words coldCurl(const std::string& port);
Words coldSushy(const std::string& port);
Words coldRedfishtool(const std::string& port);

}  // namespace bench

#endif
