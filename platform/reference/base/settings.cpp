/** @file settings.cpp  From the text of a configuration file to settings. */
#include "settings.h"

#include <arpa/inet.h>

#include <algorithm>

namespace qvplatform {
namespace {

constexpr std::string_view kBlanks        = " \t\r\v\f";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // editors of other systems begin UTF-8 with it

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(kBlanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

bool isPort(std::string_view text)
{
    if (text.empty() || text.size() > 5) return false;
    if (!std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) return false;
    const int number = std::stoi(std::string(text));
    return number > 0 && number <= 65535;
}

/** No name server is asked: a name other than localhost would be no address of anything. */
bool isAddress(std::string_view host)
{
    in6_addr          unused{};
    const std::string all(host);
    return all == "localhost" || ::inet_pton(AF_INET, all.c_str(), &unused) == 1 ||
           ::inet_pton(AF_INET6, all.substr(0, all.find('%')).c_str(), &unused) == 1;
}

bool setLevel(Settings& to, std::string_view value)
{
    if (value == "off")
        to.logLevel = LogLevel::off;
    else if (value == "error")
        to.logLevel = LogLevel::error;
    else if (value == "trace")
        to.logLevel = LogLevel::trace;
    else
        return false;
    return true;
}

bool setEndpoint(Settings& to, std::string_view value)
{
    auto endpoint = parseEndpoint(value);
    if (endpoint) to.endpoint = std::move(*endpoint);
    return endpoint.has_value();
}

template <std::string Settings::*Member>
bool setPath(Settings& to, std::string_view value)
{
    if (value.empty()) return false;
    to.*Member = value;
    return true;
}

struct Key {
    std::string_view name;
    bool (*set)(Settings&, std::string_view);
    const char* wanted;
};

constexpr Key kKeys[] = {
    {"suptlib.vardatapath", setPath<&Settings::varDataPath>, "a directory"},
    {"suptlib.installpath", setPath<&Settings::installPath>, "a directory"},
    {"suptlib.loglevel", setLevel, "off, error or trace"},
    {"suptlib.logfile", setPath<&Settings::logFile>, "a file"},
    {"hipm.endpoint", setEndpoint, "device:/path, unix:/path or tcp:address:port"},
    {"secure.tokenkey", setPath<&Settings::tokenKeyFile>, "a file"},
};

/** Blank, or what other owners of the file write between their keys. */
bool isRemark(std::string_view line)
{
    const auto text = trimmed(line);
    return text.empty() || std::string_view("#;[").find(text.front()) != text.npos;
}

void readLine(std::size_t number, std::string_view line, Reading& reading)
{
    const auto equals = line.find('=');
    if (equals == line.npos && !isRemark(line))
        reading.complaints.push_back(std::to_string(number) + ": there is no '=' between a key and its value");
    if (equals == line.npos) return;
    const auto name  = trimmed(line.substr(0, equals));
    const auto value = trimmed(line.substr(equals + 1));
    for (const Key& key : kKeys) {
        if (name != key.name) continue;
        // A NUL would cut the value short in every system call behind it.
        if (value.find('\0') != value.npos || !key.set(reading.settings, value))
            reading.complaints.push_back(std::to_string(number) + ": " + std::string(name) + " is '" +
                                         std::string(value) + "': it is " + key.wanted);
        return;
    }
}

}  // namespace

std::optional<Endpoint> parseEndpoint(std::string_view text)
{
    const auto colon = text.find(':');
    if (colon == text.npos) return std::nullopt;
    const auto kind  = text.substr(0, colon);
    const auto place = text.substr(colon + 1);

    if (kind == "device" || kind == "unix") {
        if (!startsWith(place, "/")) return std::nullopt;
        return Endpoint{kind == "unix" ? Endpoint::Kind::unixSocket : Endpoint::Kind::device, std::string(place), {}};
    }
    if (kind != "tcp") return std::nullopt;

    const auto last = place.rfind(':');
    if (last == place.npos || last == 0 || !isPort(place.substr(last + 1))) return std::nullopt;
    auto       host      = place.substr(0, last);
    const bool bracketed = host.front() == '[' && host.back() == ']';
    if (bracketed) host = host.substr(1, host.size() - 2);
    if (!isAddress(host) || (!bracketed && host.find(':') != host.npos)) return std::nullopt;
    return Endpoint{Endpoint::Kind::tcp, std::string(host), std::string(place.substr(last + 1))};
}

Reading readSettings(std::string_view text)
{
    Reading reading;
    if (startsWith(text, kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    for (std::size_t number = 1; !text.empty(); ++number) {
        const auto end = std::min(text.find('\n'), text.size());
        readLine(number, text.substr(0, end), reading);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return reading;
}

}  // namespace qvplatform
