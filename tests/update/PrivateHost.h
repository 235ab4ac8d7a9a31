/**
 * @file PrivateHost.h  A host of the test's own: its /tmp, /opt, system log and package database, its BMC elsewhere.
 */
#ifndef UPDATE_PRIVATEHOST_H
#define UPDATE_PRIVATEHOST_H

#include <string>
#include <vector>

namespace privatehost {

/** Where a test keeps what is not the host's: packages, keys, the simulator. */
inline constexpr char kBench[] = "/opt/bench";
inline constexpr char kHome[]  = "/opt/zelmar/kappel/Oxa";

/** Leaves this machine's mounts behind, once in a process. @return why that is impossible; empty when it was done */
const std::string& enter();

/** What processes wrote to the system's log since the last call. */
std::vector<std::string> systemLog();

}  // namespace privatehost

#endif
