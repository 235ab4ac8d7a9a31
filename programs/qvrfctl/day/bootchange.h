/** @file bootchange.h  qvrfctl boot once. */
#ifndef QVRFCTL_DAY_BOOTCHANGE_H
#define QVRFCTL_DAY_BOOTCHANGE_H

#include <string>

namespace qvrfctl {

struct Context;

struct BootWords {
    std::string system;
    std::string source;
    std::string mode;
};

void bootOnce(const Context& context, const BootWords& words);

}  // namespace qvrfctl

#endif
