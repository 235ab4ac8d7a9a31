/** @file boot.cpp  qvrfctl boot: what the server starts from next. */
#include "boot.h"

#include "day.h"
#include "rounds.h"

namespace qvrfctl {
namespace {

void show(Screen& screen, const Value& boot)
{
    showBoot(screen, boot);
    screen.line("allowed:", orDash(listed(textsOf(boot["allowed"]))));
}

}  // namespace

Value readBoot(Service& service)
{
    const Value system = service.system();
    const Value boot   = system["Boot"];
    if (!boot.isObject()) throw Failure(kExitLibrary, "this BMC does not tell what the server boots from");
    const Value next    = boot["BootNext"];
    const Value allowed = boot["BootSourceOverrideTarget@Redfish.AllowableValues"];
    return {{"system", system.link()},
            {"target", boot["BootSourceOverrideTarget"]},
            {"enabled", boot["BootSourceOverrideEnabled"]},
            {"mode", boot["BootSourceOverrideMode"]},
            {"allowed", allowed.isList() ? allowed : Value::list()},
            {"order", boot["BootOrder"].isList() ? boot["BootOrder"] : Value::list()},
            {"next", next},
            {"pending", false}};
}

void showBoot(Screen& screen, const Value& boot)
{
    const std::string enabled = boot["enabled"].text();
    const std::string mode    = boot["mode"].text();
    std::string       text    = "none";
    if (!enabled.empty() && enabled != "Disabled")
        text = boot["target"].text() + ", " + (enabled == "Once" ? "once" : "until it is changed") +
               (mode.empty() ? "" : ", " + mode) + (boot["pending"].isTrue() ? ", after the next restart" : "");
    screen.line("boot override:", text);
}

Action declareBoot(Arguments arguments)
{
    auto rounds = std::make_shared<Rounds>();
    declareRounds(arguments, *rounds);
    arguments.mayBe("show", "tell what the server boots from next, and what it may boot from");
    return [rounds](const Context& context) { inRounds(context, *rounds, readBoot, show); };
}

}  // namespace qvrfctl
