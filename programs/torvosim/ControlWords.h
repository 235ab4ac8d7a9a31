/** @file ControlWords.h  A control line as words: taken apart, put together, its escapes. Pure text. */
#ifndef TORVOSIM_CONTROLWORDS_H
#define TORVOSIM_CONTROLWORDS_H

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace torvosim {

using Words = std::vector<std::string>;

/** What is wrong with a control line. */
struct ControlError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** Splits at blanks; double quotes keep blanks together, and inside them \" and \\ stand for one character. */
Words splitWords(std::string_view line);
/** The inverse of splitWords. */
std::string joinWords(const Words& words);
/** Replaces \r \n \t \0 \\ and \xHH. @throws ControlError */
std::string unescaped(std::string_view text);

}  // namespace torvosim

#endif
