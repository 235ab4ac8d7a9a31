/** @file Control.h  The control words: one line in, one line of JSON out. */
#ifndef TORVOSIM_CONTROL_H
#define TORVOSIM_CONTROL_H

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "Bmc.h"
#include "ControlWords.h"

namespace torvosim {

struct ControlVerb {
    const char* name;
    const char* arguments;
    const char* meaning;
    std::size_t least;  ///< words behind the name
    std::size_t most;
    nlohmann::json (*run)(Bmc&, const Words&);  ///< words without the name; members of the answer
};

/** A whole number up to @p max. @throws ControlError naming @p what */
std::uint64_t wantNumber(const std::string& word, const char* what, std::uint64_t max = UINT64_MAX);

/** Carries out a control line. @return one line of JSON: "ok", and "error" or what was asked for. Never throws. */
std::string runControlLine(Bmc& bmc, std::string_view line);
/** Wakes whoever waits for the end, when a stop was asked for. To be called once the answer is delivered. */
void announceStop(Bmc& bmc) noexcept;
/** The verbs, for a manual page or a help text. */
std::string controlHelp();

// The verbs stand in four tables.
const std::vector<ControlVerb>& stateVerbs();
const std::vector<ControlVerb>& serverVerbs();
const std::vector<ControlVerb>& faultVerbs();
const std::vector<ControlVerb>& eventVerbs();

}  // namespace torvosim

#endif
