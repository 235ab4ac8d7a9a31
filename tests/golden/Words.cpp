/** @file Words.cpp  Words of a scenario. */
#include "Words.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <regex>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace golden {
namespace {

constexpr std::string_view kEscapes = R"(nrt"\)", kEscaped = "\n\r\t\"\\";

class Reader {
public:
    Reader(const std::string& line, const Variables& variables) : line_(line), variables_(variables) {}

    std::vector<Word> all()
    {
        std::vector<Word> words;
        for (skipBlanks(); at_ < line_.size(); skipBlanks()) words.push_back(word());
        return words;
    }

private:
    bool more() const { return at_ < line_.size() && line_[at_] != ' '; }
    void skipBlanks()
    {
        while (at_ < line_.size() && line_[at_] == ' ') ++at_;
    }

    Word word()
    {
        Word word;
        while (more() && line_[at_] != '"') {
            const char c = line_[at_];
            if (c == '=' && word.name.empty() && !word.lead.empty() && at_ + 1 < line_.size() &&
                line_[at_ + 1] != ' ' && line_[at_ + 1] != '>') {
                word.name.swap(word.lead);
                ++at_;
            } else if (c == '$') {
                word.lead += variable();
            } else {
                word.lead += c;
                ++at_;
            }
        }
        while (more() && line_[at_] == '"') {
            word.quoted = true;
            word.text += repeated(quotedPart());
            if (at_ < line_.size() && line_[at_] == '+') ++at_;
        }
        if (more()) throw std::runtime_error("what stands behind the quotes: " + line_.substr(at_));
        return word;
    }

    std::string quotedPart()
    {
        std::string text;
        for (++at_; at_ < line_.size() && line_[at_] != '"';) text += character();
        if (at_ == line_.size()) throw std::runtime_error("a quote does not end");
        ++at_;
        return text;
    }

    std::string character()
    {
        const char c = line_[at_];
        if (c == '$') return variable();
        ++at_;
        if (c != '\\') return std::string(1, c);
        const char escaped = line_.at(at_++);
        if (escaped == 'x') {
            at_ += 2;
            return std::string(1, static_cast<char>(std::stoi(line_.substr(at_ - 2, 2), nullptr, 16)));
        }
        const std::size_t known = kEscapes.find(escaped);
        return std::string(1, known == kEscapes.npos ? escaped : kEscaped[known]);
    }

    std::string variable()
    {
        const std::size_t from = ++at_;
        while (at_ < line_.size() && std::isupper(static_cast<unsigned char>(line_[at_])) != 0) ++at_;
        const std::string name  = line_.substr(from, at_ - from);
        const auto        found = variables_.find(name);
        if (found == variables_.end()) throw std::runtime_error("no variable $" + name);
        return found->second;
    }

    std::string repeated(const std::string& text)
    {
        if (at_ >= line_.size() || line_[at_] != '*') return text;
        std::size_t       digits = 0;
        const std::size_t times  = std::stoul(line_.substr(++at_), &digits);
        at_ += digits;
        std::string all;
        for (std::size_t i = 0; i < times; ++i) all += text;
        return all;
    }

    const std::string& line_;
    const Variables&   variables_;
    std::size_t        at_ = 0;
};

std::string escaped(char c)
{
    if (const std::size_t known = kEscaped.find(c); known != kEscaped.npos) return {'\\', kEscapes[known]};
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7F) return std::string(1, c);
    char hex[5];
    std::snprintf(hex, sizeof hex, "\\x%02X", byte);
    return hex;
}

bool partOfAWord(const std::string& text, std::size_t at)
{
    return at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])) != 0;
}

}  // namespace

void replaceAll(std::string& text, const std::string& from, const std::string& to, bool words)
{
    for (std::size_t at = 0; (at = text.find(from, at)) != text.npos;) {
        const bool part = words && (partOfAWord(text, at - 1) || partOfAWord(text, at + from.size()));
        if (!part) text.replace(at, from.size(), to);
        at += part ? 1 : to.size();
    }
}

std::vector<Word> wordsOf(const std::string& line, const Variables& variables)
{
    return Reader(line, variables).all();
}

std::string inQuotes(const std::string& text)
{
    constexpr std::size_t kLongRun = 16;
    std::string           all, part;
    const auto            add = [&](const std::string& piece) { all += (all.empty() ? "" : "+") + piece; };
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = text.find_first_not_of(text[at], at);
        if (end == text.npos) end = text.size();
        if (end - at < kLongRun) {
            for (; at < end; ++at) part += escaped(text[at]);
            continue;
        }
        if (!part.empty()) add("\"" + std::exchange(part, {}) + "\"");
        add("\"" + escaped(text[at]) + "\"*" + std::to_string(end - at));
        at = end;
    }
    if (!part.empty() || all.empty()) add("\"" + part + "\"");
    return all;
}

/** A long run of a letter or digit as "p{300}". */
static std::string withShortRuns(const std::string& text)
{
    std::string all;
    for (std::size_t at = 0, end = 0; at < text.size(); at = end) {
        end            = std::min(text.find_first_not_of(text[at], at), text.size());
        const bool run = end - at >= 16 && std::isalnum(static_cast<unsigned char>(text[at])) != 0;
        all += run ? text.substr(at, 1) + "{" + std::to_string(end - at) + "}" : text.substr(at, end - at);
    }
    return all;
}

std::string lineOf(std::string text, const Variables& variables)
{
    static const std::regex pointer("0x[0-9a-f]{6,}");
    for (const auto& [name, value] : variables)
        if (value.size() > 2) replaceAll(text, value, "$" + name, true);
    text = withShortRuns(std::regex_replace(text, pointer, "0x..."));
    if (text.size() > 1000) text = text.substr(0, 60) + " ... " + std::to_string(text.size()) + " characters";
    if (!text.empty() && text.back() == '\n') text.pop_back();
    replaceAll(text, "\r", "\\r");
    replaceAll(text, "\n", "\\n");
    while (!text.empty() && text.back() == ' ') text.replace(text.size() - 1, 1, "\\x20");
    return text;
}

}  // namespace golden
