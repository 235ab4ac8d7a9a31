/** @file ControlEvents.cpp  Control words for the event streams. */
#include <cmath>
#include <nlohmann/json.hpp>

#include "Control.h"

namespace torvosim {

namespace {

using Json = nlohmann::json;

Json post(Bmc& bmc, StreamStep step)
{
    return {{"streams", bmc.events.post(step)}};
}

Json postBytes(Bmc& bmc, std::string bytes)
{
    StreamStep step;
    step.bytes = std::move(bytes);
    return post(bmc, std::move(step));
}

std::string textOr(const Words& words, const char* otherwise)
{
    return words.empty() ? otherwise : words[0];
}

Json event(Bmc& bmc, const Words& words)
{
    return postBytes(bmc, bmc.events.makeEvent(textOr(words, "Event")));
}

Json together(Bmc& bmc, const Words& words)
{
    std::string bytes;
    for (auto left = wantNumber(words[0], "a number of events", 1000); left > 0; --left)
        bytes += bmc.events.makeEvent("Together");
    return postBytes(bmc, std::move(bytes));
}

Json split(Bmc& bmc, const Words& words)
{
    const std::string whole = bmc.events.makeEvent(textOr(words, "Split"));
    postBytes(bmc, whole.substr(0, whole.size() / 2));
    return postBytes(bmc, whole.substr(whole.size() / 2));
}

Json raw(Bmc& bmc, const Words& words)
{
    return postBytes(bmc, unescaped(words[0]));
}

Json keepAlive(Bmc& bmc, const Words&)
{
    return postBytes(bmc, ":\n\n");
}

constexpr std::uint64_t kLongestFiller = 1 << 20;

Json events(Bmc& bmc, const Words& words)
{
    StreamStep step;
    step.kind  = StreamStep::Kind::burst;
    step.count = wantNumber(words[0], "a number of events");
    if (words.size() > 1) step.perSecond = static_cast<double>(wantNumber(words[1], "events a second", UINT32_MAX));
    if (words.size() > 2) step.bytes.assign(wantNumber(words[2], "characters more", kLongestFiller), 'x');
    return post(bmc, std::move(step));
}

Json interval(Bmc& bmc, const Words& words)
{
    bmc.events.setInterval(static_cast<unsigned>(wantNumber(words[0], "milliseconds", UINT32_MAX)));
    return Json::object();
}

template <StreamStep::Kind Kind>
Json finish(Bmc& bmc, const Words&)
{
    StreamStep step;
    step.kind = Kind;
    return post(bmc, std::move(step));
}

}  // namespace

const std::vector<ControlVerb>& eventVerbs()
{
    static const std::vector<ControlVerb> verbs = {
        {"event", "[TEXT]", "one event on every open stream", 0, 1, event},
        {"events", "COUNT [PER-SECOND [FILL]]", "a burst of events that say when they left, by CLOCK_MONOTONIC", 1, 3,
         events},
        {"events-together", "COUNT", "several events in one write", 1, 1, together},
        {"event-split", "[TEXT]", "one event in two writes", 0, 1, split},
        {"event-raw", "TEXT", "these bytes in one write", 1, 1, raw},
        {"keep-alive", "", "a comment of three bytes", 0, 0, keepAlive},
        {"event-interval", "MS", "events by themselves on streams opened from now on; 0: none", 1, 1, interval},
        {"stream-end", "", "ends every stream properly", 0, 0, finish<StreamStep::Kind::end>},
        {"stream-break", "", "breaks every stream with a connection reset", 0, 0, finish<StreamStep::Kind::breakOff>},
    };
    return verbs;
}

}  // namespace torvosim
