/** @file powerchange.cpp  Resets: never a harder kind than was asked for, and not done before the BMC says so. */
#include "powerchange.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <thread>

#include "../session.h"
#include "change.h"
#include "rounds.h"
#include "task.h"

namespace qvrfctl {
namespace {

using Clock        = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr unsigned     kLimit       = 300;
constexpr unsigned     kForcedLimit = 60;
constexpr Milliseconds kFirstLook{250};
constexpr Milliseconds kLook{2000};
constexpr Milliseconds kLateLook{5000};
constexpr Milliseconds kLate{30000};

struct Kind {
    const char* word;
    const char* gentle;
    const char* instead;  ///< the same where the BMC does not have the first; nothing: there is none
    const char* forced;
    const char* wanted;  ///< the state that it ends in; nothing: none of its own
    bool        asks;
    const char* does;
};
constexpr Kind kKinds[] = {
    {"on", "On", nullptr, "ForceOn", "On", false, "turns on"},
    {"off", "GracefulShutdown", "PushPowerButton", "ForceOff", "Off", true, "turns off"},
    {"restart", "GracefulRestart", nullptr, "ForceRestart", "On", true, "restarts"},
    {"cycle", "PowerCycle", nullptr, nullptr, "On", true, "turns off and on again, without a word to its system,"},
    {"nmi", "Nmi", nullptr, nullptr, nullptr, true, "sends a non-maskable interrupt to"},
};

const Kind& kindOf(const std::string& word)
{
    return *std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& kind) { return word == kind.word; });
}

/** What was seen last, for the thread that ends the command when its time is over. */
class Seen {
public:
    void set(const std::string& state)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        state_ = state;
    }
    std::string get()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return state_;
    }

private:
    std::mutex  mutex_;
    std::string state_;
};

/** The value to send. @throws Failure where the BMC does not take it: a harder one is never sent in its place */
std::string resetType(const Kind& kind, bool force, const std::optional<std::vector<std::string>>& allowed)
{
    const std::string wanted = force ? kind.forced : kind.gentle;
    if (!allowed || sameOf(*allowed, wanted)) return wanted;
    if (!force && kind.instead != nullptr && sameOf(*allowed, kind.instead)) return kind.instead;
    const bool canForce = !force && kind.forced != nullptr && sameOf(*allowed, kind.forced);
    throw Failure(kExitLibrary, "this BMC does not take " + wanted + ", but: " + orDash(listed(*allowed)),
                  canForce ? std::string("--force sends ") + kind.forced : std::string());
}

std::string nameOf(const Value& system)
{
    const std::string host  = system["HostName"].text();
    const std::string about = listed({system["Model"].text("a server"), system["SerialNumber"].text("no number")});
    return host.empty() ? about : host + " (" + about + ')';
}

class Change {
public:
    Change(const Context& context, const Kind& kind, const PowerWords& words, Seen& seen)
        : context_(context), kind_(kind), words_(words), seen_(seen), screen_(context), service_(context, words.system)
    {
    }

    void run(bool asks)
    {
        system_ = service_.system();
        before_ = state();
        if (kind_.wanted != nullptr && kind_.wanted == before_ && !isRestart()) return show(before_, true);
        type_ = resetType(kind_, words_.force,
                          allowedValues(service_, system_["Actions.#ComputerSystem.Reset"], "ResetType"));
        if (asks) ask(question());
        send();
    }

private:
    bool        isRestart() const { return kind_.word == std::string("restart") || kind_.word == std::string("cycle"); }
    bool        isThisServer() const { return !context_.target.endpoint; }
    std::string state() const { return system_["PowerState"].text(); }

    std::string question() const
    {
        return "This " + std::string(kind_.does) + ' ' + nameOf(system_) +
               (isThisServer() ? ", the server that this runs on" : "") + inBrackets(type_) + ".";
    }

    void send()
    {
        const auto start = Clock::now();
        screen_.flush();  // on this server it may be the last that is done
        const Reply reply = order();
        if (reply.http == 202) throwIfFailed(waitForTask(service_, acceptedBy(reply), "reset"));
        const bool waits = !words_.noWait && kind_.wanted != nullptr && !(words_.force && isThisServer());
        if (waits && reply.http != 409) wait(start);
        elapsed_ = std::chrono::duration_cast<Milliseconds>(Clock::now() - start);
        show(waits ? state() : std::string(), isOver_ || reply.http == 409);
    }

