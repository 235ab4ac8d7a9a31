/** @file firmware.h  The firmware of a server, as its update service lists it. */
#ifndef QVRFCTL_DAY_FIRMWARE_H
#define QVRFCTL_DAY_FIRMWARE_H

#include <vector>

#include "service.h"

namespace qvrfctl {

/** @throws Failure where there is none */
Value updateService(Service& service);
/** id, name, version, updateable, state, health, related, path of each. */
std::vector<Value> firmwareRows(Service& service);

}  // namespace qvrfctl

#endif
