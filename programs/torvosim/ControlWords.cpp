/** @file ControlWords.cpp  A control line as words. */
#include "ControlWords.h"

#include <cctype>
#include <optional>

#include "Support.h"

namespace torvosim {

Words splitWords(std::string_view line)
{
    Words words;
    bool  quoted = false;
    bool  inWord = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (!quoted && std::isspace(static_cast<unsigned char>(c)) != 0) {
            inWord = false;
            continue;
        }
        if (!inWord) words.emplace_back();
        inWord = true;
        if (c == '"') {
            quoted = !quoted;
        } else if (quoted && c == '\\' && i + 1 < line.size() && (line[i + 1] == '"' || line[i + 1] == '\\')) {
            words.back() += line[++i];
        } else {
            words.back() += c;
        }
    }
    return words;
}

std::string joinWords(const Words& words)
{
    std::string line;
    for (const std::string& word : words) {
        line += line.empty() ? "\"" : " \"";
        for (const char c : word) {
            if (c == '"' || c == '\\') line += '\\';
            line += c == '\n' ? ' ' : c;  // a line is one line
        }
        line += '"';
    }
    return line;
}

std::string unescaped(std::string_view text)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
            continue;
        }
        const char  kind    = ++i < text.size() ? text[i] : '\0';
        const char* escapes = "r\rn\nt\t\\\\";
        const char* found   = nullptr;
        for (const char* e = escapes; *e != '\0'; e += 2)
            if (*e == kind) found = e;
        if (found != nullptr) {
            bytes += found[1];
        } else if (kind == '0') {
            bytes += '\0';
        } else if (const auto byte = kind == 'x' ? parseHex(text.substr(i + 1, 2)) : std::nullopt;
                   byte && byte->size() == 1) {
            bytes += static_cast<char>(byte->front());
            i += 2;
        } else {
            throw ControlError("an escape is one of \\r \\n \\t \\0 \\\\ \\xHH");
        }
    }
    return bytes;
}

}  // namespace torvosim
