/** @file suggestion.h  What a mistyped word may have been meant to be. */
#ifndef QVRFCTL_SUGGESTION_H
#define QVRFCTL_SUGGESTION_H

#include <string>
#include <vector>

namespace qvrfctl {

/** The one of @p known that is nearest to @p word; empty when all are too far away to be meant. */
std::string nearest(const std::string& word, const std::vector<std::string>& known);

}  // namespace qvrfctl

#endif
