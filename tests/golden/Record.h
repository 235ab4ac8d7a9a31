/**
 * @file Record.h
 * What a call did, as items: what follows from rules is checked and left out.
 *
 * The rules: entry and exit lines pair and nest under the operation's name; an option that is set is told right behind
 * it; what a write function says of the sizes it got adds up to what the service sent.
 */
#ifndef RECORD_H
#define RECORD_H

#include <string>
#include <vector>

namespace golden {

/** One thing that happened, @p depth operations deep. */
struct Item {
    std::size_t depth;
    std::string text;

    bool operator==(const Item& other) const { return depth == other.depth && text == other.text; }
};
using Items = std::vector<Item>;

/** An operation that told its entry, with what happened in it; or, without a name, one thing that happened. */
struct Node {
    std::string       name, text;
    std::vector<Node> inner;
};

/** Puts what was noted during a call into the shape of the operations in it. */
Node nodeOf(const std::string& operation, const std::vector<std::string>& notes);

/** The name in an operation's first line; empty for any other text. */
std::string nameInEntry(const std::string& text);

/** Items as lines of a file, and back: runs of options, and the lines of a request, stand in one line each. */
std::vector<std::string> linesOf(const Items& items);
Items                    itemsOf(const std::vector<std::string>& lines);

}  // namespace golden

#endif
