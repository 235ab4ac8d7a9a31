/** @file secrets.cpp  What counts as a secret: by its key in JSON, by the words before it on a line, by its looks. */
#include "secrets.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <nlohmann/json.hpp>

#include "jsontext.h"

namespace qvrfctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr char             kRemoved[]   = "[removed]";
constexpr std::string_view kTelltales[] = {"passw",  "passphrase", "pwd",           "bindpw",     "token",     "jwt",
                                           "secret", "credential", "community",     "authoriz",   "bearer",    "cookie",
                                           "apikey", "b64key",     "authenticatio", "privatekey", "presharedk"};
/** Too short to mean a secret wherever they stand: where a value follows at once they do. "pass-through" is none. */
constexpr std::string_view kBriefTelltales[] = {"key", "pass", "psk", "pin", "otp", "seed", "hmac", "passcode"};
/** How functions of the library and the platform are called: their name opens a line and is no telltale. */
constexpr std::string_view kOperations[]  = {"QVRFUTIL", "OXA", "OS", "SM", "APM", "Generate", "GetToken", "readToken"};
constexpr std::size_t      kShortestToken = 20;
constexpr std::size_t      kShortestKnown = 4;
constexpr int              kMostBroken    = 1000;  // openings of JSON that turned out to be none
constexpr std::size_t      kLongestJson   = 1024u * 1024;

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

// ---- by its looks -----------------------------------------------------------------------------------------------

/** Letters and several digits: identifiers of programs have none or few. A JWT's parts need have no more of them. */
bool looksLikeToken(std::string_view word) noexcept
{
    constexpr std::string_view jwt      = "eyJ";  // {" in base64
    const auto                 isDigit  = [](unsigned char c) { return std::isdigit(c) != 0; };
    const auto                 isLetter = [](unsigned char c) { return std::isalpha(c) != 0; };
    if (word.size() < kShortestToken) return false;
    return word.substr(0, jwt.size()) == jwt ||
           (std::count_if(word.begin(), word.end(), isDigit) > 2 && std::any_of(word.begin(), word.end(), isLetter));
}

/** The length of a password's hash in crypt's form, "$6$salt$hash", at the beginning of @p line; 0: there is none. */
std::size_t hashAt(std::string_view line) noexcept
{
    const auto kind = line.substr(0, 1) == "$" ? line.find('$', 1) : line.npos;
    if (kind == line.npos || kind < 2 || kind > 3 || line.find('$', kind + 1) == line.npos) return 0;
    return std::min(line.find_first_of(" \t\n:\"'", kind), line.size());
}

/** "user:password@" behind the "://" that @p line begins with; empty when there is none. */
std::string_view userOf(std::string_view line)
{
    const auto end = std::min(line.find_first_of("/ \t\n\"'<>", 3), line.size());
    const auto at  = line.substr(0, end).rfind('@');
    return at == line.npos ? std::string_view() : line.substr(3, at - 3);
}

std::string withoutTokens(std::string_view line)
{
    std::string text;
    while (!line.empty()) {
        if (const auto user = line.substr(0, 3) == "://" ? userOf(line) : ""; !user.empty()) {
            text += std::string("://") + kRemoved;
            line.remove_prefix(3 + user.size());
            continue;
        }
        if (const std::size_t hash = hashAt(line); hash != 0) {
            text += kRemoved;
            line.remove_prefix(hash);
            continue;
        }
        const auto end  = std::find_if_not(line.begin(), line.end(), isWordCharacter);
        const auto size = std::max<std::size_t>(static_cast<std::size_t>(end - line.begin()), 1);
        const auto word = line.substr(0, size);
        text += looksLikeToken(word) ? kRemoved : std::string(word);
        line.remove_prefix(size);
    }
    return text;
}

void replaceAll(std::string& text, const std::string& secret)
{
    if (secret.size() < kShortestKnown) return;  // it would take words apart
    for (auto at = text.find(secret); at != text.npos; at = text.find(secret, at + sizeof kRemoved - 1))
        text.replace(at, secret.size(), kRemoved);
}

std::string withoutKnown(std::string_view text, const std::vector<std::string>& known)
{
    std::string whole(text);
    for (const std::string& secret : known) replaceAll(whole, secret);
    return whole;
}

// ---- by the words before it -------------------------------------------------------------------------------------

/** Where the line's own text begins: behind "Operation : ", when one opens it. */
std::size_t behindOperation(std::string_view line) noexcept
{
    const auto starts = [&](std::string_view name) { return line.substr(0, name.size()) == name; };
    if (std::none_of(std::begin(kOperations), std::end(kOperations), starts)) return 0;
    const auto end = std::find_if_not(line.begin(), line.end(), isWordCharacter);
    return static_cast<std::size_t>(end - line.begin());
}

