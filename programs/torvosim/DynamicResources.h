/** @file DynamicResources.h  Redfish resources made from the BMC's live state: accounts and the KS log. */
#ifndef TORVOSIM_DYNAMICRESOURCES_H
#define TORVOSIM_DYNAMICRESOURCES_H

#include <optional>

#include "Bmc.h"
#include "Http.h"

namespace torvosim {

/** The answer of a live resource; nothing when @p request is for another one. */
std::optional<Response> answerDynamicResource(Bmc& bmc, const Request& request);

/** Brings the built-in resource that is asked for up to date: the manager's clock, where sessions are opened. A mockup
 * stays as it was given. */
void refreshLiveMembers(Bmc& bmc, const Request& request);

}  // namespace torvosim

#endif
