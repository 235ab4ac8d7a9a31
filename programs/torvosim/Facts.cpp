/** @file Facts.cpp  The BMC's facts by name. */
#include <arpa/inet.h>

#include <algorithm>

#include "Bmc.h"

namespace torvosim {

namespace {

template <class Number>
bool assignNumber(Number& field, const std::string& text, std::uint64_t max)
{
    const auto number = parseNumber(text, max);
    if (number) field = static_cast<Number>(*number);
    return number.has_value();
}

bool assignState(std::string& field, const std::string& text)
{
    if (text != "Enabled" && text != "Disabled") return false;
    field = text;
    return true;
}

bool assignSwitch(bool& field, const std::string& text)
{
    if (text != "on" && text != "off") return false;
    field = text == "on";
    return true;
}

/** A text that fits one reply. A host's transfer buffer may be shorter: that is for tests to try. */
bool assignReplyText(std::string& field, const std::string& text)
{
    constexpr std::size_t kLongest = 190;
    if (text.size() > kLongest) return false;
    field = text;
    return true;
}

std::string onOff(bool value)
{
    return value ? "on" : "off";
}

bool writeFirmware(Facts& facts, const std::string& text)
{
    const auto first  = text.find('.');
    const auto second = first == text.npos ? text.npos : text.find('.', first + 1);
    if (second == text.npos) return false;
    const auto major = parseNumber(text.substr(0, first), UINT8_MAX);
    const auto minor = parseNumber(text.substr(first + 1, second - first - 1), UINT8_MAX);
    const auto build = parseNumber(text.substr(second + 1), UINT16_MAX);
    if (!major || !minor || !build) return false;
    facts.firmwareMajor = static_cast<std::uint8_t>(*major);
    facts.firmwareMinor = static_cast<std::uint8_t>(*minor);
    facts.firmwareBuild = static_cast<std::uint16_t>(*build);
    return true;
}

std::string readFirmware(const Facts& facts)
{
    return std::to_string(facts.firmwareMajor) + '.' + std::to_string(facts.firmwareMinor) + '.' +
           std::to_string(facts.firmwareBuild);
}

std::string readV6(const Facts& facts)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET6, facts.usbNicV6.data(), text.data(), text.size());
    return text.data();
}

bool writeV6(Facts& facts, const std::string& text)
{
    std::array<std::uint8_t, 16> bytes{};
    if (::inet_pton(AF_INET6, text.c_str(), bytes.data()) != 1) return false;
    facts.usbNicV6 = bytes;
    return true;
}

}  // namespace

// clang-format off
const std::array<FactRow, 13> kFacts{{
    {"firmware", "firmware version, major.minor.build",
     readFirmware, writeFirmware},
    {"package", "version of the update package held; empty: none",
     [](const Facts& f) { return f.packageVersion; }, [](Facts& f, const std::string& v) { return assignReplyText(f.packageVersion, v); }},
    {"agent", "agent version that the BMC has recorded",
     [](const Facts& f) { return f.agentVersion; }, [](Facts& f, const std::string& v) { f.agentVersion = v; return true; }},
    {"usbnic.ipv4", "IPv4 address reported for the USB NIC (any text)",
     [](const Facts& f) { return f.usbNicAddress; }, [](Facts& f, const std::string& v) { return assignReplyText(f.usbNicAddress, v); }},
    {"usbnic.ipv6", "IPv6 address reported for the USB NIC",
     readV6, writeV6},
    {"usbnic.hash", "on: \"address#port\" is reported; off: the address alone",
     [](const Facts& f) { return onOff(f.usbNicHasPort); }, [](Facts& f, const std::string& v) { return assignSwitch(f.usbNicHasPort, v); }},
    {"port", "HTTPS port that is reported",
     [](const Facts& f) { return std::to_string(f.httpsPort); }, [](Facts& f, const std::string& v) { return assignNumber(f.httpsPort, v, UINT16_MAX); }},
    {"url.empty", "on: the system-information URL is empty, so that the port is asked on the command line",
     [](const Facts& f) { return onOff(f.urlBlockEmpty); }, [](Facts& f, const std::string& v) { return assignSwitch(f.urlBlockEmpty, v); }},
    {"webserver", "Enabled or Disabled, as the command line tells it",
     [](const Facts& f) { return f.webServer; }, [](Facts& f, const std::string& v) { return assignState(f.webServer, v); }},
    {"redfish", "Enabled or Disabled, as the command line tells it",
     [](const Facts& f) { return f.redfish; }, [](Facts& f, const std::string& v) { return assignState(f.redfish, v); }},
    {"passthrough.mode", "OS-to-BMC pass-through: 0 off, 21 on",
     [](const Facts& f) { return std::to_string(f.passThroughMode); }, [](Facts& f, const std::string& v) { return assignNumber(f.passThroughMode, v, UINT8_MAX); }},
    {"passthrough.bmc", "BMC's address of the pass-through link, as set by the host",
     [](const Facts& f) { return f.passThroughBmcAddress; }, [](Facts& f, const std::string& v) { f.passThroughBmcAddress = v; return true; }},
    {"passthrough.host", "host's address of the pass-through link, as set by the host",
     [](const Facts& f) { return f.passThroughHostAddress; }, [](Facts& f, const std::string& v) { f.passThroughHostAddress = v; return true; }},
}};
// clang-format on

const FactRow* findFact(std::string_view name)
{
    const auto* row = std::find_if(kFacts.begin(), kFacts.end(), [&](const FactRow& r) { return r.name == name; });
    return row == kFacts.end() ? nullptr : row;
}

}  // namespace torvosim
