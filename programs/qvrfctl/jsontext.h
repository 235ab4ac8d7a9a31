/** @file jsontext.h  JSON as text: indented for a reader, every value left as the BMC wrote it. */
#ifndef QVRFCTL_JSONTEXT_H
#define QVRFCTL_JSONTEXT_H

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace qvrfctl {

/**
 * JSON, nested no deeper than 256 and no longer than 64 MiB: no resource is, and what reads and writes values calls
 * itself at each level. Anything else is taken as text.
 */
bool isJson(std::string_view text);

/** What a BMC sent, to look into: null when it is not JSON. Its members are found, not kept in their order. */
nlohmann::json fromBmc(std::string_view text);

/** A value as JSON text on one line. A BMC's text need not be UTF-8; a document must be. */
std::string jsonTextOf(const nlohmann::ordered_json& value);
/** What a BMC sent as JSON text on one line: as it wrote it when it is JSON, else as a text. */
std::string asJsonText(std::string_view sent);

/**
 * The length of what the bracket at the beginning of @p text opens, its closing one included; 0 when none closes it.
 */
std::size_t balanced(std::string_view text) noexcept;

/** @p json, which is JSON, with one member a line, indented up to 32 levels: a few times its size. Numbers and strings
 * stay as they are, to the last character. */
std::string indented(std::string_view json);

/** The first human-readable message in a Redfish error body; empty when there is none, cut when it is long. */
std::string redfishMessage(std::string_view body);

}  // namespace qvrfctl

#endif
