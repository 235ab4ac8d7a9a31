/** @file Words.h  The words of a scenario's line, and texts written so that a line can hold them. */
#ifndef WORDS_H
#define WORDS_H

#include <map>
#include <string>
#include <vector>

namespace golden {

/**
 * One word: `name=lead"text"`. The name is optional; so is the quoted part, which may be repeated and continued:
 * `"ab"*3+"c"`. A lead without quotes is a bare word.
 */
struct Word {
    std::string name;
    std::string lead;
    std::string text;
    bool        quoted = false;

    const std::string& bare() const { return lead; }
    /** What stands for the word as a text, quoted or not. */
    const std::string& value() const { return quoted ? text : lead; }
};

using Variables = std::map<std::string, std::string>;

/** Takes a line apart; $NAME stands for a variable. Throws std::runtime_error for what is no line. */
std::vector<Word> wordsOf(const std::string& line, const Variables& variables);

/** A text between quotes: escapes for what is not printable, `"b"*300000` for long runs. */
std::string inQuotes(const std::string& text);

/** @param words  only where no letter or digit adjoins: a port's digits may turn up in a cipher text */
void replaceAll(std::string& text, const std::string& from, const std::string& to, bool words = false);

/** One transcript line of anything: line feeds within are "\n"; variables' values become their names again. */
std::string lineOf(std::string text, const Variables& variables);

inline bool startsWith(const std::string& text, const std::string& start)
{
    return text.rfind(start, 0) == 0;
}

}  // namespace golden

#endif
