/** @file SensorResources.cpp  The chassis' readings as Redfish tells them. */
#include "SensorResources.h"

#include <cmath>

namespace torvosim {

namespace {

struct KindRow {
    const char* type;   // ReadingType
    const char* units;  // ReadingUnits
};
constexpr KindRow kKinds[] = {
    {"Temperature", "Cel"}, {"Rotational", "{rev}/min"}, {"Voltage", "V"}, {"Power", "W"}, {"Power", "W"}};

/** A bound's names in Sensor.Thresholds and in the older resources. */
struct BoundRow {
    const char*           newer;
    const char*           older;
    std::optional<double> SensorBounds::*value;
};
constexpr BoundRow kBounds[] = {
    {"LowerFatal", "LowerThresholdFatal", &SensorBounds::lowerFatal},
    {"LowerCritical", "LowerThresholdCritical", &SensorBounds::lowerCritical},
    {"LowerCaution", "LowerThresholdNonCritical", &SensorBounds::lowerCaution},
    {"UpperCaution", "UpperThresholdNonCritical", &SensorBounds::upperCaution},
    {"UpperCritical", "UpperThresholdCritical", &SensorBounds::upperCritical},
    {"UpperFatal", "UpperThresholdFatal", &SensorBounds::upperFatal},
};

Json numberOrNull(const std::optional<double>& number)
{
    if (!number) return nullptr;
    constexpr double kExact = 9007199254740992.0;  // beyond it a double tells no single integers apart
    if (!(std::abs(*number) < kExact) || std::trunc(*number) != *number) return *number;
    return static_cast<std::int64_t>(*number);
}

Json statusOf(const SensorNow& sensor)
{
    Json status = {{"State", sensor.state}};
    if (!sensor.health.empty()) status["Health"] = sensor.health;
    return status;
}

std::vector<SensorNow> readings(Bmc& bmc)
{
    return bmc.sensors.read(bmc.power.state() == "Off");
}

bool offersNewer(Bmc& bmc)
{
    const auto offered = bmc.sensors.offered();
    return offered == Sensors::Offered::newer || offered == Sensors::Offered::both;
}

bool offersOlder(Bmc& bmc)
{
    const auto offered = bmc.sensors.offered();
    return offered == Sensors::Offered::older || offered == Sensors::Offered::both;
}

Json sensorResource(const SensorNow& sensor)
{
    const SensorRow& row        = *sensor.row;
    const KindRow&   kind       = kKinds[static_cast<std::size_t>(row.kind)];
    Json             thresholds = Json::object();
    for (const BoundRow& bound : kBounds)
        if (row.bounds.*bound.value) thresholds[bound.newer] = {{"Reading", numberOrNull(row.bounds.*bound.value)}};
    return {{"@odata.id", std::string(kSensorsPath) + '/' + row.id},
            {"@odata.type", "#Sensor.v1_6_0.Sensor"},
            {"Id", row.id},
            {"Name", row.name},
            {"Reading", numberOrNull(sensor.reading)},
            {"ReadingType", kind.type},
            {"ReadingUnits", kind.units},
            {"PhysicalContext", row.context},
            {"Thresholds", thresholds},
            {"Status", statusOf(sensor)}};
}

/** What Thermal and Power say of every sensor; the reading has another name in each. */
Json olderEntry(const SensorNow& sensor, const char* readingName, const std::string& list, std::size_t number)
{
    Json entry = {{"@odata.id", list + '/' + std::to_string(number)},
                  {"MemberId", sensor.row->id},
                  {"Name", sensor.row->name},
                  {"PhysicalContext", sensor.row->context},
                  {readingName, numberOrNull(sensor.reading)},
                  {"Status", statusOf(sensor)}};
    for (const BoundRow& bound : kBounds)
        if (sensor.row->bounds.*bound.value) entry[bound.older] = numberOrNull(sensor.row->bounds.*bound.value);
    return entry;
}

/** The arrays of the older resources: which kind of sensor goes where, and under which name its reading. */
struct OlderRow {
    SensorKind  kind;
    const char* resource;
    const char* array;
    const char* reading;
};
constexpr OlderRow kOlder[] = {
    {SensorKind::temperature, kThermalPath, "Temperatures", "ReadingCelsius"},
    {SensorKind::fan, kThermalPath, "Fans", "Reading"},
    {SensorKind::voltage, kPowerPath, "Voltages", "ReadingVolts"},
    {SensorKind::consumption, kPowerPath, "PowerControl", "PowerConsumedWatts"},
    {SensorKind::supply, kPowerPath, "PowerSupplies", "LastPowerOutputWatts"},
};

Json olderResource(Bmc& bmc, const std::string& path, const char* type, const char* name)
{
    Json resource = {{"@odata.id", path}, {"@odata.type", type}, {"Id", name}, {"Name", name}};
    for (const OlderRow& row : kOlder) {
        if (path != row.resource) continue;
        Json& array = resource[row.array] = Json::array();
        for (const SensorNow& sensor : readings(bmc)) {
            if (sensor.row->kind != row.kind) continue;
            Json entry = olderEntry(sensor, row.reading, path + "#/" + row.array, array.size());
            if (row.kind == SensorKind::fan) entry["ReadingUnits"] = "RPM";
            if (row.kind == SensorKind::consumption || row.kind == SensorKind::supply)
                entry["PowerCapacityWatts"] = numberOrNull(sensor.row->capacity);
            array.push_back(std::move(entry));
        }
    }
    return resource;
}

Json thermalMetrics(Bmc& bmc)
{
    const std::string path         = std::string(kThermalSubsystem) + "/ThermalMetrics";
    Json              temperatures = Json::array();
    for (const SensorNow& sensor : readings(bmc)) {
        if (sensor.row->kind != SensorKind::temperature) continue;
        temperatures.push_back({{"Reading", numberOrNull(sensor.reading)},
                                {"DeviceName", sensor.row->name},
                                {"PhysicalContext", sensor.row->context},
                                {"DataSourceUri", std::string(kSensorsPath) + '/' + sensor.row->id}});
    }
    return {{"@odata.id", path},
            {"@odata.type", "#ThermalMetrics.v1_1_0.ThermalMetrics"},
            {"Id", "ThermalMetrics"},
            {"Name", "Thermal Metrics"},
            {"TemperatureReadingsCelsius", temperatures}};
}

Json fanResource(const SensorNow& sensor)
{
    const Json percent = sensor.reading ? Json(static_cast<int>(*sensor.reading * 100 / sensor.row->capacity)) : Json();
    return {{"@odata.id", std::string(kFansPath) + '/' + sensor.row->id},
            {"@odata.type", "#Fan.v1_3_0.Fan"},
            {"Id", sensor.row->id},
            {"Name", sensor.row->name},
            {"SpeedPercent",
             {{"Reading", percent},
              {"SpeedRPM", numberOrNull(sensor.reading)},
              {"DataSourceUri", std::string(kSensorsPath) + '/' + sensor.row->id}}},
            {"Status", statusOf(sensor)}};
}

Json supplyMetrics(const SensorNow& sensor, const std::string& supply)
{
    return {{"@odata.id", supply + "/Metrics"},
            {"@odata.type", "#PowerSupplyMetrics.v1_0_1.PowerSupplyMetrics"},
            {"Id", "Metrics"},
            {"Name", "Metrics of " + std::string(sensor.row->name)},
            {"InputPowerWatts", {{"Reading", numberOrNull(sensor.reading)}}},
            {"Status", statusOf(sensor)}};
}

Json supplyResource(const SensorNow& sensor, const std::string& path)
{
    return {{"@odata.id", path},
            {"@odata.type", "#PowerSupply.v1_5_0.PowerSupply"},
            {"Id", sensor.row->id},
            {"Name", sensor.row->name},
            {"PowerCapacityWatts", numberOrNull(sensor.row->capacity)},
            {"Metrics", linkTo(path + "/Metrics")},
            {"Status", statusOf(sensor)}};
}

int badness(const std::string& health)
{
    return health == "Critical" ? 2 : health == "Warning" ? 1 : 0;
}

std::string worstHealth(Bmc& bmc)
{
    std::string worst = "OK";
    for (const SensorNow& sensor : readings(bmc))
        if (badness(sensor.health) > badness(worst)) worst = sensor.health;
    return worst;
}

}  // namespace

Json sensorMembers(Bmc& bmc)
{
    if (!offersNewer(bmc)) return nullptr;
    Json members = Json::array();
    for (const SensorNow& sensor : readings(bmc)) members.push_back(sensorResource(sensor));
    return members;
}

Json fanMembers(Bmc& bmc)
{
    if (!offersNewer(bmc)) return nullptr;
    Json members = Json::array();
    for (const SensorNow& sensor : readings(bmc))
        if (sensor.row->kind == SensorKind::fan) members.push_back(fanResource(sensor));
    return members;
}

Json powerSupplyMembers(Bmc& bmc)
{
    if (!offersNewer(bmc)) return nullptr;
    Json members = Json::array();
    for (const SensorNow& sensor : readings(bmc)) {
        if (sensor.row->kind != SensorKind::supply) continue;
        const std::string path = std::string(kPowerSuppliesPath) + '/' + sensor.row->id;
        members.push_back(supplyResource(sensor, path));
        members.push_back(supplyMetrics(sensor, path));
    }
    return members;
}

Json olderReadings(Bmc& bmc)
{
    if (!offersOlder(bmc)) return nullptr;
    return {olderResource(bmc, kThermalPath, "#Thermal.v1_7_0.Thermal", "Thermal"),
            olderResource(bmc, kPowerPath, "#Power.v1_7_0.Power", "Power")};
}

Json subsystems(Bmc& bmc)
{
    if (!offersNewer(bmc)) return nullptr;
    return {{{"@odata.id", kThermalSubsystem},
             {"@odata.type", "#ThermalSubsystem.v1_0_0.ThermalSubsystem"},
             {"Id", "ThermalSubsystem"},
             {"Name", "Thermal Subsystem"},
             {"Fans", linkTo(kFansPath)},
             {"ThermalMetrics", linkTo(std::string(kThermalSubsystem) + "/ThermalMetrics")}},
            thermalMetrics(bmc),
            {{"@odata.id", kPowerSubsystem},
             {"@odata.type", "#PowerSubsystem.v1_1_0.PowerSubsystem"},
             {"Id", "PowerSubsystem"},
             {"Name", "Power Subsystem"},
             {"PowerSupplies", linkTo(kPowerSuppliesPath)}}};
}

Json chassisMembers(Bmc& bmc)
{
    const auto link = [](bool offered, const char* path) { return offered ? linkTo(path) : Json(); };
    return {{"Sensors", link(offersNewer(bmc), kSensorsPath)},
            {"ThermalSubsystem", link(offersNewer(bmc), kThermalSubsystem)},
            {"PowerSubsystem", link(offersNewer(bmc), kPowerSubsystem)},
            {"Thermal", link(offersOlder(bmc), kThermalPath)},
            {"Power", link(offersOlder(bmc), kPowerPath)},
            {"Status", {{"HealthRollup", worstHealth(bmc)}}}};
}

}  // namespace torvosim
