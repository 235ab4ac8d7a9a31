/** @file SensorResources.h  The chassis' readings as Redfish tells them: the newer resources and the older ones. */
#ifndef TORVOSIM_SENSORRESOURCES_H
#define TORVOSIM_SENSORRESOURCES_H

#include "Bmc.h"

namespace torvosim {

constexpr const char kChassis[]           = "/redfish/v1/Chassis/System.Embedded.1";
constexpr const char kSensorsPath[]       = "/redfish/v1/Chassis/System.Embedded.1/Sensors";
constexpr const char kThermalPath[]       = "/redfish/v1/Chassis/System.Embedded.1/Thermal";
constexpr const char kPowerPath[]         = "/redfish/v1/Chassis/System.Embedded.1/Power";
constexpr const char kThermalSubsystem[]  = "/redfish/v1/Chassis/System.Embedded.1/ThermalSubsystem";
constexpr const char kPowerSubsystem[]    = "/redfish/v1/Chassis/System.Embedded.1/PowerSubsystem";
constexpr const char kFansPath[]          = "/redfish/v1/Chassis/System.Embedded.1/ThermalSubsystem/Fans";
constexpr const char kPowerSuppliesPath[] = "/redfish/v1/Chassis/System.Embedded.1/PowerSubsystem/PowerSupplies";

// Lists of resources, or null where the chassis does not offer them now.
Json sensorMembers(Bmc& bmc);
Json fanMembers(Bmc& bmc);
Json powerSupplyMembers(Bmc& bmc);
/** Thermal and Power. */
Json olderReadings(Bmc& bmc);
/** ThermalSubsystem with its ThermalMetrics, PowerSubsystem. */
Json subsystems(Bmc& bmc);
/** The chassis' links to what is offered, null for the rest, and its Status. */
Json chassisMembers(Bmc& bmc);

}  // namespace torvosim

#endif
