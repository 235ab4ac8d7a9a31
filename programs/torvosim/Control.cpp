/** @file Control.cpp  The control words. */
#include "Control.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace torvosim {

namespace {

using Json = nlohmann::json;

std::vector<const ControlVerb*> allVerbs()
{
    std::vector<const ControlVerb*> verbs;
    for (const auto* table : {&stateVerbs(), &serverVerbs(), &updateVerbs(), &faultVerbs(), &eventVerbs()})
        for (const ControlVerb& verb : *table) verbs.push_back(&verb);
    return verbs;
}

Json helpAnswer()
{
    Json lines = Json::array();
    for (const ControlVerb* verb : allVerbs()) {
        const std::string call = std::string(verb->name) + (*verb->arguments != '\0' ? " " : "") + verb->arguments;
        lines.push_back({{"verb", call}, {"meaning", verb->meaning}});
    }
    return {{"verbs", lines}};
}

Json run(Bmc& bmc, Words words)
{
    if (words.empty()) throw ControlError("there is no control word: try help");
    const std::string name = words.front();
    words.erase(words.begin());
    if (name == "help") return helpAnswer();
    for (const ControlVerb* verb : allVerbs()) {
        if (verb->name != name) continue;
        if (words.size() < verb->least || words.size() > verb->most)
            throw ControlError(std::string("it is: ") + verb->name + ' ' + verb->arguments);
        return verb->run(bmc, words);
    }
    throw ControlError("unknown control word '" + name + "': try help");
}

}  // namespace

std::uint64_t wantNumber(const std::string& word, const char* what, std::uint64_t max)
{
    const auto number = parseNumber(word, max);
    if (!number) throw ControlError("'" + word + "' is not " + what);
    return *number;
}

std::string runControlLine(Bmc& bmc, std::string_view line)
{
    try {
        Json answer  = run(bmc, splitWords(line));
        answer["ok"] = true;
        return answer.dump(-1, ' ', false, Json::error_handler_t::replace);
    } catch (const std::exception& error) {
        return Json{{"ok", false}, {"error", error.what()}}.dump(-1, ' ', false, Json::error_handler_t::replace);
    }
}

void announceStop(Bmc& bmc) noexcept
{
    if (!bmc.stopRequested) return;
    const std::uint64_t            one     = 1;
    [[maybe_unused]] const ssize_t written = ::write(bmc.stopEvent.get(), &one, sizeof one);
}

std::string controlHelp()
{
    std::string text;
    for (const ControlVerb* verb : allVerbs()) {
        std::string call = std::string("  ") + verb->name + ' ' + verb->arguments;
        call.resize(std::max<std::size_t>(call.size() + 2, 44), ' ');
        text += call + verb->meaning + '\n';
    }
    return text;
}

}  // namespace torvosim
