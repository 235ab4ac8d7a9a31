/** @file RedfishService.h  The Redfish service: what is read, asked for, changed and done below /redfish. */
#ifndef TORVOSIM_REDFISHSERVICE_H
#define TORVOSIM_REDFISHSERVICE_H

#include "Bmc.h"

namespace torvosim {

Response answerRedfish(Bmc& bmc, const Request& request, const std::string& body);

}  // namespace torvosim

#endif
