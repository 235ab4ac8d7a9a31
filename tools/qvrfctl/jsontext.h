/** @file jsontext.h  JSON as text: indented for a reader, every value left as the BMC wrote it. */
#ifndef QVRFCTL_JSONTEXT_H
#define QVRFCTL_JSONTEXT_H

#include <string>
#include <string_view>

namespace qvrfctl {

bool isJson(std::string_view text);

/** @p json, which is JSON, with one member a line. Numbers and strings stay as they are, to the last character. */
std::string indented(std::string_view json);

/** The first human-readable message in a Redfish error body; empty when there is none. */
std::string redfishMessage(std::string_view body);

}  // namespace qvrfctl

#endif
