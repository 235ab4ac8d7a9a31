/**
 * @file qvrfutil_scan.hpp
 * Single members out of a JSON text, without taking the text apart. The layer itself reads no more than a link here and
 * a message there, and a program that has no other use for JSON does not pay for compiling a whole reader. Included by
 * qvrfutil_request.hpp; programs have no use for it alone.
 */
#ifndef QVRFUTIL_SCAN_HPP
#define QVRFUTIL_SCAN_HPP

#include <cstddef>
#include <string>
#include <string_view>

namespace qvrfutil {
namespace detail {

/** One value of a text that somebody else keeps. A value that is not there, or that is broken, is empty. */
class JsonView {
public:
    JsonView() = default;
    /** The value that @p text begins with. */
    explicit JsonView(std::string_view text)
    {
        text.remove_prefix(blanks(text, 0));
        text_ = text.substr(0, endOfValue(text, 0));
    }

    bool isObject() const noexcept { return startsWith('{'); }
    bool isArray() const noexcept { return startsWith('['); }
    bool isText() const noexcept { return startsWith('"'); }
    bool isTrue() const noexcept { return text_ == "true"; }

    /** An object's member. */
    JsonView operator[](std::string_view key) const
    {
        JsonView found;
        if (!isObject()) return found;
        forEachPart([&](std::string_view name, JsonView value) {
            const bool isIt = unescaped(name) == key;
            if (isIt) found = value;
            return !isIt;
        });
        return found;
    }
    /** Calls @p look with each element of an array, for as long as it returns true. */
    template <class Look>
    void forEach(Look look) const
    {
        if (isArray()) forEachPart([&](std::string_view, JsonView value) { return look(value); });
    }
    /** The value as it stands in the text. */
    std::string_view raw() const noexcept { return text_; }
    /** A text's characters; empty for everything else. */
    std::string text() const { return isText() ? unescaped(text_) : std::string(); }

private:
    static constexpr std::string_view kBlanks = " \t\r\n";

    bool startsWith(char c) const noexcept { return !text_.empty() && text_.front() == c; }

    static std::size_t blanks(std::string_view text, std::size_t at) noexcept
    {
        const std::size_t next = text.find_first_not_of(kBlanks, at);
        return next == text.npos ? text.size() : next;
    }

    /** @return the place behind the quotation mark that ends the text at @p at; 0 without one */
    static std::size_t endOfText(std::string_view text, std::size_t at) noexcept
    {
        for (++at; at < text.size() && text[at] != '"'; ++at)
            if (text[at] == '\\') ++at;
        return at < text.size() ? at + 1 : 0;
    }

    static std::size_t endOfBrackets(std::string_view text, std::size_t at) noexcept
    {
        for (std::size_t depth = 0; at < text.size();) {
            const char c = text[at];
            at           = c == '"' ? endOfText(text, at) : at + 1;
            if (at == 0) return 0;
            if (c == '{' || c == '[') ++depth;
            if ((c == '}' || c == ']') && --depth == 0) return at;
        }
        return 0;
    }

    /** @return the place behind the value at @p at; 0 when it has no end */
    static std::size_t endOfValue(std::string_view text, std::size_t at) noexcept
    {
        if (at >= text.size()) return 0;
        if (text[at] == '"') return endOfText(text, at);
        if (text[at] == '{' || text[at] == '[') return endOfBrackets(text, at);
        const std::size_t end = text.find_first_of(",]} \t\r\n", at);
        return end == text.npos ? text.size() : end;
    }

    /** Calls @p look with each name, quoted as it stands there, and value; an array's have no names. */
    template <class Look>
    void forEachPart(Look look) const
    {
        if (!isObject() && !isArray()) return;
        for (std::size_t at = blanks(text_, 1); at < text_.size() && text_[at] != ']' && text_[at] != '}';) {
            std::string_view name;
            if (isObject() && !takeName(at, name)) return;
            const std::size_t end = endOfValue(text_, at);
            if (end <= at || !look(name, JsonView(text_.substr(at, end - at)))) return;
            at = blanks(text_, end);
            if (at < text_.size() && text_[at] == ',') at = blanks(text_, at + 1);
        }
    }

    bool takeName(std::size_t& at, std::string_view& name) const noexcept
    {
        const std::size_t end = text_[at] == '"' ? endOfText(text_, at) : 0;
        if (end == 0) return false;
        name = text_.substr(at, end - at);
        at   = blanks(text_, end);
        if (at >= text_.size() || text_[at] != ':') return false;
        at = blanks(text_, at + 1);
        return true;
    }

    static std::string unescaped(std::string_view quoted)
    {
        std::string text;
        quoted = quoted.substr(1, quoted.size() < 2 ? 0 : quoted.size() - 2);
        while (!quoted.empty()) {
            if (quoted.front() == '\\') {
                takeEscape(quoted, text);
                continue;
            }
            const auto plain = quoted.substr(0, quoted.find('\\'));
            text += plain;
            quoted.remove_prefix(plain.size());
        }
        return text;
    }

    static void takeEscape(std::string_view& quoted, std::string& text)
    {
        constexpr std::string_view codes = "bfnrt";
        constexpr std::string_view means = "\b\f\n\r\t";
        const char                 code  = quoted.size() > 1 ? quoted[1] : '\\';
        quoted.remove_prefix(quoted.size() > 1 ? 2 : 1);
        if (code == 'u')
            append(takeCharacter(quoted), text);
        else
            text += codes.find(code) != codes.npos ? means[codes.find(code)] : code;
    }

    /** The character of "u" and four digits, whose digits @p quoted begins with; of two such when they are a pair. */
    static char32_t takeCharacter(std::string_view& quoted)
    {
        constexpr char32_t kReplacement = 0xFFFD;
        const char32_t     first        = takeHex(quoted);
        if (first < 0xD800 || first > 0xDFFF) return first;
        if (first > 0xDBFF || quoted.substr(0, 2) != "\\u") return kReplacement;
        std::string_view rest = quoted.substr(2);
        const char32_t   low  = takeHex(rest);
        if (low < 0xDC00 || low > 0xDFFF) return kReplacement;
        quoted = rest;
        return 0x10000 + ((first - 0xD800) << 10) + (low - 0xDC00);
    }

    static char32_t takeHex(std::string_view& quoted)
    {
        char32_t value = 0;
        for (int digit = 0; digit < 4 && !quoted.empty(); ++digit) {
            const char c = quoted.front();
            quoted.remove_prefix(1);
            value = value * 16 + static_cast<char32_t>(c >= '0' && c <= '9' ? c - '0' : ((c | 0x20) - 'a' + 10) & 0x0F);
        }
        return value;
    }

    static void append(char32_t c, std::string& text)
    {
        const auto tail = [&](unsigned shift) { text += static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
        if (c < 0x80) {
            text += static_cast<char>(c);
        } else if (c < 0x800) {
            text += static_cast<char>(0xC0 | (c >> 6));
            tail(0);
        } else if (c < 0x10000) {
            text += static_cast<char>(0xE0 | (c >> 12));
            tail(6);
            tail(0);
        } else {
            text += static_cast<char>(0xF0 | (c >> 18));
            tail(12);
            tail(6);
            tail(0);
        }
    }

    std::string_view text_;
};

}  // namespace detail
}  // namespace qvrfutil

#endif
