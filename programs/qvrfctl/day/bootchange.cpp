/** @file bootchange.cpp  Changes the boot override, and believes nothing but what the BMC says afterwards. */
#include "bootchange.h"

#include "boot.h"
#include "change.h"

namespace qvrfctl {
namespace {

struct Source {
    const char* word;
    const char* target;
};
constexpr Source kSources[] = {{"pxe", "Pxe"}, {"cd", "Cd"}, {"disk", "Hdd"}, {"bios", "BiosSetup"}};

/** The value to send: of those that are allowed, whatever its case. @throws Failure where it is none of them */
std::string targetOf(const std::string& word, const std::vector<std::string>& allowed)
{
    std::string target = word;
    for (const Source& source : kSources)
        if (isSameWord(word, source.word)) target = source.target;
    if (allowed.empty()) return target;
    if (const auto same = sameOf(allowed, target)) return *same;
    throw Failure(kExitLibrary, "this BMC does not boot from '" + word + "', but from: " + listed(allowed));
}

class Change {
public:
    Change(const Context& context, const BootWords& words)
        : words_(words), screen_(context), service_(context, words.system)
    {
    }

    void run()
    {
        const Value system = service_.system();
        before_            = bootOf(system);
        isNone_            = isSameWord(words_.source, "none");
        if (!isNone_) target_ = targetOf(words_.source, textsOf(before_["allowed"]));
        if (!isWanted(before_)) change(system);
        show();
    }

private:
    bool isWanted(const Value& boot) const
    {
        const std::string enabled = boot["enabled"].text();
        if (isNone_) return enabled == "Disabled" || boot["target"].text() == "None";
        return enabled == "Once" && boot["target"].text() == target_ &&
               (words_.mode.empty() || isSameWord(boot["mode"].text(), words_.mode));
    }

    Value wish(const std::string& mode) const
    {
        Value boot{{"BootSourceOverrideEnabled", isNone_ ? "Disabled" : "Once"}};
        if (!isNone_) boot.set("BootSourceOverrideTarget", target_);
        if (!isNone_ && !mode.empty()) boot.set("BootSourceOverrideMode", mode);
        return {{"Boot", boot}};
    }

    void change(const Value& system)
    {
        send(system, words_.mode);
        after_                = readBack(system);
        const std::string was = before_["mode"].text(), is = after_["mode"].text();
        if (words_.mode.empty() && !isNone_ && was != is) {
            screen_.warning("the BMC changed the mode to " + is + " by itself: asking for " + was + " again");
            send(system, was);
            after_ = readBack(system);
        }
        if (!isWanted(after_))
            throw Failure(kExitLibrary, "the BMC answered that it is done, but it is not: " + inShort(after_));
    }

    /** Some have a resource of its own for what takes hold later, and refuse the change here. */
    void send(const Value& system, const std::string& mode)
    try {
        const Value shown = before_;
        patch(service_, pending_.empty() ? system.link() : pending_, wish(mode),
              [shown](const Value& now) { return now["Boot"].isNull() || bootOf(now)["target"] == shown["target"]; });
    } catch (const Refusal& refusal) {
        const std::string settings = system["@Redfish.Settings.SettingsObject"].link();
        const bool        isOther  = refusal.http() == 400 || refusal.http() == 405;
        if (!isOther || settings.empty() || !pending_.empty()) throw;
        pending_ = settings;
        send(system, mode);
    }

    Value readBack(const Value& system)
    {
        service_.forget();
        Value boot = bootOf(service_.read(pending_.empty() ? system.link() : pending_));
        boot.set("system", system.link()).set("pending", !pending_.empty());
        if (boot["allowed"].items().empty()) boot.set("allowed", before_["allowed"]);
        return boot;
    }

    static std::string inShort(const Value& boot)
    {
        return boot["enabled"].text() + ", " + boot["target"].text() + ", " + boot["mode"].text();
    }

    void show()
    {
        const Value& now = after_.isNull() ? before_ : after_;
        if (screen_.isJson()) return screen_.document(now);
        showBoot(screen_, now);
        if (after_.isNull()) screen_.note("it was so already: nothing was sent");
    }

    const BootWords& words_;
    Screen           screen_;
    Service          service_;
    Value            before_;
    Value            after_;
    std::string      target_;
    std::string      pending_;  // the resource of what takes hold later, where that had to be used
    bool             isNone_ = false;
};

}  // namespace

void bootOnce(const Context& context, const BootWords& words)
{
    Change(context, words).run();
}

}  // namespace qvrfctl
