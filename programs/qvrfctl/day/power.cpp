/** @file power.cpp  qvrfctl power: the state of the server, and what it may be told. */
#include "power.h"

#include "day.h"
#include "rounds.h"

namespace qvrfctl {
namespace {

Value read(Service& service)
{
    const Value system  = service.system();
    const auto  allowed = allowedResets(service, system);
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

std::optional<std::vector<std::string>> allowedValues(Service& service, const Value& action,
                                                      const std::string& parameter)
{
    const Value told = action[parameter + "@Redfish.AllowableValues"];
    if (told.isList()) return textsOf(told);
    const Value info = service.readOr(Value(action["@Redfish.ActionInfo"].text()), "action info");
    for (const Value& each : info["Parameters"].items())
        if (each["Name"].text() == parameter && each["AllowableValues"].isList())
            return textsOf(each["AllowableValues"]);
    return std::nullopt;
}

std::optional<std::vector<std::string>> allowedResets(Service& service, const Value& system)
{
    return allowedValues(service, system["Actions.#ComputerSystem.Reset"], "ResetType");
}

Action declarePower(Arguments arguments)
{
    auto rounds = std::make_shared<Rounds>();
    declareRounds(arguments, *rounds);
    arguments.mayBe("status", "tell the state, and what the server may be told");
    return [rounds](const Context& context) { inRounds(context, *rounds, read, show); };
}

}  // namespace qvrfctl
