/** @file firmware.cpp  qvrfctl firmware list: what runs on the server, and which of it can be updated. */
#include "firmware.h"

#include "day.h"
#include "firmwareupdate.h"
#include "rounds.h"

namespace qvrfctl {
namespace {

std::string updateText(const Value& row)
{
    return yesNo(row["updateable"]);
}
std::string stateOf(const Value& row)
{
    return stateText(row["state"], row["health"]);
}

Value read(Service& service)
{
    return {{"firmware", firmwareRows(service)}, {"unavailable", service.missing()}};
}

void show(Screen& screen, const Value& document)
{
    screen.table({{"NAME", "name"},
                  {"VERSION", "version"},
                  {"UPDATE", "updateable", 2, false, updateText},
                  {"STATE", "state", 0, false, stateOf}},
                 document["firmware"].items());
}

}  // namespace

Value updateService(Service& service)
{
    const std::string link = service.root()["UpdateService"].link();
    if (link.empty()) throw Failure(kExitLibrary, "this BMC has no update service by Redfish");
    return service.read(link);
}

std::vector<Value> firmwareRows(Service& service)
{
    const Value        updates = updateService(service);
    const std::string  link    = updates.firstOf({"FirmwareInventory", "SoftwareInventory"}).link();
    std::vector<Value> rows;
    if (link.empty()) throw Failure(kExitLibrary, "this BMC tells no firmware by Redfish");
    for (const Value& item : service.members(link))
        rows.push_back({{"id", idOf(item)},
                        {"name", item.firstOf({"Name", "Id"})},
                        {"version", item["Version"]},
                        {"updateable", item["Updateable"]},
                        {"state", item["Status.State"]},
                        {"health", item["Status.Health"]},
                        {"related", item["RelatedItem.0"].link()},
                        {"path", item.link()}});
    return rows;
}

Action declareFirmware(Arguments arguments)
{
    auto rounds = std::make_shared<Rounds>();
    auto words  = std::make_shared<UpdateWords>();
    declareRounds(arguments, *rounds, false);
    arguments.mayBe("list", "list what runs, with its version");
    Arguments updating = arguments.mayBe("update", "hand an image to the BMC, and wait for what becomes of it");
    updating.text("FILE", words->file, "the image");
    updating.text("--url", words->url, "in its place: where the BMC fetches it");
    updating.texts("--target", words->targets, "Id of what is to be updated; the image tells unless given");
    updating.text("--apply", words->apply, "now, or with the next reset; as the BMC does unless given")
        .oneOf({"now", "reset"});
    updating.flag("--no-wait", words->noWait, "do not wait for the BMC's task");
    updating.flag("--yes", words->yes, "do not ask whether to go on");
    return [rounds, words, updating](const Context& context) {
        if (!updating.isNamed()) return inRounds(context, *rounds, read, show);
        checkOnce(*rounds);
        words->timeout = rounds->timeout;
        updateFirmware(context, *words);
    };
}

}  // namespace qvrfctl
