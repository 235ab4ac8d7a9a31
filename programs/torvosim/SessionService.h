/** @file SessionService.h  The session collections of both generations. */
#ifndef TORVOSIM_SESSIONSERVICE_H
#define TORVOSIM_SESSIONSERVICE_H

#include <optional>
#include <string>
#include <string_view>

#include "Bmc.h"
#include "Http.h"

namespace torvosim {

/** The login token of "Authorization: Bearer"; else empty. */
std::string_view bearerToken(const Request& request);

/** Whether @p path belongs to the session collection that does not answer in this generation. */
bool isOtherGeneration(Bmc& bmc, const std::string& path);

/** Whether @p path is the session collection of this generation or one of its members. */
bool isSessionPath(Bmc& bmc, const std::string& path);
/** The member "Sessions" that leads to the collection. */
Json sessionsLink(Bmc& bmc);

std::optional<Json> readSession(Bmc& bmc, const std::string& path);
/** Opens a session, or closes one. */
Response changeSessions(Bmc& bmc, const Request& request, const std::string& body);

}  // namespace torvosim

#endif
