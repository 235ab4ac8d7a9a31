/**
 * @file qvrfutil_json.hpp
 * qvrfutil.hpp and the whole of nlohmann's JSON, for programs that look into what the BMC answers:
 *
 * @code
 *     const qvrfutil::Json system = session.json("/redfish/v1/Systems/System.Embedded.1").orThrow();
 *     session.patch(path, qvrfutil::Json{{"AssetTag", "rack 7"}}).orThrow();
 * @endcode
 *
 * Apart from qvrfutil.hpp, for it takes a compiler several times as long. Needs nlohmann-json 3.9 or newer.
 */
#ifndef QVRFUTIL_JSON_HPP
#define QVRFUTIL_JSON_HPP

#include <nlohmann/json.hpp>

#include "qvrfutil.hpp"

#endif
