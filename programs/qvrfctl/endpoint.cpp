/** @file endpoint.cpp  Checks of addresses, ports, paths, names and bodies. */
#include "endpoint.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "failure.h"

namespace qvrfctl {
namespace {

/** The session service's URL has room for 34 characters of address, brackets among them. */
constexpr std::size_t kLongestIpv6 = 32;
constexpr std::size_t kLongestPort = 4;
constexpr std::size_t kLongestPath = 400;
/** What the session record keeps of a name; the BMC's user database takes more. */
constexpr std::size_t kLongestName = 22;

bool isDigit(char c) noexcept
{
    return c >= '0' && c <= '9';
}
bool isNameCharacter(char c) noexcept
{
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '-' || c == '.';
}

/** "fe80::1" in "fe80::1%usb0"; the zone must be an interface's name or number. */
std::string_view withoutZone(std::string_view address)
{
    const auto percent = address.find('%');
    if (percent == address.npos) return address;
    const auto zone = address.substr(percent + 1);
    if (zone.empty() || !std::all_of(zone.begin(), zone.end(), isNameCharacter))
        throw wrongUsage("the zone of the address '" + std::string(address) + "' is not an interface's name");
    return address.substr(0, percent);
}

std::string parseIpv6(std::string_view text)
{
    if (text.size() >= 2 && text.front() == '[' && text.back() == ']') text = text.substr(1, text.size() - 2);
    const auto           number = withoutZone(text);
    std::array<char, 16> bytes{};
    if (::inet_pton(AF_INET6, std::string(number).c_str(), bytes.data()) != 1)
        throw wrongUsage("'" + std::string(text) + "' is not an IPv6 address", "write it like fe80::1234");
    std::array<char, INET6_ADDRSTRLEN> shortest{};
    ::inet_ntop(AF_INET6, bytes.data(), shortest.data(), shortest.size());
    std::string address = shortest.data() + std::string(text.substr(number.size()));
    if (address.size() > kLongestIpv6)
        throw wrongUsage("the address '" + address + "' is too long: the library takes IPv6 addresses of at most " +
                             std::to_string(kLongestIpv6) + " characters",
                         "use the BMC's link-local address");
    return address;
}

std::string parseIpv4(std::string_view text)
{
    std::array<char, 4> bytes{};
    if (::inet_pton(AF_INET, std::string(text).c_str(), bytes.data()) != 1)
        throw wrongUsage("'" + std::string(text) + "' is not an IP address",
                         "write a number like 169.254.1.1 or fe80::1234; names are not looked up");
    return std::string(text);
}

void checkPort(std::string_view port)
{
    if (port.empty() || !std::all_of(port.begin(), port.end(), isDigit) || port.find_first_not_of('0') == port.npos)
        throw wrongUsage("the port '" + std::string(port) + "' is not a number from 1 to 9999");
    if (port.size() > kLongestPort)
        throw wrongUsage(
            "the port '" + std::string(port) + "' has more than four digits, and the library takes four",
            "give the BMC's web server a port up to 9999, or use --generation old, which finds it by itself");
}

}  // namespace

Endpoint parseEndpoint(std::string_view address, std::string_view port)
{
    if (address.find('\0') != address.npos || port.find('\0') != port.npos)
        throw wrongUsage("address and port must not contain NUL");
    Endpoint endpoint;
    endpoint.ipv6    = address.find(':') != address.npos;
    endpoint.address = endpoint.ipv6 ? parseIpv6(address) : parseIpv4(address);
    checkPort(port);
    endpoint.port = port;
    return endpoint;
}

void checkPath(std::string_view path)
{
    if (path.empty() || path.front() != '/')
        throw wrongUsage("the path '" + std::string(path) + "' does not begin with '/'",
                         "write it like /redfish/v1/Systems");
    if (path.size() > kLongestPath)
        throw wrongUsage("the path has " + std::to_string(path.size()) + " characters, and the library takes " +
                         std::to_string(kLongestPath));
    const auto isPlain = [](char c) { return c > ' ' && c < '\x7f'; };
    if (!std::all_of(path.begin(), path.end(), isPlain))
        throw wrongUsage("the path contains a blank, a control character or a character beyond ASCII",
                         "write it percent-encoded, such as %20 for a blank");
}

void checkUserName(std::string_view name)
{
    if (name.empty() || name.size() > kLongestName || !std::all_of(name.begin(), name.end(), isNameCharacter))
        throw wrongUsage("'" + std::string(name) + "' is not a user name: 1 to " + std::to_string(kLongestName) +
                         " letters, digits, '.', '_' and '-'");
}

void checkJsonBody(std::string_view body, const std::string& what)
{
    // The library takes the body as text up to its NUL, and so does the parser.
    if (body.find('\0') != body.npos) throw wrongUsage(what + " is not JSON: it contains a NUL byte");
    try {
        const auto json = nlohmann::json::parse(body);
        static_cast<void>(json);
    } catch (const nlohmann::json::exception& e) {
        const std::string_view why  = e.what();
        const auto             name = why.find("] ");  // in front of it: the parser's own number
        throw wrongUsage(what + " is not JSON: " + std::string(name == why.npos ? why : why.substr(name + 2)));
    }
}

}  // namespace qvrfctl
