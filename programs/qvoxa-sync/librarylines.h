/** @file librarylines.h  What the library prints, on its way to standard output. */
#ifndef QVOXASYNC_LIBRARYLINES_H
#define QVOXASYNC_LIBRARYLINES_H

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <string_view>

namespace qvoxasync {

/**
 * While one lives, the lines that the library prints pass through it. On a terminal they are made harmless: versions in
 * them are the BMC's words. That the latest version runs is held back until drop() or the end: the library says so,
 * too, where there was nothing to compare. Programs that the library starts print beside it.
 */
class LibraryLines {
public:
    LibraryLines();
    ~LibraryLines();
    LibraryLines(LibraryLines&&) = delete;

    /** What is held back is not so. */
    void drop() noexcept { held_.clear(); }

private:
    static ssize_t take(void* self, const char* text, std::size_t size) noexcept;
    void           print(std::string_view text) noexcept;

    std::FILE* const before_ = stdout;
    const bool       terminal_;
    std::string      line_, held_;
};

}  // namespace qvoxasync

#endif
