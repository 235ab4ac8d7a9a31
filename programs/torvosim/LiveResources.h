/** @file LiveResources.h  Any resource as it is read: documents, and those made from the BMC's live state. */
#ifndef TORVOSIM_LIVERESOURCES_H
#define TORVOSIM_LIVERESOURCES_H

#include <optional>

#include "Bmc.h"

namespace torvosim {

/** Brings about what the time since the last request has brought: a task that is over, a server that came up. */
void settle(Bmc& bmc);

/** The resource at @p path, with all that was said about it meanwhile; nothing when there is none. */
std::optional<Json> readResource(Bmc& bmc, const std::string& path);

/** Whether @p path belongs to a part of the service that is no document and takes no changes here. */
bool isLive(Bmc& bmc, const std::string& path);

}  // namespace torvosim

#endif
