/** @file output.cpp  Lines, JSON documents and bodies on standard output; notes and failures on standard error. */
#include "output.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "jsontext.h"

namespace qvrfctl {
namespace {

constexpr std::size_t kLabelWidth = 22;

std::string dumped(const Json& json, bool indent)
{
    // A BMC's text need not be UTF-8; a document must be.
    const std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
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

// ---- what a terminal may be given -------------------------------------------------------------------------------

struct Character {
    std::size_t size;  // bytes; 0: these are not UTF-8
    char32_t    code;
};

/** The character that @p text begins with. Overlong forms count as what they stand for, and are caught as that. */
Character firstOf(std::string_view text) noexcept
{
    const auto        lead = static_cast<unsigned char>(text[0]);
    const std::size_t size = lead < 0x80   ? 1
                             : lead < 0xC0 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF8 ? 4
                                           : 0;
    if (size > text.size()) return {0, 0};
    char32_t code = size == 1 ? lead : lead & (0x7Fu >> size);
    for (std::size_t i = 1; i < size; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0u) != 0x80u) return {0, 0};
        code = (code << 6) | (next & 0x3Fu);
    }
    return {size, code};
}

bool isHarmless(const Character& c) noexcept
{
    constexpr char32_t turning[][2] = {{0x200E, 0x200F}, {0x202A, 0x202E}, {0x2066, 0x2069}};
    for (const auto& range : turning)
        if (c.code >= range[0] && c.code <= range[1]) return false;
    if (c.size == 1) return (c.code >= ' ' && c.code != 0x7F) || c.code == '\t' || c.code == '\n';
    return c.size != 0 && c.code > 0x9F;
}

std::string escaped(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 5> code{};
        std::snprintf(code.data(), code.size(), "\\x%02x", unsigned{static_cast<unsigned char>(byte)});
        text += code.data();
    }
    return text;
}

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
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) fail(errno);
}

void Output::document(const Json& json)
{
    write(dumped(json, indents_));
    hasDocument_ = true;
}

void Output::record(const Json& json)
{
    write(dumped(json, false));
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
}

void Output::note(std::string_view text) const
{
    if (style_.verbose) warning(text);
}

void Output::warning(std::string_view text) const
{
    std::fprintf(stderr, "qvrfctl: %s\n", harmlessLine(text).c_str());
}

std::string harmless(std::string_view text)
{
    std::string clean;
    while (!text.empty()) {
        const Character   c    = firstOf(text);
        const std::size_t size = std::max<std::size_t>(c.size, 1);
        if (isHarmless(c))
            clean += text.substr(0, size);
        else if (text.substr(0, 2) != "\r\n")
            clean += escaped(text.substr(0, size));
        text.remove_prefix(size);
    }
    return clean;
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
    const std::string text = dumped(Json{{"error", error}}, false);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
} catch (...) {
    std::fputs("qvrfctl: out of memory\n", stderr);
}

}  // namespace qvrfctl