/** A brief telltale at the end of a word that a value follows: "hostkey = x". */
bool isKeyOf(std::string_view lower, std::size_t at)
{
    const auto announces = [&](std::string_view word) {
        if (lower.compare(at, word.size(), word) != 0) return false;
        const auto next = lower.find_first_not_of("s\"' \t", at + word.size());
        return next != lower.npos && (lower[next] == '=' || lower[next] == ':');
    };
    return std::any_of(std::begin(kBriefTelltales), std::end(kBriefTelltales), announces);
}

/** Whether a telltale stands at @p at. The name of a file, "/etc/token.key", is none. */
bool isTelltale(std::string_view lower, std::size_t at)
{
    const auto stands = [&](std::string_view telltale) { return lower.compare(at, telltale.size(), telltale) == 0; };
    if (at != 0 && lower[at - 1] == '/') return false;
    return std::any_of(std::begin(kTelltales), std::end(kTelltales), stands) || isKeyOf(lower, at);
}

/** Where the value begins that a telltale from @p at on announces: behind its word, to the end of the line. */
std::size_t valueAt(std::string_view line, std::size_t at)
{
    const std::string lower = lowered(line);
    while (at < line.size() && !isTelltale(lower, at)) ++at;
    if (at == line.size()) return line.npos;
    while (at < line.size() && isWordCharacter(line[at]) && line[at] != '=') ++at;
    return at;
}

/** Lines, one after the other: a key whose line ends with it has its value on the next. */
class Lines {
public:
    std::string clean(std::string_view line)
    {
        const bool isValue = announced_ && hasWord(line);
        const auto value   = valueAt(line, behindOperation(line));
        announced_         = value != line.npos ? !hasWord(line.substr(value)) : announced_ && !isValue;
        if (isValue) return kRemoved;
        if (value == line.npos || announced_) return withoutTokens(line);
        return withoutTokens(line.substr(0, value)) + ' ' + kRemoved;
    }
    bool awaitsValue() const noexcept { return announced_; }

private:
    static bool hasWord(std::string_view text) { return std::any_of(text.begin(), text.end(), isWordCharacter); }

    bool announced_ = false;
};

std::string cleanLines(Lines& lines, std::string_view text)
{
    std::string clean;
    bool        inKey = false;
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t      end   = std::min(text.find('\n', from), text.size());
        const std::string_view line  = text.substr(from, end - from);
        const bool             opens = line.find("-----BEGIN") != line.npos;
        if (opens) clean += kRemoved;
        inKey = inKey || opens;
        if (!inKey) clean += lines.clean(line);
        if (line.find("-----END") != line.npos) inKey = false;
        if (end < text.size() && !inKey) clean += '\n';
        from = end + 1;
    }
    return clean;
}

// ---- by its key in JSON -----------------------------------------------------------------------------------------

bool isSecretKey(const std::string& key)
{
    return valueAt(key + ':', 0) != std::string::npos;
}

Json cleanJson(const Json& value)
{
    if (value.is_string()) {
        Lines lines;
        return cleanLines(lines, value.get_ref<const std::string&>());
    }
    if (!value.is_structured()) return value;
    Json clean = value.is_array() ? Json::array() : Json::object();
    if (value.is_array())
        for (const Json& element : value) clean.push_back(cleanJson(element));
    else
        for (const auto& [key, member] : value.items())
            clean.get_ref<Json::object_t&>().emplace_back(key, isSecretKey(key) ? Json(kRemoved) : cleanJson(member));
    return clean;
}

/** The length of the JSON document that @p text begins with; 0 when it does not. */
std::size_t documentAt(std::string_view text)
{
    const std::size_t length = balanced(text.substr(0, kLongestJson));
    return length != 0 && isJson(text.substr(0, length)) ? length : 0;
}

std::string cleanDocument(std::string_view document)
{
    const int indent = document.find('\n') == document.npos ? -1 : 2;
    return cleanJson(Json::parse(document)).dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string withoutTokens(std::string_view text, const std::vector<std::string>& known)
{
    return withoutTokens(withoutKnown(text, known));
}

std::string withoutSecrets(std::string_view text, const std::vector<std::string>& known)
{
    const std::string whole = withoutKnown(text, known);
    std::string_view  left  = whole;
    std::string       clean;
    Lines             lines;
    int               broken = 0;
    for (std::size_t at = left.find('{'); at != left.npos && broken < kMostBroken; at = left.find('{', at)) {
        const std::size_t length = documentAt(left.substr(at));
        if (length == 0) {
            ++broken;
            ++at;
            continue;
        }
        clean += cleanLines(lines, left.substr(0, at));
        clean += lines.awaitsValue() ? kRemoved : cleanDocument(left.substr(at, length));
        left.remove_prefix(at + length);
        at = 0;
    }
    return clean + cleanLines(lines, left);
}

}  // namespace qvrfctl
