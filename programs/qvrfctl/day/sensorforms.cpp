/** @file sensorforms.cpp  Brings Redfish's forms of sensors into one. */
#include <algorithm>
#include <set>

#include "screen.h"
#include "sensors.h"

namespace qvrfctl {
namespace {

struct Bounds {
    const char* lowerFatal;
    const char* lowerCritical;
    const char* lowerCaution;
    const char* upperCaution;
    const char* upperCritical;
    const char* upperFatal;
};
constexpr Bounds kNew{"Thresholds.LowerFatal.Reading",    "Thresholds.LowerCritical.Reading",
                      "Thresholds.LowerCaution.Reading",  "Thresholds.UpperCaution.Reading",
                      "Thresholds.UpperCritical.Reading", "Thresholds.UpperFatal.Reading"};
constexpr Bounds kOld{"LowerThresholdFatal",       "LowerThresholdCritical", "LowerThresholdNonCritical",
                      "UpperThresholdNonCritical", "UpperThresholdCritical", "UpperThresholdFatal"};
constexpr Bounds kCapacity{"-", "-", "-", "-", "PowerCapacityWatts", "-"};
constexpr Bounds kNone{"-", "-", "-", "-", "-", "-"};

/** Where a form has which sensors, and what their members are called. */
struct Form {
    const char* list;     ///< of the resource; of a Sensor itself: empty
    const char* kind;     ///< nothing: as the member says
    const char* name[2];  ///< the second where there is no first
    const char* reading;
    const char* units;  ///< the member's name
    const char* unit;   ///< where that is missing
    Bounds      bounds;
};
constexpr Form kSensor{"", nullptr, {"Name", "Id"}, "Reading", "ReadingUnits", "", kNew};
constexpr Form kTemperatures{"Temperatures", "Temperature", {"Name", "MemberId"}, "ReadingCelsius", "-", "Cel", kOld};
constexpr Form kFans{"Fans", "Rotational", {"Name", "FanName"}, "Reading", "ReadingUnits", "RPM", kOld};
constexpr Form kVoltages{"Voltages", "Voltage", {"Name", "MemberId"}, "ReadingVolts", "-", "V", kOld};
constexpr Form kControl{"PowerControl", "Power", {"Name", "MemberId"}, "PowerConsumedWatts", "-", "W", kCapacity};
constexpr Form kSupplies{"PowerSupplies", "Power", {"Name", "MemberId"}, "LastPowerOutputWatts", "-", "W", kCapacity};
constexpr Form kReadings{
    "TemperatureReadingsCelsius", "Temperature", {"DeviceName", "PhysicalContext"}, "Reading", "-", "Cel", kNone};
constexpr Form kSpeed{"", "Rotational", {"Name", "Id"}, "SpeedPercent.SpeedRPM", "-", "RPM", kNone};
constexpr Form kPercent{"", "Rotational", {"Name", "Id"}, "SpeedPercent.Reading", "-", "%", kNone};
constexpr Form kOutput{"", "Power", {"Name", "Id"}, "OutputPowerWatts.Reading", "-", "W", kNone};

bool isBeyond(const Value& reading, const Value& lower, const Value& upper)
{
    return (lower.isNumber() && reading.number() < lower.number()) ||
           (upper.isNumber() && reading.number() > upper.number());
}

/** A bound of capacity that is 0 is one that the BMC does not know. */
Value boundOf(const Value& sensor, const char* path)
{
    const Value bound = sensor[path];
    return bound.isNumber() && !(bound.number() == 0 && path == std::string_view("PowerCapacityWatts")) ? bound
                                                                                                        : Value();
}

std::string healthByBounds(const Value& row)
{
    const Value reading = row["reading"];
    if (!reading.isNumber()) return {};
    if (isBeyond(reading, row["lowerCritical"], row["upperCritical"]) ||
        isBeyond(reading, row["lowerFatal"], row["upperFatal"]))
        return "Critical";
    return isBeyond(reading, row["lowerCaution"], row["upperCaution"]) ? "Warning" : "";
}

int badness(const std::string& health) noexcept
{
    return health == "Critical" ? 2 : health == "Warning" ? 1 : 0;
}

/** The worse of what the BMC says and what its bounds say; a part that is not there is never bad. */
void judge(Value& row)
{
    const std::string state   = row["state"].text("Enabled");
    const std::string told    = row["health"].text();
    const std::string byBound = state == "Enabled" ? healthByBounds(row) : std::string();
    const bool        isWorse = badness(byBound) > badness(told);
    if (isWorse) row.set("health", byBound);
    row.set("byBound", isWorse);
}

Value rowOf(const Value& chassis, const Value& sensor, const Form& form)
{
    const Bounds& bounds = form.bounds;
    const Value   number = sensor[form.reading];
    Value         row{{"chassis", idOf(chassis)},
              {"name", sensor.firstOf({form.name[0], form.name[1]})},
              {"path", sensor["@odata.id"]},
              {"kind", form.kind != nullptr ? Value(form.kind) : sensor["ReadingType"]},
              {"reading", number.isNumber() ? number : Value()},
              {"units", sensor[form.units].text(form.unit)},
              {"lowerFatal", boundOf(sensor, bounds.lowerFatal)},
              {"lowerCritical", boundOf(sensor, bounds.lowerCritical)},
              {"lowerCaution", boundOf(sensor, bounds.lowerCaution)},
              {"upperCaution", boundOf(sensor, bounds.upperCaution)},
              {"upperCritical", boundOf(sensor, bounds.upperCritical)},
              {"upperFatal", boundOf(sensor, bounds.upperFatal)},
              {"state", sensor["Status.State"]},
              {"health", sensor["Status.Health"]}};
    judge(row);
    return row;
}

/** The sensors of one chassis, each kind from the first form that has it. */
class Gatherer {
public:
    Gatherer(Service& service, const Value& chassis) : service_(service), chassis_(chassis) {}

