/** @file screen.h  What a command shows: tables and labelled lines for people, JSON for programs,
 * questions on a terminal.
 */
#ifndef QVRFCTL_DAY_SCREEN_H
#define QVRFCTL_DAY_SCREEN_H

#include <string>
#include <vector>

#include "value.h"

namespace qvrfctl {

struct Context;

/** A column of a table; the JSON document has the same member under its key. */
struct Column {
    const char* title;
    const char* key;
    int         rank                      = 0;  ///< where the line is too long, the highest go first; 0: never
    bool        right                     = false;
    std::string (*text)(const Value& row) = nullptr;  ///< nothing: the member as it is
};

class Screen {
public:
    explicit Screen(const Context& context);

    bool isJson() const noexcept;
    bool isTerminal() const noexcept { return width_ != 0; }
    bool isNarrow() const noexcept { return width_ != 0 && width_ < 60; }

    // Each throws Failure(kExitOutput) when standard output does not take it.
    /** Aligned, cut to the terminal's width, "none" without rows; Warning is yellow and Critical red. Elsewhere whole
     * and without colour. */
    void table(const std::vector<Column>& columns, const std::vector<Value>& rows);
    /** "label:      value"; @p health gives the colour. */
    void line(const std::string& label, const std::string& value, const std::string& health = {});
    void write(const std::string& text);
    /** The document: of one round, or one of many on a line of its own. */
    void document(const Value& value);
    void record(const Value& value);
    void flush();
    /** A terminal begins anew at its top; elsewhere what comes stands below what was. */
    void redraw();

    void warning(const std::string& text) const;
    void note(const std::string& text) const;

private:
    void cells(const std::vector<std::string>& texts, const std::vector<std::size_t>& widths,
               const std::vector<Column>& columns);

    const Context& context_;
    std::size_t    width_;  ///< 0: no terminal
};

/**
 * Asks on the terminal and takes nothing but yes for it. To be told before the login: mustAsk().
 * @throws Failure(kExitUsage) when the answer is another one
 */
void ask(const std::string& question);
/** Whether the user has to be asked. @throws Failure(kExitUsage) when that is not possible: no terminal, or --json */
bool mustAsk(const Context& context, bool yes);

/** Characters that a terminal shows for @p text. */
std::size_t widthOf(const std::string& text) noexcept;

// Texts of cells.
std::string timeText(const std::string& time);       ///< in the zone of this host; as it came where it is no time
std::string shortTimeText(const std::string& time);  ///< "11-21 09:12"
std::string yesNo(const Value& flag);                ///< "-" where it is no flag
std::string orDash(const std::string& text);
/** A reading as people write it: at most 3 decimals, none that are 0. */
std::string numberText(const Value& number);
/** "State" where it is not Enabled, else "Health". */
std::string stateText(const Value& state, const Value& health);

}  // namespace qvrfctl

#endif
