/** @file Sheet.h  A scenario file: cases, tables of cases, and what the rig writes behind and below their calls. */
#ifndef SHEET_H
#define SHEET_H

#include <string>
#include <vector>

#include "Book.h"
#include "Scenario.h"

namespace golden {

struct Row {
    std::string              title;
    std::vector<std::string> cells;
};

/** A case, or a table: a template of cases, each of whose rows is one, once for each variant. */
struct Group {
    std::string                           title;
    std::vector<std::string>              lines;
    std::vector<std::string>              names;         ///< of variants: "for $method $data = GET null | POST "{}""
    std::vector<std::vector<std::string>> variants{{}};  ///< their values; one without any when there is no such line
    std::vector<std::string>              columns;       ///< "$answer"
    std::vector<Row>                      rows;
    bool                                  table = false;

    /** The case of a row in a variant; without columns there is the one. */
    Case caseOf(const std::vector<std::string>& prelude, std::size_t row, std::size_t variant) const;
};

/** A base as it stands in a file. */
struct Written {
    std::string              operation, title;
    std::vector<std::string> lines;
};

struct Sheet {
    std::vector<std::string> prelude;
    std::vector<Group>       groups;
    std::vector<Written>     bases;
};
Sheet readSheet(const std::string& path);

/** Runs it. @return the file as it should read; @p wrong tells what no text may bless, @p skipped why it cannot run */
std::string textOf(const Sheet& sheet, const std::string& file, Book& book, std::vector<std::string>& wrong,
                   std::string& skipped);

}  // namespace golden

#endif
