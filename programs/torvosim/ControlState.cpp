/** @file ControlState.cpp  Control words that read and change what the BMC is and knows. */
#include <limits>
#include <nlohmann/json.hpp>

#include "Control.h"
#include "LogResources.h"

namespace torvosim {

namespace {

constexpr std::size_t kAnyNumber = 64;

Json getFacts(Bmc& bmc, const Words& words)
{
    if (!words.empty() && findFact(words[0]) == nullptr) throw ControlError("there is no fact '" + words[0] + "'");
    Json facts = Json::object();
    bmc.facts.with([&](Facts& f) {
        for (const FactRow& row : kFacts)
            if (words.empty() || words[0] == row.name) facts[row.name] = row.read(f);
    });
    return {{"facts", facts}};
}

Json setFact(Bmc& bmc, const Words& words)
{
    const FactRow* row = findFact(words[0]);
    if (row == nullptr) throw ControlError("there is no fact '" + words[0] + "': get lists them");
    if (!bmc.facts.with([&](Facts& f) { return row->write(f, words[1]); }))
        throw ControlError("'" + words[1] + "' is no value for " + row->name + " (" + row->meaning + ')');
    return Json::object();
}

Json stats(Bmc& bmc, const Words& words)
{
    if (!words.empty() && words[0] != "reset") throw ControlError("it is: stats [reset]");
    Json requests = Json::object();
    bmc.stats.requests.with([&](auto& rows) {
        for (const auto& [key, count] : rows) requests[key] = count;
        if (!words.empty()) rows.clear();
    });
    const Stats& s = bmc.stats;
    return {{"connections", s.connections.load()},
            {"handshakesFailed", s.handshakesFailed.load()},
            {"sessions", bmc.sessions.ids().size()},
            {"logins", s.logins.load()},
            {"loginsRefused", s.loginsRefused.load()},
            {"tokensEnrolled", bmc.tokens.enrolled()},
            {"streamsOpen", s.streamsOpen.load()},
            {"eventsSent", s.eventsSent.load()},
            {"uploads", s.uploads.load()},
            {"ipmiMessages", s.ipmiMessages.load()},
            {"ipmiFramesDropped", s.ipmiFramesDropped.load()},
            {"restarts", bmc.restart.count()},
            {"requests", requests}};
}

Json trace(Bmc& bmc, const Words& words)
{
    return {{"lines", bmc.trace.last(words.empty() ? 20 : wantNumber(words[0], "a number of lines"))}};
}

Json generation(Bmc& bmc, const Words& words)
{
    if (words[0] != "new" && words[0] != "old") throw ControlError("a generation is new or old");
    bmc.sessions.setNewGeneration(words[0] == "new");
    return Json::object();
}

Json sessions(Bmc& bmc, const Words&)
{
    Json list = Json::array();
    for (const std::string& id : bmc.sessions.ids())
        if (const auto session = bmc.sessions.find(id)) list.push_back({{"id", id}, {"user", session->user}});
    return {{"sessions", list}, {"collection", bmc.sessions.collection()}};
}

Json expire(Bmc& bmc, const Words& words)
{
    if (words.empty()) return {{"ended", bmc.sessions.closeAll()}};
    if (!bmc.sessions.close(words[0])) throw ControlError("there is no session " + words[0]);
    return {{"ended", 1}};
}

Json sessionLimit(Bmc& bmc, const Words& words)
{
    bmc.sessions.setLimit(wantNumber(words[0], "a number of sessions"));
    return Json::object();
}

Json sessionTimeout(Bmc& bmc, const Words& words)
{
    bmc.sessions.setTimeout(static_cast<unsigned>(wantNumber(words[0], "a number of seconds", UINT32_MAX)));
    return Json::object();
}

Json deleteBody(Bmc& bmc, const Words& words)
{
    if (words[0] != "on" && words[0] != "off") throw ControlError("it is on or off");
    bmc.sessionDeleteBody = words[0] == "on";
    return Json::object();
}

Json tokenLogins(Bmc& bmc, const Words& words)
{
    bmc.tokens.setLoginsPerToken(static_cast<unsigned>(wantNumber(words[0], "a number of logins", UINT32_MAX)));
    return Json::object();
}

Json forgetTokens(Bmc& bmc, const Words&)
{
    bmc.tokens.forgetAll();
    return Json::object();
}

Json setLink(Bmc& bmc, const Words& words)
{
    if (!bmc.link) throw ControlError("there is no link: see the option --netns");
    if (words[0] != "up" && words[0] != "down") throw ControlError("a link goes up or down");
    bmc.link->setUp(words[0] == "up");
    return Json::object();
}

Json users(Bmc& bmc, const Words&)
{
    Json       list = Json::array();
    const auto all  = bmc.users.all();
    for (unsigned slot = 1; slot < all.size(); ++slot) {
        const User& user = all[slot];
        if (user.name.empty() && user.passwordHash.empty() && user.privilege == 0 && !user.enabled) continue;
        list.push_back({{"slot", slot},
                        {"username", user.name},
                        {"privilege", user.privilege},
                        {"enabled", user.enabled},
                        {"hasPassword", !user.passwordHash.empty()}});
    }
    return {{"users", list}};
}

Json userCheck(Bmc& bmc, const Words& words)
{
    return {{"accepted", bmc.users.mayLogIn(words[0], words[1])}};
}

Json refuseUsers(Bmc& bmc, const Words& words)
{
    bmc.users.refuse(static_cast<unsigned>(wantNumber(words[0], "a number of writes", UINT32_MAX)));
    return Json::object();
}

Json ksLog(Bmc& bmc, const Words& words)
{
    Json list = Json::array();
    for (const KsEntry& e : bmc.ksLog.last(words.empty() ? SIZE_MAX : wantNumber(words[0], "a number of entries")))
        list.push_back(
            {{"number", e.number}, {"time", isoTime(e.time)}, {"id", e.messageId}, {"arguments", e.arguments}});
    return {{"entries", list}};
}

Json ksLogAdd(Bmc& bmc, const Words& words)
{
    bmc.ksLog.add(words[0], {words.begin() + 1, words.end()});
    tellOfKsEntry(bmc);
    return Json::object();
}

Json ksLogClear(Bmc& bmc, const Words&)
{
    bmc.ksLog.clear();
    return Json::object();
}

Json ksLogRefuse(Bmc& bmc, const Words& words)
{
    bmc.ksLog.refuse(static_cast<unsigned>(wantNumber(words[0], "a number of exports", UINT32_MAX)));
    return Json::object();
}

/** Only noted: whoever carries the answer announces it afterwards, so that the answer still arrives. */
Json stop(Bmc& bmc, const Words&)
{
    bmc.stopRequested = true;
    return Json::object();
}

}  // namespace

const std::vector<ControlVerb>& stateVerbs()
{
    static const std::vector<ControlVerb> verbs = {
        {"help", "", "this list", 0, 0, nullptr},  // answered from the tables themselves
        {"get", "[FACT]", "what the BMC says about itself over IPMI and on its command line", 0, 1, getFacts},
        {"set", "FACT VALUE", "changes one of these facts", 2, 2, setFact},
        {"stats", "[reset]", "counters; reset clears the request rows", 0, 1, stats},
        {"trace", "[LINES]", "the newest lines of the trace", 0, 1, trace},
        {"generation", "new|old", "which session collection answers", 1, 1, generation},
        {"sessions", "", "open sessions", 0, 0, sessions},
        {"expire", "[ID]", "ends one session, or all: the next request is answered 401", 0, 1, expire},
        {"session-limit", "COUNT", "sessions at a time; one more is answered 503", 1, 1, sessionLimit},
        {"session-timeout", "SECONDS", "idle time that ends a session; 0: never", 1, 1, sessionTimeout},
        {"delete-body", "on|off", "DELETE of a session: 200 with a body, or 204", 1, 1, deleteBody},
        {"token-logins", "COUNT", "logins that one token is good for; 0: any number", 1, 1, tokenLogins},
        {"forget-tokens", "", "forgets every enrolled login token", 0, 0, forgetTokens},
        {"link", "up|down", "the BMC's end of the link that --netns made", 1, 1, setLink},
        {"users", "", "user slots in use", 0, 0, users},
        {"user-check", "NAME PASSWORD", "whether that user may log in with that password", 2, 2, userCheck},
        {"refuse-users", "COUNT", "so many writes to the user database fail", 1, 1, refuseUsers},
        {"kslog", "[COUNT]", "entries of the KS log", 0, 1, ksLog},
        {"kslog-add", "ID [ARGUMENT...]", "adds an entry", 1, kAnyNumber, ksLogAdd},
        {"kslog-clear", "", "empties the KS log", 0, 0, ksLogClear},
        {"kslog-refuse", "COUNT", "so many exports to the KS log fail", 1, 1, ksLogRefuse},
        {"stop", "", "ends the simulator", 0, 0, stop},
    };
    return verbs;
}

}  // namespace torvosim
