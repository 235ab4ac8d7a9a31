/** @file report.h  What a run tells: a line for people on standard error, a document for machines. */
#ifndef QVOXASYNC_REPORT_H
#define QVOXASYNC_REPORT_H

#include <nlohmann/json.hpp>

#include "options.h"

namespace qvoxasync {

/** A failure on one line: what it is, and what to do. */
void report(const Failure& failure) noexcept;

/** @throws Failure when standard output did not take what was written to it */
void finishOutput();

/**
 * The document of a run: action, outcome, status and exit, then @p facts; message and advice with a @p failure.
 * @throws Failure as finishOutput
 */
void printDocument(const Options& options, const char* outcome, s32 status, ExitStatus exit,
                   const nlohmann::ordered_json& facts, const Failure* failure);

}  // namespace qvoxasync

#endif
