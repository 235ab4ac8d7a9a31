/** @file wrapped.h  Text for a terminal of 80 columns. */
#ifndef QVTOOLS_WRAPPED_H
#define QVTOOLS_WRAPPED_H

#include <string>

namespace qvtools {

/** @p help with lines of 80 columns at most; what goes on stands below the beginning of its column. */
std::string wrapped(const std::string& help);

}  // namespace qvtools

#endif
