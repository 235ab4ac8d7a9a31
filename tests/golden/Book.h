/**
 * @file Book.h
 * What each operation does on its way to success, once: its base. Every other run is told as its difference from one.
 *
 * A value that differs (a name, a number, an address) is explained when it comes from the case: from what the BMC was
 * scripted to answer, the arguments, the status or an output. Anything else that differs is part of the difference.
 */
#ifndef BOOK_H
#define BOOK_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "Record.h"

namespace golden {

/** The words and numbers that a case's lines explain. */
using Values = std::set<std::string>;
void addValues(Values& values, const std::string& text);

class Book {
public:
    /** @param own  the file whose bases are being written: its own are forgotten as they are replaced */
    explicit Book(std::string own) : own_(std::move(own)) {}

    /** Adds a base as it stands in @p file. @param fresh  as it is being written, not as it was */
    void add(const std::string& file, const std::string& operation, const std::string& title,
             const std::vector<std::string>& lines, bool fresh = true);
    /** The lines of a run that becomes a base of its operation. */
    std::vector<std::string> baseOf(const Node& run, const Values& values);
    /**
     * How a run differs from the base that is most like it; empty when that base explains it all.
     * @param mine  the title of the base that goes without saying; otherwise the operation's first does
     */
    std::vector<std::string> difference(const std::string& operation, const std::string& mine, const Node& run,
                                        const Values& values);

private:
    struct Base {
        std::string file, title;
        bool        home;  ///< of a case that calls the operation itself
        bool        fresh;
        Items       items;
    };
    std::vector<const Base*> basesOf(const std::string& operation) const;
    bool                     hasOwnCases(const std::string& operation) const;
    Items                    flat(const Node& node, std::size_t depth, const Values& values) const;
    Items                    inner(const Node& node, std::size_t depth, const Values& values) const;
    std::vector<std::string> closest(const std::string& operation, const std::string& mine, const Items& items,
                                     const Values& values, bool& known, bool within) const;
    void                     addInner(const std::string& file, const Items& items, bool fresh);

    const std::string                        own_;
    bool                                     writing_ = false;  ///< a base, which knows what stands above it alone
    std::map<std::string, std::vector<Base>> bases_;
};

}  // namespace golden

#endif
