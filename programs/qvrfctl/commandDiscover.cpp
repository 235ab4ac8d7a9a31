/** @file commandDiscover.cpp  qvrfctl discover, qvrfctl services: what IPMI tells without any session. */
#include <array>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>

#include "OxaAutoUpdateUtils.h"
#include "commands.h"
#include "day/rounds.h"
#include "linkstate.h"
#include "oxarfutilHelper.h"
#include "qvstatus.h"
#include "reach.h"

namespace qvrfctl {
namespace {

/** Room for every text that discovery hands out. */
using Text = std::array<astring, APM_IPV6_ADDRESS_SIZE>;

struct Fact {
    const char* label;
    const char* key;  // in the JSON document
    s32 (*read)(Generation, Text&);
};

s32 firmwareVersion(Generation, Text& text)
{
    u16       major = 0;
    u16       minor = 0;
    const s32 st    = APMDiscoveryGetTorvoFwVersion(&major, &minor);
    std::snprintf(text.data(), text.size(), "%u.%u", unsigned{major}, unsigned{minor});
    return st;
}

s32 ipv4Address(Generation generation, Text& text)
{
    return generation == Generation::newer ? APMDiscoveryFetchIPv4IpAddressNewGenandAbove(text.data())
                                           : APMDiscoveryUSBNICIPAddress(text.data());
}

s32 ipv6Address(Generation, Text& text)
{
    return APMDiscoveryUSBNICIPv6Address(text.data());  // knows the generation by itself
}

s32 httpsPort(Generation generation, Text& text)
{
    return generation == Generation::newer ? APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove(text.data())
                                           : APMDiscoveryGetIPPort(text.data());
}

s32 packageVersion(Generation, Text& text)
{
    return APMDiscoveryGetOxaPloxVersion(text.data());
}

s32 agentVersion(Generation, Text& text)
{
    return APMDiscoveryGetOxaOSVersion(text.data());
}

s32 passThroughMode(Generation, Text& text)
{
    u8        mode = 0;
    const s32 st   = APMDiscoveryGetOSToBMCStatus(&mode);
    std::snprintf(text.data(), text.size(), "%s", passThroughText(mode).c_str());
    return st;
}

constexpr Fact kFacts[] = {
    {"firmware version", "firmwareVersion", firmwareVersion},
    {"USB NIC IPv4", "ipv4Address", ipv4Address},
    {"USB NIC IPv6", "ipv6Address", ipv6Address},
    {"HTTPS port", "httpsPort", httpsPort},
    {"package version", "packageVersion", packageVersion},
    {"agent version", "agentVersion", agentVersion},
    {"pass-through", "passThrough", passThroughMode},
};

void discover(const Context& context, const Show& show)
{
    const Generation generation  = context.target.generation;
    Json             facts       = Json::object();
    Json             unavailable = Json::object();
    std::string      lines;
    for (const Fact& fact : kFacts) {
        Text      text{};
        const s32 st = fact.read(generation, text);
        text.back()  = '\0';
        // Each further question would wait for its answer in vain.
        if (&fact == std::begin(kFacts) && isSilence(st)) throw noAnswerOverIpmi();
        std::string value;
        if (st == 0) {
            facts[fact.key] = text.data();
            value           = text[0] != '\0' ? text.data() : "(none)";
        } else {
            facts[fact.key]       = nullptr;
            unavailable[fact.key] = {{"status", st}, {"reason", discoveryReason(st)}};
            value                 = "not available (" + discoveryReason(st) + ")";
        }
        lines += labelled(fact.label, value);
    }
    facts["unavailable"] = std::move(unavailable);
    show(facts, lines);
}

struct Service {
    const char* label;
    const char* key;
    s32 (*read)(astring*);
};
constexpr Service kServices[] = {
    {"web server", "webServer", OXAGetTorvoWebserver},
    {"Redfish", "redfish", OXAGetTorvoRedfish},
};

void services(const Context&, const Show& show)
{
    Json        states = Json::object();
    std::string lines;
    for (const Service& service : kServices) {
        std::array<astring, OXA_SERVICE_STATE_SIZE> state{};
        if (const s32 st = service.read(state.data()); st != OXA_SUCCESS)
            throw libraryFailure(std::string("read the state of the ") + service.label, st);
        states[service.key] = state.data();
        lines += labelled(service.label, state.data());
    }
    show(states, lines);
}

Action declared(Arguments arguments, void (*round)(const Context&, const Show&))
{
    auto rounds = std::make_shared<Rounds>();
    declareRounds(arguments, *rounds, false);
    return [rounds, round](const Context& context) {
        const Library library(context.target.generation);
        inRoundsWithoutSession(context, *rounds, [&](const Show& show) { round(context, show); });
    };
}

}  // namespace

Action declareDiscover(Arguments arguments)
{
    return declared(arguments, discover);
}

Action declareServices(Arguments arguments)
{
    return declared(arguments, services);
}

}  // namespace qvrfctl
