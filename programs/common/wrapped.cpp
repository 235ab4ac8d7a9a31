/** @file wrapped.cpp  Breaks lines at blanks. */
#include "wrapped.h"

#include <algorithm>
#include <sstream>

namespace qvtools {
namespace {

constexpr std::size_t kColumns    = 80;
constexpr std::size_t kMostIndent = 50;  // behind it a column is too narrow to read

/** Where the text of "  --option TEXT    what it is" begins that goes on below itself: its last column. */
std::size_t columnOf(const std::string& line)
{
    const auto first = std::min(line.find_first_not_of(' '), line.size());
    const auto gap   = line.find("  ", first);
    const auto last  = gap == line.npos ? first : line.find_first_not_of(' ', gap);
    return last <= kMostIndent ? last : first;
}

std::string wrappedLine(std::string line)
{
    std::string       text;
    const std::size_t column = columnOf(line);
    while (line.size() > kColumns) {
        const auto blank = line.rfind(' ', kColumns);
        if (blank == line.npos || blank <= column) break;  // a word that is longer than that stays whole
        text += line.substr(0, line.find_last_not_of(' ', blank) + 1) + '\n';
        line = std::string(column, ' ') + line.substr(blank + 1);
    }
    return text + line + '\n';
}

}  // namespace

std::string wrapped(const std::string& help)
{
    std::string        text;
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) text += wrappedLine(line);
    return text;
}

}  // namespace qvtools
