/** @file logclear.h  qvrfctl log clear. */
#ifndef QVRFCTL_DAY_LOGCLEAR_H
#define QVRFCTL_DAY_LOGCLEAR_H

#include "logwords.h"

namespace qvrfctl {

void clearLog(const Context& context, const LogWords& words);
void followLog(const Context& context, const LogWords& words);

}  // namespace qvrfctl

#endif
