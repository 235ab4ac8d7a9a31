/** @file Scenario.h  One case of a scenario file: what the BMC will answer, the calls, and what they did. */
#ifndef SCENARIO_H
#define SCENARIO_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Book.h"
#include "Words.h"

namespace golden {

/** A case as it stands in its file: lines without transcript. */
struct Case {
    std::string              title;
    std::vector<std::string> prelude;  ///< the file's lines before its first case: they open every case
    std::vector<std::string> lines;
};

/** What came of a call. */
struct Said {
    std::string              operation;  ///< none for a file that is shown
    std::string              result;     ///< status and outputs
    std::vector<std::string> notes;
    std::vector<std::string> changes;  ///< in the library's variables and among the files
};

/** What the walk wants to know about the call that a scenario marks with "walk". */
struct Walked {
    std::string           operation;
    long                  status;
    std::set<long>        statuses;     ///< documented for failures
    std::set<std::string> mayBeSilent;  ///< calls whose failure needs no line in the error log
    std::size_t           newFiles;
    std::string           failed;  ///< what failed, from rig::failed()
};

struct Outcome {
    std::vector<Said>        said;        ///< by each call
    Values                   values;      ///< in the case's lines
    std::vector<std::string> complaints;  ///< what no transcript may bless: unexpected traffic, what is left
    std::optional<Walked>    walked;
    std::string              skipped;  ///< why the case could not run here
};

/**
 * Runs a case in a fresh library on a fresh bench.
 * @param failing  the walk's n-th failure; 0 for none
 * @param plain    HTTPS without TLS
 */
Outcome runCase(const Case& one, unsigned failing = 0, bool plain = false);

}  // namespace golden

#endif
