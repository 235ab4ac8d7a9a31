/** @file power.cpp  qvrfctl power: the state of the server, and what it may be told. */
#include "change.h"
#include "day.h"
#include "powerchange.h"
#include "rounds.h"

namespace qvrfctl {
namespace {

Value read(Service& service)
{
    const Value system  = service.system();
    const auto  allowed = allowedValues(service, system["Actions.#ComputerSystem.Reset"], "ResetType");
    return {{"system", system.link()},
            {"power", system["PowerState"]},
            {"lastReset", system["LastResetTime"]},
            {"allowed", allowed ? Value::texts(*allowed) : Value()}};
}

void show(Screen& screen, const Value& power)
{
    screen.line("power:", orDash(power["power"].text()));
    if (const std::string reset = power["lastReset"].text(); !reset.empty())
        screen.line("last reset:", timeText(reset));
    screen.line("allowed:", power["allowed"].isNull() ? "the BMC does not say" : listed(textsOf(power["allowed"])));
}

}  // namespace

Action declarePower(Arguments arguments)
{
    auto rounds = std::make_shared<Rounds>();
    auto words  = std::make_shared<PowerWords>();
    declareRounds(arguments, *rounds);
    arguments.flag("--force", words->force, "without asking the operating system: the hard kind");
    arguments.flag("--yes", words->yes, "do not ask whether to go on");
    arguments.flag("--no-wait", words->noWait, "do not wait for the state that was asked for");
    arguments.mayBe("status", "tell the state, and what the server may be told");
    std::vector<std::pair<std::string, Arguments>> changes;
    for (const auto& [word, about] : {std::pair("on", "turn the server on"),
                                      {"off", "shut it down and turn it off"},
                                      {"restart", "shut it down and start it again"},
                                      {"cycle", "take its power away for a moment"},
                                      {"nmi", "send it a non-maskable interrupt"}})
        changes.emplace_back(word, arguments.mayBe(word, about));
    return [=](const Context& context) {
        words->system  = rounds->system;
        words->timeout = rounds->timeout;
        for (const auto& [word, change] : changes)
            if (change.isNamed()) return checkOnce(*rounds), changePower(context, word, *words);
        inRounds(context, *rounds, read, show);
    };
}

}  // namespace qvrfctl