    void sensors()
    {
        begin();
        for (const Value& sensor : service_.membersOr(chassis_["Sensors"], "sensors")) take(sensor, kSensor);
    }
    void thermalAndPower()
    {
        begin();
        takeLists(service_.readOr(chassis_["Thermal"], "thermal"), {kTemperatures, kFans});
        takeLists(service_.readOr(chassis_["Power"], "power"), {kVoltages, kControl, kSupplies});
    }
    void subsystems()
    {
        begin();
        const Value thermal = service_.readOr(chassis_["ThermalSubsystem"], "thermal subsystem");
        takeLists(service_.readOr(thermal["ThermalMetrics"], "thermal metrics"), {kReadings});
        for (const Value& fan : service_.membersOr(thermal["Fans"], "fans"))
            take(fan, fan[kSpeed.reading].isNumber() ? kSpeed : kPercent);
        const Value power = service_.readOr(chassis_["PowerSubsystem"], "power subsystem");
        for (const Value& supply : service_.membersOr(power["PowerSupplies"], "power supplies")) takeSupply(supply);
    }

    bool lacks()
    {
        begin();
        for (const char* const kind : {"Temperature", "Rotational", "Voltage", "Power"})
            if (kinds_.count(kind) == 0) return true;
        return false;
    }
    bool               isEmpty() const { return rows_.empty(); }
    std::vector<Value> rows() { return std::move(rows_); }

private:
    /** What comes now is taken where no form before had its kind. */
    void begin()
    {
        for (const Value& row : rows_) kinds_.insert(row["kind"].text());
    }
    void take(const Value& sensor, const Form& form)
    {
        Value row = rowOf(chassis_, sensor, form);
        if (kinds_.count(row["kind"].text()) == 0) rows_.push_back(row);
    }
    void takeLists(const Value& resource, const std::vector<Form>& forms)
    {
        for (const Form& form : forms)
            for (const Value& sensor : resource[form.list].items()) take(sensor, form);
    }
    /** The supply says what it is and how it does, its metrics what it gives. */
    void takeSupply(const Value& supply)
    {
        Value whole = service_.readOr(supply["Metrics"], "metrics of a power supply");
        for (const char* const member : {"@odata.id", "Name", "Id", "Status"}) whole.set(member, supply[member]);
        take(whole, kOutput);
    }

    Service&              service_;
    const Value           chassis_;
    std::vector<Value>    rows_;
    std::set<std::string> kinds_;
};

}  // namespace

bool sensorsInTwoRequests(const Service& service, const Value& chassis)
{
    return (service.expands() && !chassis["Sensors"].isNull()) || !chassis["Thermal"].isNull() ||
           !chassis["Power"].isNull();
}

std::vector<Value> readSensors(Service& service, const Value& chassis, bool firstOnly)
{
    Gatherer gatherer(service, chassis);
    if (service.expands()) gatherer.sensors();
    if (firstOnly && !gatherer.isEmpty()) return gatherer.rows();
    if (gatherer.lacks()) gatherer.thermalAndPower();
    if (firstOnly) return gatherer.rows();
    if (gatherer.isEmpty()) gatherer.sensors();  // one request each: only where nothing else tells anything
    if (gatherer.lacks()) gatherer.subsystems();
    return gatherer.rows();
}

}  // namespace qvrfctl
