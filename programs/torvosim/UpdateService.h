/** @file UpdateService.h  Firmware updates: the ways in that are offered, and the task that each one begins. */
#ifndef TORVOSIM_UPDATESERVICE_H
#define TORVOSIM_UPDATESERVICE_H

#include "Bmc.h"

namespace torvosim {

constexpr const char kUpdateService[] = "/redfish/v1/UpdateService";
constexpr const char kUploadTarget[]  = "/redfish/v1/UpdateService/MultipartUpload";
constexpr const char kPushTarget[]    = "/redfish/v1/UpdateService/HttpPush";

/** The members of the update service that tell of the ways in, null for those that are not offered. */
Json updateMembers(Bmc& bmc);

/**
 * Begins the update with an image of @p size bytes, that "Targets" and "@Redfish.OperationApplyTime" of
 * @p parameters are for. 202 with the task; 400 for a wrong target, 413 for an image that is too large.
 */
Response beginUpdate(Bmc& bmc, std::uint64_t size, const Json& parameters);
/** The body of @p exchange is the image; what it is for stands in the update service's own members. */
Response receivePush(Bmc& bmc, Exchange& exchange);
/** The action UpdateService.SimpleUpdate. The image is not fetched. */
Response simpleUpdate(Bmc& bmc, const std::string& target, const Json& parameters);

}  // namespace torvosim

#endif
