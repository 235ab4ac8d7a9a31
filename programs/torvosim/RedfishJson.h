/** @file RedfishJson.h  What every Redfish document here is made with: links, entity tags, errors. */
#ifndef TORVOSIM_REDFISHJSON_H
#define TORVOSIM_REDFISHJSON_H

#include <nlohmann/json.hpp>
#include <string>

#include "Http.h"

namespace torvosim {

using Json = nlohmann::json;

inline Json linkTo(const std::string& path)
{
    return {{"@odata.id", path}};
}
/** The path that @p resource names as its own; empty when it names none. */
std::string ownPath(const Json& resource);
/** The same for the same content, so that it changes with whatever is read. A clock's going on is no change. */
std::string etagOf(const Json& resource);
/** A collection of @p members, with links to them or the members themselves. */
Json collectionOf(const std::string& path, const char* type, const char* name, const Json& members, bool whole);

/** A text member of @p json; @p otherwise when it is missing or no text. */
std::string textOf(const Json& json, const char* key, const std::string& otherwise = {});

/** "200" with @p resource and its entity tag. */
Response resourceResponse(int status, const Json& resource);
/** "204" */
Response noContent();
/** "400" for the property @p name, as clients that point at what was wrong want it. */
Response badProperty(const std::string& name, const std::string& message);

}  // namespace torvosim

#endif