    /** 409: not possible in this state, which may be the very one that was wanted. */
    Reply order()
    try {
        return runAction(service_, system_, "ComputerSystem.Reset", {{"ResetType", type_}});
    } catch (const Refusal& refusal) {
        if (refusal.http() != 409) throw;
        look();
        if (kind_.wanted != nullptr && state() == kind_.wanted && !isRestart()) return refusal.reply();
        throw Failure(kExitHttpError, refusal.what(), "the server is " + orDash(state()));
    }

    void look()
    {
        const Reply reply = service_.send({"GET", system_.link()});
        if (reply.isOk() && reply.body.isObject()) system_ = reply.body.link().empty() ? system_ : reply.body;
        seen_.set(state());
    }

    /** A restart is over when the time of the last one is a newer one, or the server was seen off. */
    bool isOver(const std::string& resetBefore)
    {
        if (!isRestart()) return state() == kind_.wanted;
        wasOff_              = wasOff_ || state() == "Off" || state() == "PoweringOff" || state() == "PoweringOn";
        const bool isAnother = system_["LastResetTime"].text() != resetBefore;
        return state() == kind_.wanted && (wasOff_ || isAnother);
    }

    void wait(Clock::time_point start)
    {
        const std::string resetBefore = system_["LastResetTime"].text();
        if (isRestart() && resetBefore.empty()) return;  // nothing would tell its end
        for (auto pause = kFirstLook;; pause = std::min(2 * pause, kLook)) {
            look();
            isOver_ = isOver(resetBefore);
            if (isOver_) return;
            std::this_thread::sleep_for(Clock::now() - start > kLate ? kLateLook : pause);
        }
    }

    void show(const std::string& after, bool done)
    {
        if (screen_.isJson())
            return screen_.document({{"system", system_.link()},
                                     {"requested", kind_.word},
                                     {"resetType", type_.empty() ? Value() : Value(type_)},
                                     {"before", before_.empty() ? Value() : Value(before_)},
                                     {"after", after.empty() ? Value() : Value(after)},
                                     {"done", done},
                                     {"milliseconds", static_cast<long long>(elapsed_.count())}});
        const std::string seconds = std::to_string((elapsed_.count() + 500) / 1000) + " s";
        screen_.line("power:", type_.empty() ? after + " already"
                               : done        ? after + ", after " + seconds
                                             : type_ + " sent");
    }

    const Context&    context_;
    const Kind&       kind_;
    const PowerWords& words_;
    Seen&             seen_;
    Screen            screen_;
    Service           service_;
    Value             system_;
    std::string       before_;
    std::string       type_;
    Milliseconds      elapsed_{0};
    bool              wasOff_ = false;
    bool              isOver_ = false;
};

Failure late(const Kind& kind, bool force, const std::string& state, unsigned seconds)
{
    const std::string after = " after " + std::to_string(seconds) + " s";
    if (state.empty()) return Failure(kExitStreamOver, "the BMC did not answer in time: not done" + after);
    const bool canForce = !force && kind.forced != nullptr && kind.wanted == std::string("Off");
    return Failure(kExitStreamOver,
                   "still " + state + after + (canForce ? ": the operating system did not shut down" : ""),
                   canForce ? "--force turns it off" : "'qvrfctl power' tells the state");
}

}  // namespace

void changePower(const Context& context, const std::string& word, const PowerWords& words)
{
    const Kind& kind = kindOf(word);
    if (words.force && kind.forced == nullptr) throw wrongUsage("--force does not go with " + word);
    const bool asks        = kind.asks && mustAsk(context, words.yes);
    const auto seen        = std::make_shared<Seen>();
    const bool isForcedOff = words.force && word == "off";
    // The time that the user takes for his answer counts: nobody is there to see the end.
    limit(context, words.timeout, isForcedOff ? kForcedLimit : kLimit,
          [seen, &kind, force = words.force](unsigned seconds) { return late(kind, force, seen->get(), seconds); });
    Change(context, kind, words, *seen).run(asks);
}

}  // namespace qvrfctl
