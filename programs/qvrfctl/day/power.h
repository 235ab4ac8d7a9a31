/** @file power.h  What a system may be told about its power. */
#ifndef QVRFCTL_DAY_POWER_H
#define QVRFCTL_DAY_POWER_H

#include <optional>
#include <string>
#include <vector>

#include "service.h"

namespace qvrfctl {

/** The values that an action takes for a parameter; nothing where the BMC does not say: it may take any. */
std::optional<std::vector<std::string>> allowedValues(Service& service, const Value& action,
                                                      const std::string& parameter);
/** The kinds of reset. */
std::optional<std::vector<std::string>> allowedResets(Service& service, const Value& system);

}  // namespace qvrfctl

#endif
