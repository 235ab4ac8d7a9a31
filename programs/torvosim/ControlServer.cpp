/** @file ControlServer.cpp  Control words for the server that the BMC manages, and for how its service behaves. */
#include <ctime>
#include <nlohmann/json.hpp>

#include "Control.h"
#include "LiveResources.h"
#include "LogResources.h"

namespace torvosim {

namespace {

constexpr Choices<bool, 2> kSwitch{{{"on", true}, {"off", false}}};

Json features(Bmc& bmc, const Words& words)
{
    using Mode = QueryManners::Mode;
    // What offers nothing ignores it all; "ignore" and "refuse" promise what they do not do.
    static const Choices<std::pair<Mode, unsigned>, 4> modes{{{"all", {Mode::obey, ~0u}},
                                                              {"none", {Mode::ignore, 0u}},
                                                              {"ignore", {Mode::ignore, ~0u}},
                                                              {"refuse", {Mode::refuse, ~0u}}}};
    const auto                                         bits = queryFeatureBits(words[0]);
    const auto [mode, offered] = bits ? std::pair(Mode::obey, *bits) : wantChoice(words[0], modes);
    bmc.queries.mode           = mode;
    bmc.queries.offered        = offered;
    return Json::object();
}

Json pageSize(Bmc& bmc, const Words& words)
{
    bmc.queries.pageSize = wantNumber(words[0], "a number of members", UINT32_MAX);
    return Json::object();
}

Json requireIfMatch(Bmc& bmc, const Words& words)
{
    static const Choices<Conditions, 3> choices{
        {{"on", Conditions::required}, {"off", Conditions::optional}, {"strong", Conditions::strong}}};
    bmc.conditions = wantChoice(words[0], choices);
    return Json::object();
}

Json accountKind(Bmc& bmc, const Words& words)
{
    static const Choices<AccountKind, 2> choices{
        {{"slots", AccountKind::slots}, {"collection", AccountKind::collection}}};
    bmc.accountKind = wantChoice(words[0], choices);
    return Json::object();
}

Json powerTime(Bmc& bmc, const Words& words)
{
    bmc.power.setTime(static_cast<unsigned>(wantNumber(words[0], "milliseconds", UINT32_MAX)));
    return Json::object();
}

Json powerIgnore(Bmc& bmc, const Words& words)
{
    bmc.power.ignore(static_cast<unsigned>(wantNumber(words[0], "a number of requests", UINT32_MAX)));
    return Json::object();
}

Json bootHow(Bmc& bmc, const Words& words)
{
    using Boot = BootOverride::How;
    static const Choices<Boot, 4> choices{
        {{"direct", Boot::direct}, {"settings", Boot::settings}, {"ignore", Boot::ignore}, {"revert", Boot::revert}}};
    const Boot how = wantChoice(words[0], choices);
    bmc.boot.with([&](BootOverride& boot) { boot = {how, Json::object()}; });
    return Json::object();
}

Json health(Bmc& bmc, const Words& words)
{
    const std::string path = targetPath(words[0]);
    if (!readResource(bmc, path)) throw ControlError("there is no resource " + path);
    Json status = {{"Health", words[1]}, {"HealthRollup", words[1]}, {"Conditions", Json::array()}};
    if (words.size() > 2)
        status["Conditions"].push_back({{"MessageId", "Base.1.12.ConditionInRelatedResource"},
                                        {"Message", words[2]},
                                        {"Severity", words[1]},
                                        {"OriginOfCondition", linkTo(path)}});
    bmc.overlays.with([&](auto& overlays) { overlays[path] = {{"Status", status}}; });
    return Json::object();
}

Json offerSensors(Bmc& bmc, const Words& words)
{
    using Offered = Sensors::Offered;
    static const Choices<Offered, 4> choices{
        {{"new", Offered::newer}, {"old", Offered::older}, {"both", Offered::both}, {"none", Offered::none}}};
    bmc.sensors.offer(wantChoice(words[0], choices));
    return Json::object();
}

Json setSensor(Bmc& bmc, const Words& words)
{
    if (!bmc.sensors.set(words[0], words[1]))
        throw ControlError("there is no sensor '" + words[0] + "', or '" + words[1] + "' is no number, null or absent");
    return Json::object();
}

Json sensorDrift(Bmc& bmc, const Words& words)
{
    bmc.sensors.drift(wantChoice(words[0], kSwitch));
    return Json::object();
}

const LogRow& wantLog(const std::string& id)
{
    const LogRow* log = EventLogs::find(id);
    if (log == nullptr) throw ControlError("there is no log '" + id + "': Sel, LcLog");
    return *log;
}

Json logEntry(Bmc& bmc, const Words& words)
{
    const std::string now = isoTime(std::time(nullptr));
    writeLog(bmc, wantLog(words[0]), words[1], words[2], words.size() > 3 ? words[3] : now);
    return Json::object();
}

Json fillLog(Bmc& bmc, const Words& words)
{
    bmc.logs.fill(wantLog(words[0]), wantNumber(words[1], "a number of entries", EventLogs::kMostEntries));
    return Json::object();
}

}  // namespace

const std::vector<ControlVerb>& serverVerbs()
{
    static const std::vector<ControlVerb> verbs = {
        {"features", "LIST|all|none|ignore|refuse", "query options that are offered; the last two only promise", 1, 1,
         features},
        {"page-size", "COUNT", "members of a collection at a time; 0: all", 1, 1, pageSize},
        {"require-if-match", "on|off|strong", "PATCH without If-Match is answered 428; strong: W/ tags 412", 1, 1,
         requireIfMatch},
        {"accounts", "slots|collection", "users stand in slots, or are made and removed", 1, 1, accountKind},
        {"power-time", "MS", "how long PoweringOff and PoweringOn take", 1, 1, powerTime},
        {"power-ignore", "COUNT", "so many requests to shut down are not heard", 1, 1, powerIgnore},
        {"boot-how", "direct|settings|ignore|revert", "what a change of Boot does", 1, 1, bootHow},
        {"health", "PATH WORD [TEXT]", "the health of a resource, and its cause", 2, 3, health},
        {"sensors", "new|old|both|none", "which resources tell the readings", 1, 1, offerSensors},
        {"sensor", "NAME VALUE|null|absent", "a sensor's reading", 2, 2, setSensor},
        {"sensor-drift", "on|off", "whether readings wander", 1, 1, sensorDrift},
        {"log", "ID SEVERITY TEXT [TIME]", "a new entry of Sel or LcLog; an empty TIME: none", 3, 4, logEntry},
        {"logs", "ID COUNT", "fills Sel or LcLog with so many entries", 2, 2, fillLog},
    };
    return verbs;
}

}  // namespace torvosim
