/** @file Control.h  The control words: one line in, one line of JSON out. */
#ifndef TORVOSIM_CONTROL_H
#define TORVOSIM_CONTROL_H

#include <array>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <utility>
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

template <class Value, std::size_t N>
using Choices = std::array<std::pair<const char*, Value>, N>;

/** What @p word stands for. @throws ControlError naming the words that there are */
template <class Value, std::size_t N>
Value wantChoice(const std::string& word, const Choices<Value, N>& choices)
{
    std::string names;
    for (const auto& [name, value] : choices) {
        if (word == name) return value;
        names += (names.empty() ? "" : ", ") + std::string(name);
    }
    throw ControlError("'" + word + "' is not one of " + names);
}

/** Carries out a control line. @return one line of JSON: "ok", and "error" or what was asked for. Never throws. */
std::string runControlLine(Bmc& bmc, std::string_view line);
/** Wakes whoever waits for the end, when a stop was asked for. To be called once the answer is delivered. */
void announceStop(Bmc& bmc) noexcept;
/** The verbs, for a manual page or a help text. */
std::string controlHelp();

// The verbs stand in five tables.
const std::vector<ControlVerb>& stateVerbs();
const std::vector<ControlVerb>& serverVerbs();
const std::vector<ControlVerb>& updateVerbs();
const std::vector<ControlVerb>& faultVerbs();
const std::vector<ControlVerb>& eventVerbs();

}  // namespace torvosim

#endif
