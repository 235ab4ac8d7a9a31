/** @file boot.cpp  qvrfctl boot: what the server starts from next. */
#include "boot.h"

#include "bootchange.h"
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
    return bootOf(service.system());
}

Value bootOf(const Value& system)
{
    const Value boot = system["Boot"];
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
    auto words  = std::make_shared<BootWords>();
    declareRounds(arguments, *rounds);
    arguments.text("--mode", words->mode, "UEFI or Legacy, where the BMC is to change that too");
    arguments.mayBe("show", "tell what the server boots from next, and what it may boot from");
    Arguments once = arguments.mayBe("once", "boot from it once, with the next start");
    once.text("SOURCE", words->source, "pxe, cd, disk, bios, a value that the BMC allows, or none to boot as ever")
        .required();
    return [rounds, words, once](const Context& context) {
        if (!once.isNamed()) return inRounds(context, *rounds, readBoot, show);
        checkOnce(*rounds);
        limit(context, rounds->timeout);
        words->system = rounds->system;
        bootOnce(context, *words);
    };
}

}  // namespace qvrfctl
