/** @file Sensors.h  The chassis' sensors: one list, out of which every resource with readings is made. */
#ifndef TORVOSIM_SENSORS_H
#define TORVOSIM_SENSORS_H

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Support.h"

namespace torvosim {

enum class SensorKind { temperature, fan, voltage, consumption, supply };

/** The bounds of a reading, from the lowest to the highest; nothing: there is none. */
struct SensorBounds {
    std::optional<double> lowerFatal, lowerCritical, lowerCaution, upperCaution, upperCritical, upperFatal;
};

struct SensorRow {
    const char*  id;
    const char*  name;
    SensorKind   kind;
    const char*  context;  ///< PhysicalContext
    double       reading;
    SensorBounds bounds;
    double       capacity;    ///< of a fan its highest speed, of a supply and the whole server watts
    bool         needsPower;  ///< reads nothing while the server is off
};

/** A sensor at one moment. */
struct SensorNow {
    const SensorRow*      row = nullptr;
    std::optional<double> reading;
    std::string           state;   ///< Status.State
    std::string           health;  ///< Status.Health; empty where there is no reading
};

class Sensors {
public:
    enum class Offered { newer, older, both, none };

    Offered offered();
    void    offer(Offered which);

    /** Every sensor as it is now. */
    std::vector<SensorNow> read(bool serverIsOff);
    /** What a word says of the sensor of that name or id: a number, "null" (no reading) or "absent". False: neither. */
    bool set(std::string_view name, const std::string& value);
    /** Readings wander about their values; else they stay. */
    void drift(bool on);

private:
    static constexpr std::size_t kRows = 9;
    struct Override {
        std::optional<double> reading;
        bool                  noReading = false;
        bool                  absent    = false;
    };
    struct State {
        Offered                                    offered = Offered::both;
        bool                                       drift   = false;
        std::array<std::optional<Override>, kRows> overrides;
    };
    static const std::array<SensorRow, kRows> kSensors;

    Guarded<State> state_;
};

/** "OK", "Warning" or "Critical": what the bounds say of a reading. */
std::string sensorHealth(const SensorBounds& bounds, double reading);

}  // namespace torvosim

#endif
