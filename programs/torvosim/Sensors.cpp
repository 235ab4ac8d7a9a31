/** @file Sensors.cpp  The chassis' sensors. */
#include "Sensors.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>

namespace torvosim {

namespace {

constexpr std::optional<double> kNone;
constexpr SensorBounds          kFan{kNone, 400, 600, kNone, kNone, kNone};
constexpr SensorBounds          kSupply{kNone, kNone, kNone, 700, 750, kNone};
constexpr double                kDriftPart    = 0.02;
constexpr double                kDriftSeconds = 60;

double drifted(double reading, std::size_t row)
{
    using namespace std::chrono;
    const double now   = duration<double>(steady_clock::now().time_since_epoch()).count();
    const double phase = now * 2 * M_PI / kDriftSeconds + static_cast<double>(row);
    return std::round(reading * (1 + kDriftPart * std::sin(phase)) * 10) / 10;
}

std::optional<double> parseReading(const std::string& text)
{
    char*        end     = nullptr;
    const double reading = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(reading)) return std::nullopt;
    return reading;
}

}  // namespace

// clang-format off
const std::array<SensorRow, Sensors::kRows> Sensors::kSensors{{
    {"InletTemp", "Inlet Temp", SensorKind::temperature, "Intake", 24, {kNone, -7, 3, 42, 47, kNone}, 0, false},
    {"CPUTemp", "CPU Temp", SensorKind::temperature, "CPU", 48, {kNone, 3, 8, 85, 95, 105}, 0, true},
    {"Fan1", "Fan 1", SensorKind::fan, "Fan", 5800, kFan, 12000, true},
    {"Fan2", "Fan 2", SensorKind::fan, "Fan", 5760, kFan, 12000, true},
    {"Fan3", "Fan 3", SensorKind::fan, "Fan", 5840, kFan, 12000, true},
    {"12VRail", "12V Rail", SensorKind::voltage, "SystemBoard", 12.1, {kNone, 10.8, 11.4, 12.6, 13.2, kNone}, 0, true},
    {"SystemPower", "System Power", SensorKind::consumption, "Chassis", 214, {kNone, kNone, kNone, 900, 1000, kNone}, 1100, false},
    {"PSU1Input", "PSU 1 Input", SensorKind::supply, "PowerSupply", 118, kSupply, 800, false},
    {"PSU2Input", "PSU 2 Input", SensorKind::supply, "PowerSupply", 116, kSupply, 800, false},
}};
// clang-format on

std::string sensorHealth(const SensorBounds& b, double reading)
{
    const auto below = [&](const std::optional<double>& bound) { return bound && reading < *bound; };
    const auto above = [&](const std::optional<double>& bound) { return bound && reading > *bound; };
    if (below(b.lowerFatal) || below(b.lowerCritical) || above(b.upperCritical) || above(b.upperFatal))
        return "Critical";
    return below(b.lowerCaution) || above(b.upperCaution) ? "Warning" : "OK";
}

Sensors::Offered Sensors::offered()
{
    return state_.with([](State& s) { return s.offered; });
}

void Sensors::offer(Offered which)
{
    state_.with([&](State& s) { s.offered = which; });
}

std::vector<SensorNow> Sensors::read(bool serverIsOff)
{
    return state_.with([&](State& s) {
        std::vector<SensorNow> all;
        for (std::size_t i = 0; i < kRows; ++i) {
            const SensorRow& row = kSensors[i];
            const Override   set = s.overrides[i].value_or(Override{});
            SensorNow        now{&row, set.reading.value_or(row.reading), "Enabled", {}};
            if (s.drift) now.reading = drifted(*now.reading, i);
            if (serverIsOff && row.needsPower) now.state = "StandbyOffline";
            if (set.absent) now.state = "Absent";
            if (set.noReading || now.state != "Enabled") now.reading.reset();
            if (now.state == "Enabled") now.health = now.reading ? sensorHealth(row.bounds, *now.reading) : "OK";
            all.push_back(std::move(now));
        }
        return all;
    });
}

bool Sensors::set(std::string_view name, const std::string& value)
{
    const auto* row = std::find_if(kSensors.begin(), kSensors.end(),
                                   [&](const SensorRow& r) { return name == r.name || name == r.id; });
    Override    change;
    change.absent    = value == "absent";
    change.noReading = value == "null";
    change.reading   = change.absent || change.noReading ? std::nullopt : parseReading(value);
    if (row == kSensors.end() || (!change.reading && !change.absent && !change.noReading)) return false;
    state_.with([&](State& s) { s.overrides[static_cast<std::size_t>(row - kSensors.begin())] = change; });
    return true;
}

void Sensors::drift(bool on)
{
    state_.with([&](State& s) { s.drift = on; });
}

}  // namespace torvosim
