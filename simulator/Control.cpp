/** @file Control.cpp  The control words. */
#include "Control.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>

namespace torvosim {

namespace {

using Json = nlohmann::json;

std::vector<const ControlVerb*> allVerbs()
{
    std::vector<const ControlVerb*> verbs;
    for (const auto* table : {&stateVerbs(), &faultVerbs(), &eventVerbs()})
        for (const ControlVerb& verb : *table) verbs.push_back(&verb);
    return verbs;
}

Json helpAnswer()
{
    Json lines = Json::array();
    for (const ControlVerb* verb : allVerbs()) {
        const std::string call = std::string(verb->name) + (*verb->arguments != '\0' ? " " : "") + verb->arguments;
        lines.push_back({{"verb", call}, {"meaning", verb->meaning}});
    }
    return {{"verbs", lines}};
}

Json run(Bmc& bmc, Words words)
{
    if (words.empty()) throw ControlError("there is no control word: try help");
    const std::string name = words.front();
    words.erase(words.begin());
    if (name == "help") return helpAnswer();
    for (const ControlVerb* verb : allVerbs()) {
        if (verb->name != name) continue;
        if (words.size() < verb->least || words.size() > verb->most)
            throw ControlError(std::string("it is: ") + verb->name + ' ' + verb->arguments);
        return verb->run(bmc, words);
    }
    throw ControlError("unknown control word '" + name + "': try help");
}

}  // namespace

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

std::uint64_t wantNumber(const std::string& word, const char* what, std::uint64_t max)
{
    const auto number = parseNumber(word, max);
    if (!number) throw ControlError("'" + word + "' is not " + what);
    return *number;
}

std::string runControlLine(Bmc& bmc, std::string_view line)
{
    try {
        Json answer  = run(bmc, splitWords(line));
        answer["ok"] = true;
        return answer.dump(-1, ' ', false, Json::error_handler_t::replace);
    } catch (const std::exception& error) {
        return Json{{"ok", false}, {"error", error.what()}}.dump(-1, ' ', false, Json::error_handler_t::replace);
    }
}

void announceStop(Bmc& bmc) noexcept
{
    if (!bmc.stopRequested) return;
    const std::uint64_t            one     = 1;
    [[maybe_unused]] const ssize_t written = ::write(bmc.stopEvent.get(), &one, sizeof one);
}

std::string controlHelp()
{
    std::string text;
    for (const ControlVerb* verb : allVerbs()) {
        std::string call = std::string("  ") + verb->name + ' ' + verb->arguments;
        call.resize(std::max<std::size_t>(call.size() + 2, 44), ' ');
        text += call + verb->meaning + '\n';
    }
    return text;
}

}  // namespace torvosim
