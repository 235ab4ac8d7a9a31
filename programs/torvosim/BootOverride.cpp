/** @file BootOverride.cpp  Where the server starts from next. */
#include "BootOverride.h"

#include "Bmc.h"
#include "LogResources.h"

namespace torvosim {

namespace {

using How = BootOverride::How;

How howOf(Bmc& bmc)
{
    return bmc.boot.with([](BootOverride& boot) { return boot.how; });
}

Json currentBoot(Bmc& bmc)
{
    const auto system = bmc.tree.read(kSystem);
    return system ? system->value("Boot", Json::object()) : Json::object();
}

}  // namespace

Json bootMembers(Bmc& bmc)
{
    if (howOf(bmc) != How::settings) return {{"@Redfish.Settings", nullptr}};
    return {{"@Redfish.Settings",
             {{"@odata.type", "#Settings.v1_3_5.Settings"}, {"SettingsObject", linkTo(kSystemSettings)}}}};
}

Json bootSettings(Bmc& bmc)
{
    if (howOf(bmc) != How::settings) return nullptr;
    Json boot = currentBoot(bmc);
    boot.merge_patch(bmc.boot.with([](BootOverride& state) { return state.pending; }));
    return Json::array({{{"@odata.id", kSystemSettings},
                         {"@odata.type", "#ComputerSystem.v1_16_0.ComputerSystem"},
                         {"Id", "Settings"},
                         {"Name", "Settings of the System"},
                         {"Boot", boot}}});
}

std::optional<Response> changeSystem(Bmc& bmc, const Json& change)
{
    const How how = howOf(bmc);
    if (!change.is_object() || !change.contains("Boot") || how == How::direct) return bmc.tree.patch(kSystem, change);
    if (how == How::settings)
        return badProperty("Boot", "The property Boot is read-only here and is set in the settings resource");
    Json taken = change;
    if (how == How::ignore) taken.erase("Boot");
    if (how == How::revert && taken["Boot"].is_object() && !taken["Boot"].contains("BootSourceOverrideMode"))
        taken["Boot"]["BootSourceOverrideMode"] = "Legacy";
    return bmc.tree.patch(kSystem, taken);
}

std::optional<Response> changeSettings(Bmc& bmc, const Json& change)
{
    if (auto refusal = bmc.tree.refusalOf(kSystem, change)) return refusal;
    const Json wanted = change.value("Boot", Json::object());
    if (!wanted.is_object()) return badProperty("Boot", "The value of Boot is not an object");
    bmc.boot.with([&](BootOverride& boot) { boot.pending.merge_patch(wanted); });
    return std::nullopt;
}

void startFromOverride(Bmc& bmc)
{
    const Json waited = bmc.boot.with([](BootOverride& boot) { return std::exchange(boot.pending, Json::object()); });
    bmc.tree.merge(kSystem, {{"Boot", waited}});
    const Json boot = currentBoot(bmc);
    if (textOf(boot, "BootSourceOverrideEnabled") != "Once") return;
    writeLifecycle(bmc, "OK", "The server started once from " + textOf(boot, "BootSourceOverrideTarget") + '.');
    bmc.tree.merge(kSystem,
                   {{"Boot", {{"BootSourceOverrideEnabled", "Disabled"}, {"BootSourceOverrideTarget", "None"}}}});
}

}  // namespace torvosim
