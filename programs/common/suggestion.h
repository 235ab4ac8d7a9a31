/** @file suggestion.h  What a mistyped word may have been meant to be. */
#ifndef QVTOOLS_SUGGESTION_H
#define QVTOOLS_SUGGESTION_H

#include <string>
#include <vector>

namespace qvtools {

/** The one of @p known that is nearest to @p word; empty when all are too far away to be meant. */
std::string nearest(const std::string& word, const std::vector<std::string>& known);

}  // namespace qvtools

#endif
