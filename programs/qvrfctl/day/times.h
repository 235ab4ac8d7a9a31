/** @file times.h  Times as Redfish writes them. */
#ifndef QVRFCTL_DAY_TIMES_H
#define QVRFCTL_DAY_TIMES_H

#include <optional>
#include <string>

namespace qvrfctl {

/** Seconds since 1970 of "2026-11-21T09:12:03+01:00", or of a date in the zone of this host; nothing otherwise. */
std::optional<long long> secondsOf(const std::string& time);

}  // namespace qvrfctl

#endif
