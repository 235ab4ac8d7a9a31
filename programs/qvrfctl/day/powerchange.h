/** @file powerchange.h  qvrfctl power on, off, restart, cycle and nmi. */
#ifndef QVRFCTL_DAY_POWERCHANGE_H
#define QVRFCTL_DAY_POWERCHANGE_H

#include <string>

namespace qvrfctl {

struct Context;

struct PowerWords {
    std::string system;
    unsigned    timeout = 0;
    bool        force   = false;
    bool        yes     = false;
    bool        noWait  = false;
};

/** @p word: what is asked for, as on the command line. @throws Failure */
void changePower(const Context& context, const std::string& word, const PowerWords& words);

}  // namespace qvrfctl

#endif
