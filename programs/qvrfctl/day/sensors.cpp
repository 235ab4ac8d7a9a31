/** @file sensors.cpp  qvrfctl sensors: readings, bounds and state. */
#include "sensors.h"

#include "day.h"
#include "rounds.h"

namespace qvrfctl {
namespace {

struct Words {
    Rounds      rounds;
    std::string chassis;
    bool        all = false;
    bool        bad = false;
};

bool isThere(const Value& sensor)
{
    const std::string state = sensor["state"].text();
    return state != "Absent" && state != "Disabled";
}

bool isWanted(const Words& words, const Value& sensor)
{
    return words.bad ? isBad(sensor) : words.all || isThere(sensor);
}

std::vector<Value> wantedChassis(Service& service, const std::string& name)
{
    std::vector<std::string> there;
    const auto               all = service.chassis();
    if (name.empty()) return all;
    for (const Value& each : all) {
        if (idOf(each) == name) return {each};
        there.push_back(idOf(each));
    }
    throw noSuch("chassis", name, there);
}

Value read(Service& service, const Words& words)
{
    std::vector<Value> sensors;
    std::size_t        told = 0;
    for (const Value& chassis : wantedChassis(service, words.chassis))
        for (const Value& sensor : readSensors(service, chassis)) {
            ++told;
            if (isWanted(words, sensor)) sensors.push_back(sensor);
        }
    if (told == 0)
        throw Failure(kExitLibrary, "this BMC tells no sensors by Redfish", "'ipmitool sensor' may know some");
    return {{"power", service.system()["PowerState"]}, {"sensors", sensors}, {"unavailable", service.missing()}};
}

std::string rangeText(const Value& lower, const Value& upper)
{
    if (lower.isNull() && upper.isNull()) return {};
    if (lower.isNull()) return "to " + numberText(upper);
    return upper.isNull() ? "from " + numberText(lower) : numberText(lower) + " to " + numberText(upper);
}

std::string cautionText(const Value& sensor)
{
    return rangeText(sensor["lowerCaution"], sensor["upperCaution"]);
}
std::string criticalText(const Value& sensor)
{
    return rangeText(sensor["lowerCritical"], sensor["upperCritical"]);
}
std::string stateOf(const Value& sensor)
{
    return stateText(sensor["state"], sensor["health"]) + (sensor["byBound"].isTrue() ? ", by bound" : "");
}

void show(Screen& screen, const Value& document)
{
    const std::string power = document["power"].text("On");
    if (power != "On") screen.write("The server is " + power + ": some sensors have no reading.\n");
    screen.table({{"SENSOR", "name"},
                  {"READING", "reading", 0, false, readingText},
                  {"CAUTION", "lowerCaution", 2, false, cautionText},
                  {"CRITICAL", "lowerCritical", 3, false, criticalText},
                  {"STATE", "health", 0, false, stateOf}},
                 document["sensors"].items());
}

}  // namespace

bool isBad(const Value& sensor)
{
    const std::string health = sensor["health"].text();
    const std::string state  = sensor["state"].text("Enabled");
    return state == "Enabled" && (health == "Warning" || health == "Critical");
}

std::string readingText(const Value& sensor)
{
    const Value reading = sensor["reading"];
    if (!reading.isNumber()) return {};
    const std::string units = sensor["units"].text();
    const std::string shown = units == "Cel" ? "C" : units == "{rev}/min" ? "RPM" : units;
    return numberText(reading) + (shown.empty() ? "" : ' ' + shown);
}

std::string sensorInWords(const Value& sensor)
{
    const Value reading = sensor["reading"];
    std::string text    = readingText(sensor);
    for (const char* const bound : {"lowerFatal", "lowerCritical", "lowerCaution"})
        if (sensor[bound].isNumber() && reading.isNumber() && reading.number() < sensor[bound].number())
            return text + ", below " + numberText(sensor[bound]);
    for (const char* const bound : {"upperFatal", "upperCritical", "upperCaution"})
        if (sensor[bound].isNumber() && reading.isNumber() && reading.number() > sensor[bound].number())
            return text + ", above " + numberText(sensor[bound]);
    return orDash(text);
}

Action declareSensors(Arguments arguments)
{
    auto words = std::make_shared<Words>();
    declareRounds(arguments, words->rounds);
    arguments.text("--chassis", words->chassis, "Id of the chassis; all of the system's unless given");
    arguments.flag("--all", words->all, "also those of parts that are absent or disabled");
    arguments.flag("--bad", words->bad, "only those that are not OK").notWith("--all");
    return [words](const Context& context) {
        inRounds(
            context, words->rounds, [&](Service& service) { return read(service, *words); }, show);
    };
}

}  // namespace qvrfctl
