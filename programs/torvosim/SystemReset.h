/** @file SystemReset.h  The action ComputerSystem.Reset. */
#ifndef TORVOSIM_SYSTEMRESET_H
#define TORVOSIM_SYSTEMRESET_H

#include "Bmc.h"

namespace torvosim {

/** Sets out for the reset type that @p parameters name. 204; 400 for a type that is not allowed, 409 where it is so. */
Response resetSystem(Bmc& bmc, const std::string& target, const Json& parameters);

}  // namespace torvosim

#endif
