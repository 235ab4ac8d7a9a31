/** @file ControlUpdates.cpp  Control words for updates, their tasks and restarts of the BMC. */
#include <array>
#include <nlohmann/json.hpp>

#include "Control.h"

namespace torvosim {

namespace {

constexpr std::uint64_t kLongestPause = 3600;

Json updateHow(Bmc& bmc, const Words& words)
{
    static const Choices<UpdateWays, 4> choices{{{"multipart", UpdateWays::multipart},
                                                 {"push", UpdateWays::push},
                                                 {"simple", UpdateWays::simple},
                                                 {"none", UpdateWays::none}}};
    bmc.updateWays = wantChoice(words[0], choices);
    return Json::object();
}

Json taskTime(Bmc& bmc, const Words& words)
{
    bmc.tasks.setTime(static_cast<unsigned>(wantNumber(words[0], "milliseconds", UINT32_MAX)));
    return Json::object();
}

/** What a state goes with where the word does not say it. */
std::string usualStatus(const std::string& state)
{
    return state == "Exception" || state == "Killed" ? "Critical" : "OK";
}

Json taskEnd(Bmc& bmc, const Words& words)
{
    static const Choices<bool, 8> states{{{"Completed", false},
                                          {"Exception", false},
                                          {"Killed", false},
                                          {"Cancelled", false},
                                          {"Pending", false},
                                          {"Suspended", false},
                                          {"Interrupted", false},
                                          {"vanish", true}}};
    const auto                    slash = words[0].find('/');
    const std::string             state = words[0].substr(0, slash);
    const bool                    gone  = wantChoice(state, states);
    bmc.tasks.setEnding({state, slash == std::string::npos ? usualStatus(state) : words[0].substr(slash + 1), gone});
    return Json::object();
}

Json bmcRestart(Bmc& bmc, const Words& words)
{
    static const Choices<bool, 2> when{{{"now", false}, {"update", true}}};
    const BmcRestart::Pause       pause(wantNumber(words[0], "a number of seconds", kLongestPause));
    if (words.size() > 1 && wantChoice(words[1], when)) {
        bmc.restart.askAfterUpdate(pause);
    } else {
        bmc.restart.ask(pause);
    }
    return Json::object();
}

}  // namespace

const std::vector<ControlVerb>& updateVerbs()
{
    static const std::vector<ControlVerb> verbs = {
        {"update-how", "multipart|push|simple|none", "ways of an update that are offered, with those behind it", 1, 1,
         updateHow},
        {"task-time", "MS", "how long the next tasks take", 1, 1, taskTime},
        {"task-end", "STATE[/STATUS]|vanish", "how the next tasks end", 1, 1, taskEnd},
        {"bmc-restart", "SECONDS [now|update]",
         "no service for so long, then no sessions and tasks; or once an update is over", 1, 2, bmcRestart},
    };
    return verbs;
}

}  // namespace torvosim
