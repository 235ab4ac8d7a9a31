/** @file Faults.cpp  Misbehaviour on request. */
#include "Faults.h"

namespace torvosim {

namespace {

constexpr const char* kHttpNames[] = {"delay",      "status",         "cut", "drop", "duplicate",
                                      "add-header", "endless-header", "raw"};
constexpr const char* kIpmiNames[] = {"ipmi-cc",   "ipmi-silent", "ipmi-delay",  "ipmi-short",
                                      "ipmi-long", "ipmi-reply",  "ipmi-garbage"};

bool applies(const HttpFaultRule& rule, std::string_view method, std::string_view path)
{
    return (rule.method == "*" || rule.method == method) && startsWith(path, rule.pathPrefix);
}

void apply(const HttpFaultRule& rule, HttpFaults& faults)
{
    switch (rule.kind) {
        case HttpFaultKind::delay: faults.delayMs += static_cast<unsigned>(rule.number); break;
        case HttpFaultKind::status: faults.status = static_cast<int>(rule.number); break;
        case HttpFaultKind::cut: faults.cutAfter = rule.number; break;
        case HttpFaultKind::dropHeader: faults.drop.push_back(rule.name); break;
        case HttpFaultKind::duplicateHeader: faults.duplicate.push_back(rule.name); break;
        case HttpFaultKind::addHeader: faults.add.emplace_back(rule.name, rule.value); break;
        case HttpFaultKind::endlessHeader: faults.endlessHeader = rule.number; break;
        case HttpFaultKind::raw: faults.raw = rule.name; break;
    }
}

void apply(const IpmiFaultRule& rule, IpmiFaults& faults)
{
    switch (rule.kind) {
        case IpmiFaultKind::completion: faults.completion = static_cast<std::uint8_t>(rule.number); break;
        case IpmiFaultKind::silent: faults.silent = true; break;
        case IpmiFaultKind::delay: faults.delayMs += static_cast<unsigned>(rule.number); break;
        case IpmiFaultKind::shorten: faults.keepBytes = rule.number; break;
        case IpmiFaultKind::lengthen: faults.extraBytes += rule.number; break;
        case IpmiFaultKind::data: faults.data = rule.bytes; break;
        case IpmiFaultKind::garbage: faults.garbage = rule.bytes; break;
    }
}

std::string matchText(const std::optional<std::uint8_t>& value)
{
    return value ? hexText({*value}) : "*";
}

}  // namespace

void Faults::add(HttpFaultRule rule)
{
    state_.with([&](State& s) { s.http.push_back(std::move(rule)); });
}

void Faults::add(IpmiFaultRule rule)
{
    state_.with([&](State& s) { s.ipmi.push_back(std::move(rule)); });
}

HttpFaults Faults::take(std::string_view method, std::string_view path)
{
    return state_.with([&](State& s) {
        HttpFaults faults;
        for (auto it = s.http.begin(); it != s.http.end();) {
            if (applies(*it, method, path)) {
                apply(*it, faults);
                if (it->uses && --*it->uses == 0) {
                    it = s.http.erase(it);
                    continue;
                }
            }
            ++it;
        }
        return faults;
    });
}

IpmiFaults Faults::take(std::uint8_t netFn, std::uint8_t command)
{
    return state_.with([&](State& s) {
        IpmiFaults faults;
        for (auto it = s.ipmi.begin(); it != s.ipmi.end();) {
            if (it->netFn.value_or(netFn) == netFn && it->command.value_or(command) == command) {
                apply(*it, faults);
                if (--it->uses == 0) {
                    it = s.ipmi.erase(it);
                    continue;
                }
            }
            ++it;
        }
        return faults;
    });
}

void Faults::clear()
{
    state_.with([](State& s) { s = State{}; });
}

std::vector<std::string> Faults::describe()
{
    return state_.with([](State& s) {
        std::vector<std::string> lines;
        for (const HttpFaultRule& r : s.http)
            lines.push_back(std::string(kHttpNames[static_cast<int>(r.kind)]) + ' ' +
                            (r.name.empty() ? std::to_string(r.number) : r.name) + ' ' + r.method + ' ' + r.pathPrefix +
                            ' ' + (r.uses ? std::to_string(*r.uses) : "until cleared"));
        for (const IpmiFaultRule& r : s.ipmi)
            lines.push_back(std::string(kIpmiNames[static_cast<int>(r.kind)]) + ' ' + matchText(r.netFn) + ' ' +
                            matchText(r.command) + ' ' +
                            (r.bytes.empty() ? std::to_string(r.number) : hexText(r.bytes)) + ' ' +
                            std::to_string(r.uses));
        return lines;
    });
}

}  // namespace torvosim
