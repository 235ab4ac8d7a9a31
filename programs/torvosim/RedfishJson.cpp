/** @file RedfishJson.cpp  What every Redfish document here is made with. */
#include "RedfishJson.h"

namespace torvosim {

namespace {
constexpr std::size_t kTagDigits = 16;
}

std::string ownPath(const Json& resource)
{
    return targetPath(textOf(resource, "@odata.id"));
}

std::string etagOf(const Json& resource)
{
    Json lasting = resource;
    for (const char* passing : {"DateTime", "@odata.etag"})
        if (lasting.is_object()) lasting.erase(passing);
    return "W/\"" + sha256Hex(lasting.dump(-1, ' ', false, Json::error_handler_t::replace)).substr(0, kTagDigits) + '"';
}

Json collectionOf(const std::string& path, const char* type, const char* name, const Json& members, bool whole)
{
    Json shown = Json::array();
    for (const Json& member : members) shown.push_back(whole ? member : linkTo(ownPath(member)));
    return {{"@odata.id", path},
            {"@odata.type", type},
            {"Name", name},
            {"Members@odata.count", shown.size()},
            {"Members", shown}};
}

std::string textOf(const Json& json, const char* key, const std::string& otherwise)
{
    if (!json.is_object()) return otherwise;
    const auto found = json.find(key);
    return found != json.end() && found->is_string() ? found->get<std::string>() : otherwise;
}

Response resourceResponse(int status, const Json& resource)
{
    Response response = jsonResponse(status, resource.dump(-1, ' ', false, Json::error_handler_t::replace));
    response.headers.emplace_back("ETag", etagOf(resource));
    return response;
}

Response noContent()
{
    Response response;
    response.status = 204;
    return response;
}

Response badProperty(const std::string& name, const std::string& message)
{
    const Json detail = {{"MessageId", "Base.1.12.PropertyValueError"},
                         {"Message", message},
                         {"MessageArgs", {name}},
                         {"RelatedProperties", {"#/" + name}},
                         {"Severity", "Warning"},
                         {"Resolution", "Correct the value of the property and send the request again."}};
    return jsonResponse(400, Json{{"error",
                                   {{"code", "Base.1.12.GeneralError"},
                                    {"message", message},
                                    {"@Message.ExtendedInfo", Json::array({detail})}}}}
                                 .dump());
}

}  // namespace torvosim
