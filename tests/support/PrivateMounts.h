/** @file PrivateMounts.h  Mounts that this process and its children alone see.
 * Everything here throws std::runtime_error. */
#ifndef PRIVATEMOUNTS_H
#define PRIVATEMOUNTS_H

#include <string>

namespace privatemounts {

void must(bool done, const std::string& what);  ///< with what errno says

/** @param more  other namespaces to enter as well: CLONE_NEWNET */
void enter(int more = 0);
void bind(const std::string& from, const std::string& to, unsigned long flags = 0);
/** An empty file system over @p directory. A checkout or a build that lies below it stays in sight. */
void empty(const std::string& directory, const std::string& options);

}  // namespace privatemounts

#endif
