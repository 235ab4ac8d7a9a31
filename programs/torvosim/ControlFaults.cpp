/** @file ControlFaults.cpp  Control words for misbehaviour of HTTP responses and IPMI replies. */
#include <nlohmann/json.hpp>

#include "Control.h"

namespace torvosim {

namespace {

using Json = nlohmann::json;

constexpr std::uint64_t kLongestDelayMs = 10u * 60 * 1000;
constexpr std::uint64_t kEndlessDefault = 16u * 1024 * 1024;

std::optional<unsigned> useCount(const std::string& word)
{
    const auto count = static_cast<unsigned>(wantNumber(word, "a count from 1 on", UINT32_MAX));
    if (count == 0) throw ControlError("a count starts at 1");
    return count;
}

/** Takes [METHOD PATH] [COUNT] from @p words, beginning at @p at, and puts the rule in force. */
Json addHttp(Bmc& bmc, HttpFaultRule rule, const Words& words, std::size_t at)
{
    const std::size_t left = words.size() - at;
    if (left >= 2) {
        rule.method     = words[at];
        rule.pathPrefix = words[at + 1] == "*" ? "/" : words[at + 1];
        if (rule.pathPrefix.front() != '/') throw ControlError("a path begins with /");
    }
    if (left == 1 || left == 3) rule.uses = useCount(words.back());
    bmc.faults.add(std::move(rule));
    return Json::object();
}

template <HttpFaultKind Kind>
Json numberFault(Bmc& bmc, const Words& words)
{
    HttpFaultRule rule;
    rule.kind   = Kind;
    rule.number = wantNumber(words[0], "a number", Kind == HttpFaultKind::delay ? kLongestDelayMs : UINT64_MAX);
    return addHttp(bmc, std::move(rule), words, 1);
}

Json statusFault(Bmc& bmc, const Words& words)
{
    HttpFaultRule rule;
    rule.kind   = HttpFaultKind::status;
    rule.number = wantNumber(words[0], "an HTTP status", 599);
    if (rule.number < 200) throw ControlError("a final HTTP status is 200 to 599");
    return addHttp(bmc, std::move(rule), words, 1);
}

template <HttpFaultKind Kind>
Json headerFault(Bmc& bmc, const Words& words)
{
    HttpFaultRule rule;
    rule.kind = Kind;
    rule.name = words[0];
    return addHttp(bmc, std::move(rule), words, 1);
}

Json addHeaderFault(Bmc& bmc, const Words& words)
{
    const auto colon = words[0].find(':');
    if (colon == std::string::npos || colon == 0) throw ControlError("a header is \"NAME: VALUE\"");
    HttpFaultRule rule;
    rule.kind  = HttpFaultKind::addHeader;
    rule.name  = words[0].substr(0, colon);
    rule.value = trimmed(std::string_view(words[0]).substr(colon + 1));
    return addHttp(bmc, std::move(rule), words, 1);
}

Json endlessFault(Bmc& bmc, const Words& words)
{
    HttpFaultRule rule;
    rule.kind   = HttpFaultKind::endlessHeader;
    rule.number = words.empty() ? kEndlessDefault : wantNumber(words[0], "a number of bytes");
    return addHttp(bmc, std::move(rule), words, words.empty() ? 0 : 1);
}

Json rawFault(Bmc& bmc, const Words& words)
{
    HttpFaultRule rule;
    rule.kind = HttpFaultKind::raw;
    rule.name = startsWith(words[0], "@") ? readFile(words[0].substr(1)) : unescaped(words[0]);
    return addHttp(bmc, std::move(rule), words, 1);
}

std::optional<std::uint8_t> matchByte(const std::string& word, const char* what)
{
    if (word == "*") return std::nullopt;
    const auto bytes = parseHex(word.size() == 1 ? '0' + word : word);
    if (!bytes || bytes->size() != 1) throw ControlError("'" + word + "' is not " + what + " in hexadecimal, nor *");
    return bytes->front();
}

enum class Operand { none, completion, number, bytes };

/** NETFN COMMAND [what the fault takes] [COUNT]; the count is 1 unless given. */
template <IpmiFaultKind Kind, Operand Takes>
Json ipmiFault(Bmc& bmc, const Words& words)
{
    IpmiFaultRule rule;
    rule.kind    = Kind;
    rule.netFn   = matchByte(words[0], "a netFn");
    rule.command = matchByte(words[1], "a command");
    if (Takes == Operand::completion) rule.number = matchByte(words[2], "a completion code").value_or(0xFF);
    if (Takes == Operand::number) rule.number = wantNumber(words[2], "a number", kLongestDelayMs);
    if (Takes == Operand::bytes) {
        const auto bytes = parseHex(words[2]);
        if (!bytes) throw ControlError("'" + words[2] + "' is not hexadecimal bytes");
        rule.bytes = *bytes;
    }
    constexpr std::size_t fixed = Takes == Operand::none ? 2 : 3;
    if (words.size() > fixed) rule.uses = *useCount(words[fixed]);
    bmc.faults.add(std::move(rule));
    return Json::object();
}

Json listFaults(Bmc& bmc, const Words&)
{
    return {{"faults", bmc.faults.describe()}};
}

Json clearFaults(Bmc& bmc, const Words&)
{
    bmc.faults.clear();
    return Json::object();
}

}  // namespace

const std::vector<ControlVerb>& faultVerbs()
{
    using H                                     = HttpFaultKind;
    using I                                     = IpmiFaultKind;
    static const std::vector<ControlVerb> verbs = {
        {"delay", "MS [METHOD PATH] [COUNT]", "answers later", 1, 4, numberFault<H::delay>},
        {"status", "CODE [METHOD PATH] [COUNT]", "answers with this status and does nothing", 1, 4, statusFault},
        {"cut", "BYTES [METHOD PATH] [COUNT]", "cuts the connection after so many response bytes, header included", 1,
         4, numberFault<H::cut>},
        {"drop", "NAME [METHOD PATH] [COUNT]", "leaves a header out", 1, 4, headerFault<H::dropHeader>},
        {"duplicate", "NAME [METHOD PATH] [COUNT]", "sends a header twice", 1, 4, headerFault<H::duplicateHeader>},
        {"add-header", "\"NAME: VALUE\" [METHOD PATH] [COUNT]", "sends one header more", 1, 4, addHeaderFault},
        {"endless-header", "[BYTES [METHOD PATH] [COUNT]]", "header lines without end, up to BYTES", 0, 4,
         endlessFault},
        {"raw", "TEXT|@FILE [METHOD PATH] [COUNT]", "these bytes instead of a response, then closes", 1, 4, rawFault},
        {"ipmi-cc", "NETFN CMD CC [COUNT]", "answers with a completion code and does nothing", 3, 4,
         ipmiFault<I::completion, Operand::completion>},
        {"ipmi-silent", "NETFN CMD [COUNT]", "carries out, but does not answer", 2, 3,
         ipmiFault<I::silent, Operand::none>},
        {"ipmi-delay", "NETFN CMD MS [COUNT]", "answers later", 3, 4, ipmiFault<I::delay, Operand::number>},
        {"ipmi-short", "NETFN CMD BYTES [COUNT]", "cuts the reply data, completion code included", 3, 4,
         ipmiFault<I::shorten, Operand::number>},
        {"ipmi-long", "NETFN CMD BYTES [COUNT]", "appends so many bytes to the reply data", 3, 4,
         ipmiFault<I::lengthen, Operand::number>},
        {"ipmi-reply", "NETFN CMD HEX [COUNT]", "this reply data, completion code first", 3, 4,
         ipmiFault<I::data, Operand::bytes>},
        {"ipmi-garbage", "NETFN CMD HEX [COUNT]", "these bytes on the wire instead of a reply", 3, 4,
         ipmiFault<I::garbage, Operand::bytes>},
        {"faults", "", "faults in force", 0, 0, listFaults},
        {"clear", "", "ends every fault", 0, 0, clearFaults},
    };
    return verbs;
}

}  // namespace torvosim
