/** @file UpdateService.cpp  Firmware updates. */
#include "UpdateService.h"

#include <stdexcept>

#include "LogResources.h"
#include "StoredFile.h"
#include "TaskResources.h"

namespace torvosim {

namespace {

constexpr const char kSimpleUpdate[] = "/redfish/v1/UpdateService/Actions/UpdateService.SimpleUpdate";

/** What an update brings when its time is over. */
std::string finish(Bmc& bmc, const Targets& targets, bool onReset)
{
    const std::string told = installFirmware(bmc, targets, onReset);
    writeLifecycle(bmc, "OK", told);
    bmc.restart.updateIsOver();
    return told;
}

std::uint64_t largestImage(Bmc& bmc)
{
    const auto service = bmc.tree.read(kUpdateService);
    const bool told    = service && service->contains("MaxImageSizeBytes");
    return told && (*service)["MaxImageSizeBytes"].is_number_unsigned()
               ? (*service)["MaxImageSizeBytes"].get<std::uint64_t>()
               : UINT64_MAX;
}

/** What the update service's own members say of the next image that is pushed. */
Json pushParameters(Bmc& bmc)
{
    const Json service = bmc.tree.read(kUpdateService).value_or(Json::object());
    const auto time    = Json::json_pointer("/HttpPushUriOptions/HttpPushUriApplyTime/ApplyTime");
    Json       parameters;
    parameters["Targets"] = service.value("HttpPushUriTargets", Json::array());
    if (service.contains(time)) parameters["@Redfish.OperationApplyTime"] = service[time];
    return parameters;
}

}  // namespace

Json updateMembers(Bmc& bmc)
{
    const UpdateWays ways    = bmc.updateWays;
    const auto       offered = [&](UpdateWays least, Json what) { return ways >= least ? std::move(what) : Json(); };
    const Json simple = {{"target", kSimpleUpdate}, {"TransferProtocol@Redfish.AllowableValues", {"HTTP", "HTTPS"}}};
    return {{"MultipartHttpPushUri", offered(UpdateWays::multipart, kUploadTarget)},
            {"HttpPushUri", offered(UpdateWays::push, kPushTarget)},
            {"Actions", {{"#UpdateService.SimpleUpdate", offered(UpdateWays::simple, simple)}}}};
}

Response beginUpdate(Bmc& bmc, std::uint64_t size, const Json& parameters)
{
    if (size > largestImage(bmc)) return errorResponse(413, "The image is larger than MaxImageSizeBytes");
    Targets targets;
    try {
        targets = firmwareTargets(parameters.is_object() ? parameters.value("Targets", Json()) : Json());
    } catch (const std::invalid_argument& error) {
        return badProperty("Targets", error.what());
    }
    const bool onReset = textOf(parameters, "@Redfish.OperationApplyTime") == "OnReset";
    return acceptedTask(bmc.tasks.begin("Update", [&bmc, targets, onReset] { return finish(bmc, targets, onReset); }));
}

Response receivePush(Bmc& bmc, Exchange& exchange)
{
    StoredFile file(bmc);
    for (std::string_view piece = exchange.readSome(); !piece.empty(); piece = exchange.readSome()) file.write(piece);
    if (!file.isGood()) return errorResponse(507, "The image cannot be stored");
    if (bmc.updateWays < UpdateWays::push) return errorResponse(404, "The service takes no image here");
    return beginUpdate(bmc, file.size(), pushParameters(bmc));
}

Response simpleUpdate(Bmc& bmc, const std::string&, const Json& parameters)
{
    if (textOf(parameters, "ImageURI").empty())
        return badProperty("ImageURI", "The action SimpleUpdate needs the parameter ImageURI");
    return beginUpdate(bmc, 0, parameters);
}

}  // namespace torvosim
