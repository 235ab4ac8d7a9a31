/** @file actions.h  What the tool can do. */
#ifndef QVOXASYNC_ACTIONS_H
#define QVOXASYNC_ACTIONS_H

#include <nlohmann/json.hpp>
#include <string>

#include "options.h"

namespace qvoxasync {

struct Result {
    s32                    status  = 0;  ///< of the library
    const char*            outcome = "done";
    std::string            reason  = {};  ///< more than the status tells, of a failure
    nlohmann::ordered_json facts   = nlohmann::ordered_json::object();
};

/** Carries the action out; the library prints its lines on standard output. */
Result perform(const Options& options);

}  // namespace qvoxasync

#endif
