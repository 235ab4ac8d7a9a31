/** @file logclear.cpp  Empties a log, and looks whether it is empty. */
#include "logclear.h"

#include "change.h"
#include "log.h"

namespace qvrfctl {
namespace {

std::string actionOf(const Value& log)
{
    return log["Actions.#LogService.ClearLog.target"].link();
}

/** The one that can be cleared. @throws Failure where that is none, or one has to be named */
Value clearable(Service& service, const std::string& name)
{
    std::vector<Value>       logs;
    std::vector<std::string> names;
    for (const Value& log : logServices(service, name))
        if (!actionOf(log).empty()) logs.push_back(log), names.push_back(idOf(log));
    if (logs.empty())
        throw Failure(kExitLibrary, "this BMC does not let " + (name.empty() ? "its logs" : name) + " be cleared");
    if (logs.size() > 1)
        throw wrongUsage("several logs can be cleared: name one with --log", "there is " + listed(names));
    return logs.front();
}

std::size_t count(Service& service, const Value& log)
{
    const Value page  = service.read(log["Entries"].link());
    const Value count = page["Members@odata.count"];
    return count.isNumber() ? static_cast<std::size_t>(count.count()) : page["Members"].items().size();
}

}  // namespace

void clearLog(const Context& context, const LogWords& words)
{
    const bool asks = mustAsk(context, words.yes);
    Service    service(context, words.rounds.system);
    Screen     screen(context);
    const auto log    = clearable(service, words.log);
    const auto before = count(service, log);
    if (asks) ask("This deletes the " + std::to_string(before) + " entries of the log " + idOf(log) + '.');
    runAction(service, log, "LogService.ClearLog", Value::object());
    service.forget();
    const auto after = count(service, log);
    // Many write an entry that tells of it.
    if (after > 1 && after >= before)
        throw Failure(kExitLibrary, "the BMC answered that it is done, but the log " + idOf(log) + " has " +
                                        std::to_string(after) + " entries");
    if (screen.isJson())
        return screen.document({{"log", idOf(log)},
                                {"entriesBefore", static_cast<long long>(before)},
                                {"entries", static_cast<long long>(after)}});
    screen.line(idOf(log) + ':',
                "cleared, " + std::to_string(before) + " entries before, " + std::to_string(after) + " now");
}

}  // namespace qvrfctl
