/** @file sensors.h  The sensors of a chassis, whichever of Redfish's forms its BMC tells them in. */
#ifndef QVRFCTL_DAY_SENSORS_H
#define QVRFCTL_DAY_SENSORS_H

#include <string>
#include <vector>

#include "service.h"

namespace qvrfctl {

/**
 * One object a sensor: chassis, name, path, kind, reading, units, the six bounds, state, health, byBound. A kind that
 * one form lacks is taken from the next. @p firstOnly: from the first that answers, with two requests at most
 */
std::vector<Value> readSensors(Service& service, const Value& chassis, bool firstOnly = false);
/** Whether the first form takes no more than two requests. */
bool sensorsInTwoRequests(const Service& service, const Value& chassis);

bool        isBad(const Value& sensor);          ///< Warning or Critical
std::string readingText(const Value& sensor);    ///< "580 RPM"
std::string sensorInWords(const Value& sensor);  ///< "580 RPM, below 600"

}  // namespace qvrfctl

#endif
