/** @file Cases.h  Tables of cases that stand beside their tests in a text file: a section a table, a line a case. */
#ifndef CASES_H
#define CASES_H

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace cases {

using Row = std::vector<std::string>;

/** Without the blanks around it; \n \r \t are what they are in C, and \_ is a blank that counts. */
inline std::string cellOf(const std::string& text)
{
    std::string cell;
    const auto  end = text.find_last_not_of(' ') + 1;
    for (std::size_t at = std::min(text.find_first_not_of(' '), end); at < end; ++at)
        cell += text[at] != '\\' ? text[at] : "\n\r\t "[std::string("nrt_").find(text.at(++at))];
    return cell;
}

/** The rows below "== SECTION" in @p file, "|" between their cells. A line that begins with "# " is a comment. */
inline std::vector<Row> rowsOf(const std::string& file, const std::string& section)
{
    std::ifstream    lines(file);
    std::vector<Row> rows;
    bool             here = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("== ", 0) == 0) here = line.substr(3) == section;
        if (!here || line.empty() || line.rfind("== ", 0) == 0 || line.rfind("# ", 0) == 0) continue;
        rows.emplace_back();
        for (std::size_t at = 0, bar = 0; bar != line.npos; at = bar + 1)
            bar = line.find('|', at), rows.back().push_back(cellOf(line.substr(at, bar - at)));
    }
    if (rows.empty()) throw std::runtime_error(file + " has no cases for " + section);
    return rows;
}

#ifdef CASES  // the test program's own file
inline std::vector<Row> casesOf(const std::string& section)
{
    return rowsOf(CASES, section);
}
#endif

/** Bytes written as hexadecimal digits, blanks between them at will. */
template <class Bytes = std::vector<std::uint8_t>>
Bytes bytesOf(const std::string& text)
{
    Bytes       bytes;
    std::string digits;
    for (const char c : text) {
        if (c != ' ') digits += c;
        if (digits.size() < 2) continue;
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits, nullptr, 16)));
        digits.clear();
    }
    return bytes;
}

}  // namespace cases

#endif
