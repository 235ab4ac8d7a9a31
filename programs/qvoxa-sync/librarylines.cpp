/** @file librarylines.cpp  Stands in for standard output where the library writes to it. */
#include "librarylines.h"

#include <unistd.h>

#include "qvrfutil_status.hpp"

namespace qvoxasync {
namespace {

constexpr std::string_view kHeldBack[] = {"Latest version of ", "Please check "};

bool isHeldBack(std::string_view line) noexcept
{
    for (const std::string_view beginning : kHeldBack)
        if (line.substr(0, beginning.size()) == beginning) return true;
    return false;
}

}  // namespace

LibraryLines::LibraryLines() : terminal_(::isatty(STDOUT_FILENO) == 1)
{
    std::FILE* const lines = ::fopencookie(this, "w", {nullptr, &take, nullptr, nullptr});
    if (lines == nullptr) return;  // as they are, then
    std::setvbuf(lines, nullptr, _IOLBF, BUFSIZ);
    std::fflush(stdout);
    stdout = lines;
}

LibraryLines::~LibraryLines()
{
    if (stdout == before_) return;
    std::fclose(stdout);
    stdout = before_;
    print(held_);
    print(line_);
}

ssize_t LibraryLines::take(void* self, const char* text, std::size_t size) noexcept
try {
    auto& lines = *static_cast<LibraryLines*>(self);
    lines.line_.append(text, size);
    for (auto end = lines.line_.find('\n'); end != std::string::npos; end = lines.line_.find('\n')) {
        const std::string line = lines.line_.substr(0, end + 1);
        lines.line_.erase(0, end + 1);
        if (isHeldBack(line))
            lines.held_ += line;
        else
            lines.print(line);
    }
    return static_cast<ssize_t>(size);
} catch (...) {
    return 0;  // memory is out: the line is lost
}

void LibraryLines::print(std::string_view text) noexcept
try {
    const std::string shown = terminal_ ? qvrfutil::printable(text, "\t\n") : std::string(text);
    std::fwrite(shown.data(), 1, shown.size(), before_);
} catch (...) {
    // memory is out: the line is lost, the update goes on
}

}  // namespace qvoxasync
