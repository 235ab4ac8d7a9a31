/** @file jsontext.h  JSON as text: indented for a reader, every value left as the BMC wrote it. */
#ifndef QVRFCTL_JSONTEXT_H
#define QVRFCTL_JSONTEXT_H

#include <string>
#include <string_view>

namespace qvrfctl {

/** JSON, nested no deeper than 256: no resource is, and what reads and writes values calls itself at each level. */
bool isJson(std::string_view text);

/** @p json, which is JSON, with one member a line, indented up to 32 levels: a few times its size. Numbers and strings
 * stay as they are, to the last character. */
std::string indented(std::string_view json);

/** The first human-readable message in a Redfish error body; empty when there is none, cut when it is long. */
std::string redfishMessage(std::string_view body);

}  // namespace qvrfctl

#endif
