/** @file secrets.cpp  What counts as a secret, line by line. */
#include "secrets.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>

namespace qvrfctl {
namespace {

constexpr char             kRemoved[]   = "[removed]";
constexpr std::string_view kTelltales[] = {"passw",         "token",  "jwt",    "secret", "credential",
                                           "authorization", "bearer", "cookie", "apikey", "b64key"};
/** How functions of the library and the platform are called: their name opens a line and is no telltale. */
constexpr std::string_view kOperations[]  = {"QVRFUTIL", "OXA", "OS", "SM", "APM", "Generate", "GetToken", "readToken"};
constexpr std::size_t      kShortestToken = 20;
constexpr std::size_t      kShortestKnown = 4;

bool isWordCharacter(char c) noexcept
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '=' || c == '_' || c == '-';
}

std::string lowered(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    return lower;
}

/** Letters and several digits: identifiers of programs have none or few. */
bool looksLikeToken(std::string_view word) noexcept
{
    const auto isDigit  = [](unsigned char c) { return std::isdigit(c) != 0; };
    const auto isLetter = [](unsigned char c) { return std::isalpha(c) != 0; };
    return word.size() >= kShortestToken && std::count_if(word.begin(), word.end(), isDigit) > 2 &&
           std::any_of(word.begin(), word.end(), isLetter);
}

std::string withoutTokens(std::string_view line)
{
    std::string text;
    while (!line.empty()) {
        const auto end  = std::find_if_not(line.begin(), line.end(), isWordCharacter);
        const auto size = std::max<std::size_t>(static_cast<std::size_t>(end - line.begin()), 1);
        const auto word = line.substr(0, size);
        text += looksLikeToken(word) ? kRemoved : std::string(word);
        line.remove_prefix(size);
    }
    return text;
}

/** Where the line's own text begins: behind "Operation : ", when one opens it. */
std::size_t behindOperation(std::string_view line) noexcept
{
    const auto starts = [&](std::string_view name) { return line.substr(0, name.size()) == name; };
    if (std::none_of(std::begin(kOperations), std::end(kOperations), starts)) return 0;
    const auto end = std::find_if_not(line.begin(), line.end(), isWordCharacter);
    return static_cast<std::size_t>(end - line.begin());
}

/** Whether a telltale stands at @p at. The name of a file, "/etc/token.key", is none. */
bool isTelltale(std::string_view lower, std::size_t at)
{
    const auto stands = [&](std::string_view telltale) { return lower.compare(at, telltale.size(), telltale) == 0; };
    return std::any_of(std::begin(kTelltales), std::end(kTelltales), stands) && (at == 0 || lower[at - 1] != '/');
}

/** Where the value begins that a telltale announces: behind its word, to the end of the line. */
std::size_t valueAt(std::string_view line)
{
    const std::string lower = lowered(line);
    std::size_t       at    = behindOperation(line);
    while (at < line.size() && !isTelltale(lower, at)) ++at;
    while (at < line.size() && isWordCharacter(line[at]) && line[at] != '=') ++at;
    return at;
}

std::string lineWithoutSecrets(std::string_view line)
{
    const std::size_t value = valueAt(line);
    if (value >= line.size()) return withoutTokens(line);
    const std::string_view rest = line.substr(value);
    const bool             has  = std::any_of(rest.begin(), rest.end(), [](char c) { return isWordCharacter(c); });
    return withoutTokens(line.substr(0, value)) + (has ? std::string(" ") + kRemoved : std::string(rest));
}

void replaceAll(std::string& text, const std::string& secret)
{
    if (secret.size() < kShortestKnown) return;  // it would take words apart
    for (auto at = text.find(secret); at != text.npos; at = text.find(secret, at + sizeof kRemoved - 1))
        text.replace(at, secret.size(), kRemoved);
}

}  // namespace

std::string withoutSecrets(std::string_view text, const std::vector<std::string>& known)
{
    std::string whole(text);
    for (const std::string& secret : known) replaceAll(whole, secret);
    std::string clean;
    bool        inKey = false;
    for (std::size_t from = 0; from < whole.size();) {
        const std::size_t      end   = std::min(whole.find('\n', from), whole.size());
        const std::string_view line  = std::string_view(whole).substr(from, end - from);
        const bool             opens = line.find("-----BEGIN") != line.npos;
        if (opens) clean += kRemoved;
        inKey = inKey || opens;
        if (!inKey) clean += lineWithoutSecrets(line);
        if (line.find("-----END") != line.npos) inKey = false;
        if (end < whole.size() && !inKey) clean += '\n';
        from = end + 1;
    }
    return clean;
}

}  // namespace qvrfctl
