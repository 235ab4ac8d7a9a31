/** @file day.h  The commands of an administrator's day, and what they share. Light: no JSON, no layer. */
#ifndef QVRFCTL_DAY_DAY_H
#define QVRFCTL_DAY_DAY_H

#include <functional>

#include "../arguments.h"
#include "service.h"

namespace qvrfctl {

using Action = std::function<void(const Context&)>;

Action declareStatus(Arguments arguments);
Action declarePower(Arguments arguments);
Action declareSensors(Arguments arguments);
Action declareLog(Arguments arguments);
Action declareFirmware(Arguments arguments);
Action declareBoot(Arguments arguments);
Action declareTree(Arguments arguments);
Action declareTask(Arguments arguments);

}  // namespace qvrfctl

#endif
