/** @file SessionService.h  The session collections of both generations. */
#ifndef TORVOSIM_SESSIONSERVICE_H
#define TORVOSIM_SESSIONSERVICE_H

#include <optional>
#include <string>

#include "Bmc.h"
#include "Http.h"

namespace torvosim {

/** Whether @p path belongs to the session collection that does not answer in this generation. */
bool isOtherGeneration(Bmc& bmc, const std::string& path);

/** Answers requests to the session collection and its members; nothing for other paths. */
std::optional<Response> answerSessionRequest(Bmc& bmc, const Request& request, const std::string& body);

}  // namespace torvosim

#endif
