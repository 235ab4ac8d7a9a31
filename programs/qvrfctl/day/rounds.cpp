/** @file rounds.cpp  Rounds of reading in one session, and the end of their time. */
#include "rounds.h"

#include <chrono>
#include <ctime>
#include <thread>

#include <nlohmann/json.hpp>

#include "../session.h"

namespace qvrfctl {
namespace {

/** A BMC that answers nothing any more is told ten times; then it is gone. */
constexpr int kMostFailures = 10;

std::string now()
{
    const std::time_t at = std::time(nullptr);
    std::tm           utc{};
    char              text[sizeof "2026-11-21T08:12:03Z"]{};
    ::gmtime_r(&at, &utc);
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

void showOnce(Screen& screen, const Value& read, const Showing& show)
{
    if (screen.isJson())
        screen.document(read);
    else
        show(screen, read);
}

void showAgain(Screen& screen, const Value& read, const Showing& show)
{
    if (screen.isJson()) return screen.record(Value(read).set("time", now()));
    beginAgain(screen);
    show(screen, read);
}

void repeat(const Context& context, unsigned every, const std::function<void()>& round)
{
    for (int failures = 0;; std::this_thread::sleep_for(std::chrono::seconds(every))) {
        try {
            round();
            context.output.flush();
            failures = 0;
        } catch (const Failure& failure) {
            context.interrupts.stayIfEnding();
            if (failure.exit() == kExitOutput || ++failures == kMostFailures) throw;
            context.output.warning(std::string("this round failed: ") + failure.what());
        }
    }
}

void showFacts(const Context& context, bool again, Json document, const std::string& text)
{
    Output& output = context.output;
    if (!output.json()) {
        if (again) output.clear();
        return output.write(again ? timeText(now()) + '\n' + text : text);
    }
    if (!again) return output.document(document);
    document["time"] = now();
    output.record(document);
}

unsigned wholeTime(const Context& context, unsigned seconds, unsigned otherwise)
{
    if (seconds != 0) return seconds;
    return context.options.timeout != 0 ? context.options.timeout : otherwise;
}

Failure late(unsigned seconds)
{
    return Failure(kExitStreamOver, "not done within " + std::to_string(seconds) + " s",
                   "what was sent may have been done all the same");
}

Failure lateReading(unsigned seconds)
{
    return Failure(kExitStreamOver, "not done within " + std::to_string(seconds) + " s",
                   "give it more time; 'qvrfctl doctor' finds out whether the BMC answers at all");
}

}  // namespace

void declareSystem(Arguments arguments, std::string& system)
{
    arguments.text("--system", system, "Id of the system, where the BMC has several");
}

Argument declareRounds(Arguments arguments, Rounds& rounds, bool withSystem)
{
    if (withSystem) declareSystem(arguments, rounds.system);
    arguments.count("--timeout", rounds.timeout, "end after this many seconds, whatever the BMC does");
    return arguments.count("--watch", rounds.every, "read again every so many seconds");
}

void checkOnce(const Rounds& rounds)
{
    if (rounds.every != 0) throw wrongUsage("--watch goes with what only reads");
}

void limit(const Context& context, unsigned seconds, unsigned otherwise, const Late& says)
{
    const unsigned whole = wholeTime(context, seconds, otherwise);
    if (whole == 0) return;
    const bool isJson = context.output.json();
    context.interrupts.endAfter(std::chrono::seconds(whole), [=] {
        const Failure failure = says ? says(whole) : late(whole);
        report(failure, isJson);
        return static_cast<int>(failure.exit());
    });
}

void limitShowing(const Context& context, unsigned seconds)
{
    const unsigned whole = wholeTime(context, seconds, 0);
    if (whole != 0) context.interrupts.endAfter(std::chrono::seconds(whole), [] { return static_cast<int>(kExitOk); });
}

void beginAgain(Screen& screen)
{
    screen.redraw();
    screen.write(timeText(now()) + '\n');
}

void limitRounds(const Context& context, const Rounds& rounds)
{
    if (rounds.every != 0)
        limitShowing(context, rounds.timeout);
    else
        limit(context, rounds.timeout, 0, lateReading);
}

void repeatRounds(const Context& context, const Rounds& rounds, const Round& round)
{
    limitRounds(context, rounds);
    Service service(context, rounds.system, rounds.login);
    Screen  screen(context);
    if (rounds.every == 0) return round(service, screen);
    repeat(context, rounds.every, [&] {
        service.forget();
        round(service, screen);
    });
}

void inRoundsWithoutSession(const Context& context, const Rounds& rounds, const std::function<void(const Show&)>& round)
{
    limitRounds(context, rounds);
    const bool again = rounds.every != 0;
    const auto once  = [&] {
        round([&](const Json& document, const std::string& text) { showFacts(context, again, document, text); });
    };
    if (!again) return once();
    repeat(context, rounds.every, once);
}

void inRounds(const Context& context, const Rounds& rounds, const Reading& read, const Showing& show)
{
    repeatRounds(context, rounds, [&](Service& service, Screen& screen) {
        (rounds.every != 0 ? showAgain : showOnce)(screen, read(service), show);
    });
}

}  // namespace qvrfctl
