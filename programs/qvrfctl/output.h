/** @file output.h  Results go to standard output, everything else to standard error. */
#ifndef QVRFCTL_OUTPUT_H
#define QVRFCTL_OUTPUT_H

#include <nlohmann/json_fwd.hpp>
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

enum class Colour { none, green, yellow, red };

class Output {
public:
    explicit Output(const OutputStyle& style);

    bool json() const noexcept { return style_.json; }
    bool hasDocument() const noexcept { return hasDocument_; }

    // Each throws Failure(kExitOutput) when standard output does not take the text.
    /** Lets everything pass as it is, but to a terminal only what is harmless. */
    void write(std::string_view text);
    /** The text in a colour, where standard output shows colours and NO_COLOR is not set. */
    void write(std::string_view text, Colour colour);
    void document(const Json& json) { document(json, {}, {}); }
    /** The same with one member more, whose value is JSON text already: a body stays as the BMC wrote it. */
    void document(const Json& json, std::string_view lastKey, std::string_view lastValue);
    /** One JSON document of many: on one line whatever the style, and flushed. */
    void record(const Json& json) { record(json, {}, {}); }
    void record(const Json& json, std::string_view lastKey, std::string_view lastValue);
    /** A body as it came; indented for a reader when it is JSON. */
    void body(std::string_view body);
    /** Whatever still stands in buffers. */
    void flush();
    /** An empty terminal; nothing where standard output is none. */
    void clear();

    void note(std::string_view text) const;     ///< with --verbose
    void warning(std::string_view text) const;  ///< never fails

private:
    void put(std::string_view text);

    OutputStyle style_;
    bool        terminal_;
    bool        indents_;
    bool        colours_;
    bool        hasDocument_ = false;
    bool        hasWritten_  = false;
};

/**
 * @p text for a terminal. What a BMC sends may hold control characters, with which it would rule the reader's terminal:
 * they become "\x1b" and the like, and so do marks that turn the direction of writing, and bytes that are not UTF-8.
 * Tabs and line ends stay.
 */
std::string harmless(std::string_view text);
/** The same on one line, for a message. */
std::string harmlessLine(std::string_view text);

/** "label:      value" and a line feed. */
std::string labelled(std::string_view label, std::string_view value);

/** Reports a failure: a sentence and the advice on standard error; @p asDocument: an error document as well. */
void report(const Failure& failure, bool asDocument) noexcept;

}  // namespace qvrfctl

#endif
