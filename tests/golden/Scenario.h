/** @file Scenario.h  One case of a scenario file: what the BMC will answer, the calls, and what they did. */
#ifndef SCENARIO_H
#define SCENARIO_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Words.h"

namespace golden {

/** A case as it stands in its file: lines without transcript. */
struct Case {
    std::string              title;
    std::vector<std::string> prelude;  ///< the file's lines before its first case: they open every case
    std::vector<std::string> lines;
};

/** A file taken apart; transcripts are left out. */
struct File {
    std::vector<std::string> prelude;
    std::vector<Case>        cases;
};
File readFile(const std::string& path);

/** What the walk wants to know about the call that a scenario marks with "walk". */
struct Walked {
    std::string           operation;
    long                  status;
    std::set<long>        statuses;     ///< documented for failures
    std::set<std::string> mayBeSilent;  ///< calls whose failure needs no line in the error log
    std::size_t           newFiles;
    std::string           failed;  ///< what failed, from bench::failed()
    bool                  errorLogged;
};

struct Outcome {
    std::vector<std::string> text;        ///< the case's lines with a fresh transcript behind each call
    std::vector<std::string> complaints;  ///< what no transcript may bless: unexpected traffic, what is left
    std::optional<Walked>    walked;
    std::string              skipped;  ///< why the case could not run here
    std::size_t              calls = 0;
};

/**
 * Runs a case in a fresh library on a fresh bench.
 * @param failing  the walk's n-th failure; 0 for none
 * @param plain    HTTPS without TLS
 */
Outcome runCase(const Case& one, unsigned failing = 0, bool plain = false);

}  // namespace golden

#endif
