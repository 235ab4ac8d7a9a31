/** @file boot.h  The boot override of a system. */
#ifndef QVRFCTL_DAY_BOOT_H
#define QVRFCTL_DAY_BOOT_H

#include "screen.h"
#include "service.h"

namespace qvrfctl {

/** system, target, enabled, mode, allowed, order, next, pending. */
Value readBoot(Service& service);
Value bootOf(const Value& system);
void  showBoot(Screen& screen, const Value& boot);

}  // namespace qvrfctl

#endif
