/** @file PrivateHost.h  A host of the test's own: its /tmp, /opt, system log and package database, its BMC elsewhere.
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

/** Mounts an empty file system of @p size ("64k") over @p directory, which is made. */
void mountSmall(const std::string& directory, const std::string& size);

/** Makes @p file another path of the program @p program: started there, it takes itself to lie there. */
void placeProgram(const std::string& program, const std::string& file);

/** Waits until every process that the test started has ended, those too whose parent was killed. */
void awaitProcesses() noexcept;

/** What processes wrote to the system's log since the last call, without the time. */
std::vector<std::string> systemLog();

}  // namespace privatehost

#endif
