/** @file jsontext.cpp  Indents JSON, or puts it on a line, without reading its values, and finds the message in an
 * error body. */
#include "jsontext.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace qvrfctl {
namespace {

constexpr std::size_t kIndent        = 2;
constexpr std::size_t kDeepestIndent = 32;  // deeper ones stand below each other
constexpr std::size_t kDeepest       = 256;
constexpr std::size_t kLongest       = 64u * 1024 * 1024;
constexpr std::size_t kLongestSaid   = 500;

/** Whether more than @p deepest brackets outside strings are open at any place. */
bool isDeeper(std::string_view json, std::size_t deepest) noexcept
{
    std::size_t depth    = 0;
    bool        inString = false;
    for (std::size_t at = 0; at < json.size() && depth <= deepest; ++at) {
        const char c = json[at];
        if (inString && c == '\\')
            ++at;
        else if (c == '"')
            inString = !inString;
        else if (!inString && (c == '{' || c == '['))
            ++depth;
        else if (!inString && (c == '}' || c == ']') && depth > 0)
            --depth;
    }
    return depth > deepest;
}

}  // namespace

std::size_t balanced(std::string_view text) noexcept
{
    std::size_t depth    = 0;
    bool        inString = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (inString && c == '\\')
            ++at;
        else if (c == '"')
            inString = !inString;
        else if (!inString && (c == '{' || c == '['))
            ++depth;
        else if (!inString && (c == '}' || c == ']') && --depth == 0)
            return at + 1;
    }
    return 0;
}

namespace {

/** The same values on one line, or a line each. */
class Rewriter {
public:
    Rewriter(std::string_view json, bool indents) : json_(json), indents_(indents) {}

    std::string run()
    {
        while (at_ < json_.size()) step(json_[at_]);
        return std::move(text_);
    }

private:
    static bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

    void newLine()
    {
        if (!indents_) return;
        text_ += '\n';
        text_.append(std::min(depth_, kDeepestIndent) * kIndent, ' ');
    }
    void skipBlanks()
    {
        while (at_ < json_.size() && isBlank(json_[at_])) ++at_;
    }
    void copyString()
    {
        const std::size_t from = at_++;
        while (at_ < json_.size() && json_[at_] != '"') at_ += json_[at_] == '\\' ? 2 : 1;
        ++at_;
        text_ += json_.substr(from, at_ - from);
    }
    void open(char bracket)
    {
        text_ += bracket;
        ++at_;
        skipBlanks();
        if (at_ < json_.size() && (json_[at_] == '}' || json_[at_] == ']')) {  // empty ones stay on their line
            text_ += json_[at_++];
            return;
        }
        ++depth_;
        newLine();
    }
    void close(char bracket)
    {
        --depth_;
        newLine();
        text_ += bracket;
        ++at_;
    }
    void step(char c)
    {
        switch (c) {
            case '"': return copyString();
            case '{':
            case '[': return open(c);
            case '}':
            case ']': return close(c);
            case ',':
                text_ += ',';
                newLine();
                break;
            case ':': text_ += indents_ ? ": " : ":"; break;
            default:
                if (!isBlank(c)) text_ += c;
        }
        ++at_;
    }

    std::string_view json_;
    bool             indents_;
    std::string      text_;
    std::size_t      at_    = 0;
    std::size_t      depth_ = 0;
};

}  // namespace

bool isJson(std::string_view text)
{
    return text.size() <= kLongest && text.find('\0') == text.npos && !isDeeper(text, kDeepest) &&
           nlohmann::json::accept(text);
}

nlohmann::json fromBmc(std::string_view text)
{
    return isJson(text) ? nlohmann::json::parse(text) : nlohmann::json();
}

std::string jsonTextOf(const nlohmann::ordered_json& value)
{
    return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string asJsonText(std::string_view sent)
{
    return isJson(sent) ? Rewriter(sent, false).run() : jsonTextOf(nlohmann::ordered_json(std::string(sent)));
}

std::string indented(std::string_view json)
{
    return Rewriter(json, true).run();
}

std::string redfishMessage(std::string_view body)
{
    const auto json = fromBmc(body);
    if (!json.is_object() || !json.contains("error") || !json["error"].is_object()) return {};
    const auto& error    = json["error"];
    const auto  extended = error.find("@Message.ExtendedInfo");
    if (extended != error.end() && extended->is_array())
        for (const auto& info : *extended)
            if (info.is_object() && info.contains("Message") && info["Message"].is_string())
                return info["Message"].get<std::string>().substr(0, kLongestSaid);
    if (error.contains("message") && error["message"].is_string())
        return error["message"].get<std::string>().substr(0, kLongestSaid);
    return {};
}

}  // namespace qvrfctl
