/** @file status.cpp  qvrfctl status: the server on one screen. */
#include <algorithm>
#include <ctime>

#include "../linkstate.h"
#include "../reach.h"
#include "../session.h"
#include "day.h"
#include "rounds.h"
#include "sensors.h"
#include "sessions.h"
#include "times.h"

namespace qvrfctl {
namespace {

int badness(const std::string& health) noexcept
{
    return health == "Critical" ? 3 : health == "Warning" ? 2 : health == "OK" ? 1 : 0;
}

std::string healthOf(const Value& resource)
{
    return resource["Status"].firstOf({"HealthRollup", "Health"}).text();
}

Value problem(const std::string& name, const std::string& health, const std::string& text, const std::string& path)
{
    return {{"name", name}, {"health", health}, {"text", text}, {"path", path}};
}

/** What the resources themselves tell as the cause. */
std::vector<Value> conditions(const std::vector<Value>& resources)
{
    std::vector<Value> all;
    for (const Value& resource : resources)
        for (const Value& condition : resource["Status.Conditions"].items()) {
            const std::string origin = condition["OriginOfCondition"].link();
            all.push_back(problem(origin.empty() ? idOf(resource) : lastSegment(origin), condition["Severity"].text(),
                                  condition.firstOf({"Message", "MessageId"}).text(),
                                  origin.empty() ? resource.link() : origin));
        }
    return all;
}

std::vector<Value> summaries(const Value& system)
{
    std::vector<Value> all;
    for (const char* const part : {"Processor", "Memory"}) {
        const std::string health = healthOf(system[std::string(part) + "Summary"]);
        if (badness(health) > 1) all.push_back(problem(part, health, health, system.link()));
    }
    return all;
}

/** Where two requests tell them: bad sensors. */
std::vector<Value> badSensors(Service& service, const std::vector<Value>& chassis)
{
    std::vector<Value> all;
    if (chassis.size() != 1 || !sensorsInTwoRequests(service, chassis.front())) return all;
    for (const Value& sensor : readSensors(service, chassis.front(), true))
        if (isBad(sensor))
            all.push_back(
                problem(sensor["name"].text(), sensor["health"].text(), sensorInWords(sensor), sensor["path"].text()));
    return all;
}

Value problems(Service& service, const std::string& health, const std::vector<Value>& resources, const Value& system,
               const std::vector<Value>& chassis)
{
    if (badness(health) < 2) return Value::list();
    std::vector<Value> all = conditions(resources);
    if (all.empty()) all = summaries(system);
    if (all.empty()) all = badSensors(service, chassis);
    return all;
}

/** Seconds that the BMC's clock is behind this host's; null where it tells no time. Asked when it was just read. */
Value behind(const Value& time)
{
    const auto bmc = secondsOf(time.text());
    return bmc ? Value(static_cast<long long>(std::time(nullptr)) - *bmc) : Value();
}

Value textOr(const std::optional<std::string>& fact)
{
    return fact && !fact->empty() ? Value(*fact) : Value();
}

/** What IPMI tells of it; null where nobody answers there. */
Value ipmiFacts(Service& service)
{
    Value link, agent, package;
    if (answersOverIpmi()) {
        const auto& client = service.session().client();
        const auto  state  = client.link();
        const auto  found  = client.discover();
        const auto  flags = state.interface.value ? readLink(*state.interface.value).flags : std::vector<std::string>();
        const bool  isUp  = std::find(flags.begin(), flags.end(), "UP") != flags.end();
        agent             = textOr(found.agent.value);
        package           = textOr(found.package.value);
        link              = Value{{"interface", textOr(state.interface.value)},
                     {"up", state.interface.value ? Value(isUp) : Value()},
                     {"bmcAddress", textOr(state.bmcAddress.value)}};
    } else {
        service.tellMissing("link", "the BMC does not answer over IPMI");
    }
    return {{"link", link}, {"agentVersion", agent}, {"packageVersion", package}};
}

Value sessionCount(Service& service)
{
    const Value sessions = readSessions(service);
    const Value count    = sessions["Members@odata.count"];
    return count.isNumber() || sessions.isNull() ? count
                                                 : Value(static_cast<long long>(sessions["Members"].items().size()));
}

Value read(Service& service)
{
    const Value              system  = service.system();
    const Value              manager = service.manager();
    const Value              slow    = behind(manager["DateTime"]);
    const std::vector<Value> chassis = service.chassis();
    std::vector<Value>       parts{system, manager};
    parts.insert(parts.end(), chassis.begin(), chassis.end());
    std::string health;
    for (const Value& part : parts)
        if (badness(healthOf(part)) > badness(health)) health = healthOf(part);
    const Value sessions = sessionCount(service);
    const Value found    = problems(service, health, parts, system, chassis);
    const Value ipmi     = ipmiFacts(service);
    return {{"manufacturer", system["Manufacturer"]},
            {"model", system["Model"]},
            {"serialNumber", system["SerialNumber"]},
            {"assetTag", system["AssetTag"]},
            {"hostName", system["HostName"]},
            {"power", system["PowerState"]},
            {"health", health.empty() ? Value() : Value(health)},
            {"problems", found},
            {"biosVersion", system["BiosVersion"]},
            {"bmcModel", manager["Model"]},
            {"bmcVersion", manager["FirmwareVersion"]},
            {"bmcTime", manager["DateTime"]},
            {"bmcSecondsBehind", slow},
            {"link", ipmi["link"]},
            {"sessions", sessions},
            {"agentVersion", ipmi["agentVersion"]},
            {"packageVersion", ipmi["packageVersion"]},
            {"unavailable", service.missing()}};
}

/** The texts that are there, between them @p between. */
std::string joined(std::initializer_list<std::string> texts, const char* between)
{
    std::vector<std::string> told;
    for (const std::string& text : texts)
        if (!text.empty()) told.push_back(text);
    return orDash(listed(told, between));
}

std::string clockText(const Value& seconds)
{
    const auto off = static_cast<long long>(seconds.number());
    if (off == 0) return {};
    return '(' + std::to_string(off < 0 ? -off : off) + (off < 0 ? " s ahead)" : " s behind)");
}

std::string linkText(const Value& link)
{
    const std::string interface = link["interface"].text();
    const std::string address   = link["bmcAddress"].text();
    return joined({interface.empty() ? "" : interface + (link["up"].isTrue() ? " up" : " down"),
                   address.empty() ? "" : "BMC at " + address},
                  ", ");
}

void showProblems(Screen& screen, const Value& problems)
{
    for (const Value& problem : problems.items()) {
        const std::string health = problem["health"].text();
        const std::string text   = problem["text"].text();
        if (screen.isNarrow())
            screen.line("  " + problem["name"].text() + ':', text, health);
        else
            screen.line("  " + problem["name"].text(), health == text ? text : health + ": " + text, health);
    }
}

void show(Screen& screen, const Value& status)
{
    const std::string tag    = status["assetTag"].text();
    const bool        narrow = screen.isNarrow();
    const std::string bmc    = joined({status["bmcModel"].text(), status["bmcVersion"].text()}, " ");
    const auto        text   = [&](const char* key) { return orDash(status[key].text()); };
    screen.line("model:", joined({narrow ? "" : status["manufacturer"].text(), status["model"].text()}, " "));
    screen.line("serial number:", text("serialNumber") + (tag.empty() || narrow ? "" : ", asset tag " + tag));
    if (!narrow) screen.line("host name:", text("hostName"));
    screen.line("power:", text("power"));
    screen.line("health:", text("health"), text("health"));
    showProblems(screen, status["problems"]);
    if (narrow)
        screen.line("BMC:", bmc);
    else
        screen.line("BIOS, BMC:",
                    text("biosVersion") + ", " + joined({bmc, clockText(status["bmcSecondsBehind"])}, " "));
    if (!narrow) screen.line("link:", linkText(status["link"]));
    screen.line("sessions:", text("sessions") + (narrow || status["sessions"].isNull() ? "" : ", this one among them"));
    if (!narrow) screen.line("agent, package:", text("agentVersion") + ", " + text("packageVersion"));
}

}  // namespace

Action declareStatus(Arguments arguments)
{
    auto rounds = std::make_shared<Rounds>();
    declareRounds(arguments, *rounds);
    return [rounds](const Context& context) { inRounds(context, *rounds, read, show); };
}

}  // namespace qvrfctl
