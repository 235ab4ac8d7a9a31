/** @file output.h  Results go to standard output, everything else to standard error. */
#ifndef QVRFCTL_OUTPUT_H
#define QVRFCTL_OUTPUT_H

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "failure.h"

namespace qvrfctl {

using Json = nlohmann::ordered_json;

struct OutputStyle {
    bool json    = false;  ///< one JSON document instead of lines
    bool pretty  = false;  ///< indent JSON although standard output is no terminal
    bool verbose = false;
};

class Output {
public:
    explicit Output(const OutputStyle& style);

    bool json() const noexcept { return style_.json; }
    bool hasDocument() const noexcept { return hasDocument_; }

    // Each throws Failure(kExitOutput) when standard output does not take the text.
    void write(std::string_view text);
    void document(const Json& json);
    /** One JSON document of many: on one line whatever the style, and flushed. */
    void record(const Json& json);
    /** A body as it came; indented for a reader when it is JSON. */
    void body(std::string_view body);
    /** Whatever still stands in buffers. */
    void flush();

    void note(std::string_view text) const;     ///< with --verbose
    void warning(std::string_view text) const;  ///< never fails

private:
    OutputStyle style_;
    bool        terminal_;
    bool        indents_;
    bool        hasDocument_ = false;
};

/** "label:      value" and a line feed. */
std::string labelled(std::string_view label, std::string_view value);

/** Reports a failure: a sentence and the advice on standard error; @p asDocument: an error document as well. */
void report(const Failure& failure, bool asDocument) noexcept;

}  // namespace qvrfctl

#endif
