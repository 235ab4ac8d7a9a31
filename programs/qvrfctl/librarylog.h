/**
 * @file librarylog.h  Listens to the debug print of the library and the platform, which names the cause of a failure.
 */
#ifndef QVRFCTL_LIBRARYLOG_H
#define QVRFCTL_LIBRARYLOG_H

#include <string>
#include <vector>

namespace qvrfctl {

/** The newest lines at error level, oldest first, without secrets. */
std::vector<std::string> libraryErrors();

/** What follows @p opening in the newest error line that begins with it; empty when there is none. */
std::string newestLibraryError(const std::string& opening);

/** While one lives, all lines of both levels are kept. There is one at a time. */
class LibraryTrace {
public:
    LibraryTrace();
    ~LibraryTrace();
    LibraryTrace(LibraryTrace&&) = delete;

    /** As they came, with the secrets that they have: not to be shown as it is. */
    std::string text() const;
};

}  // namespace qvrfctl

#endif
