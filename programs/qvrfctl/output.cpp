/** @file output.cpp  Lines, JSON documents and bodies on standard output; notes and failures on standard error. */
#include "output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "jsontext.h"
#include "process.h"
#include "progress.h"
#include "qvrfutil_status.hpp"

namespace qvrfctl {
namespace {

constexpr std::size_t kLabelWidth = 22;

std::string withMember(std::string object, std::string_view key, std::string_view value)
{
    object.pop_back();
    if (object.size() > 1) object += ',';
    return object.append("\"").append(key).append("\":").append(value) += '}';
}

std::string dumped(const Json& json, std::string_view lastKey, std::string_view lastValue, bool indent)
{
    std::string text = jsonTextOf(json);
    if (!lastKey.empty()) text = withMember(std::move(text), lastKey, lastValue);
    return (indent ? indented(text) : text) + '\n';
}

bool showsColours() noexcept
{
    const char* const no   = std::getenv("NO_COLOR");
    const char* const term = std::getenv("TERM");
    return (no == nullptr || *no == '\0') && term != nullptr && std::strcmp(term, "dumb") != 0;
}

constexpr const char* kPaint[] = {"", "\x1b[32m", "\x1b[33m", "\x1b[31m"};  // indexed by the colour
constexpr char        kPlain[] = "\x1b[0m";

[[noreturn]] void fail(int error)
{
    throw Failure(kExitOutput, std::string("cannot write the result: ") + std::strerror(error),
                  "what was asked of the BMC may have been done all the same");
}

}  // namespace

Output::Output(const OutputStyle& style)
    : style_(style),
      terminal_(::isatty(STDOUT_FILENO) == 1),
      indents_(style.pretty || terminal_),
      colours_(terminal_ && showsColours())
{
}

void Output::write(std::string_view text)
{
    put(terminal_ ? harmless(text) : text);
}

void Output::write(std::string_view text, Colour colour)
{
    const bool paints = colours_ && colour != Colour::none;
    if (paints) put(kPaint[static_cast<std::size_t>(colour)]);
    write(text);
    if (paints) put(kPlain);
}

void Output::put(std::string_view text)
{
    hasWritten_ = hasWritten_ || !text.empty();
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) fail(errno);
}

void Output::document(const Json& json, std::string_view lastKey, std::string_view lastValue)
{
    write(dumped(json, lastKey, lastValue, indents_));
    hasDocument_ = true;
}

void Output::record(const Json& json, std::string_view lastKey, std::string_view lastValue)
{
    write(dumped(json, lastKey, lastValue, false));
    flush();
}

void Output::body(std::string_view body)
{
    if (indents_ && isJson(body))
        write(indented(body) + '\n');
    else
        write(body);
    if (terminal_ && !body.empty() && body.back() != '\n' && !isJson(body)) write("\n");
}

void Output::flush()
{
    if (std::fflush(stdout) != 0) fail(errno);
    if (hasWritten_ && qvtools::hasNoOutput()) fail(EBADF);
}

void Output::clear()
{
    if (terminal_) put("\x1b[H\x1b[2J");
}

void Output::note(std::string_view text) const
{
    if (style_.verbose) warning(text);
}

void Output::warning(std::string_view text) const
{
    sayBesideProgress("qvrfctl: " + harmlessLine(text));
}

std::string harmless(std::string_view text)
{
    return qvrfutil::printable(text, "\t\n");
}

std::string harmlessLine(std::string_view text)
{
    std::string line = harmless(text);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
    return line;
}

std::string labelled(std::string_view label, std::string_view value)
{
    std::string text(label);
    text += ':';
    text.append(text.size() < kLabelWidth ? kLabelWidth - text.size() : 1, ' ');
    return text.append(value) += '\n';
}

void report(const Failure& failure, bool asDocument) noexcept
try {
    std::fprintf(stderr, "qvrfctl: %s\n", harmlessLine(failure.what()).c_str());
    if (!failure.advice().empty())
        std::fprintf(stderr, "qvrfctl: advice: %s\n", harmlessLine(failure.advice()).c_str());
    if (!asDocument || failure.exit() == kExitOutput) return;
    Json error{{"message", failure.what()}, {"advice", failure.advice()}, {"exit", static_cast<int>(failure.exit())}};
    if (!failure.name().empty()) {
        error["status"] = failure.status();
        error["name"]   = failure.name();
    }
    const std::string text  = dumped(Json{{"error", error}}, {}, {}, false);
    const std::string shown = ::isatty(STDOUT_FILENO) == 1 ? harmless(text) : text;
    std::fwrite(shown.data(), 1, shown.size(), stdout);
    std::fflush(stdout);
} catch (...) {
    std::fputs("qvrfctl: out of memory\n", stderr);
}

}  // namespace qvrfctl
