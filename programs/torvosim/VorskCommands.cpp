/** @file VorskCommands.cpp  The BMC's command line. */
#include "VorskCommands.h"

namespace torvosim {

namespace {

/** An attribute of the command line and the fact behind it. */
struct VorskAttribute {
    const char* target;
    const char* group;  // what the reply's first line names
    const char* key;
    const char* fact;
    bool        writable;
};
constexpr VorskAttribute kVorskAttributes[] = {
    {"torvo.webserver.enable", "WebServer.1", "Enable", "webserver", true},
    {"torvo.webserver.httpsport", "WebServer.1", "HttpsPort", "port", false},
    {"torvo.redfish.enable", "Redfish.1", "Enable", "redfish", true},
    {"torvo.servicemodule.servicemoduleversion", "ServiceModule.1", "ServiceModuleVersion", "agent", true},
};

const VorskAttribute* findVorskAttribute(std::string_view target)
{
    for (const VorskAttribute& attribute : kVorskAttributes)
        if (equalsIgnoreCase(attribute.target, target)) return &attribute;
    return nullptr;
}

/** Takes the next word off @p line. */
std::string_view nextWord(std::string_view& line)
{
    line                  = trimmed(line);
    const auto       end  = line.find(' ');
    std::string_view word = line.substr(0, end);
    line                  = end == line.npos ? std::string_view() : line.substr(end + 1);
    return word;
}

CommandResult failure(const std::string& why)
{
    return {1, "ERROR: " + why + ".\n"};
}

CommandResult valueReply(const std::string& group, const std::string& key, const std::string& value)
{
    return {0, "[Key=torvo.Embedded.1#" + group + "]\n" + key + '=' + value + '\n'};
}

CommandResult get(Bmc& bmc, std::string_view target)
{
    if (const VorskAttribute* attribute = findVorskAttribute(target)) {
        const FactRow* fact = findFact(attribute->fact);
        return valueReply(attribute->group, attribute->key, bmc.facts.with([&](Facts& f) { return fact->read(f); }));
    }
    if (const auto user = userTarget(target)) {
        const auto value = bmc.users.get(user->first, user->second);
        if (!value) return failure("no such user attribute, or one that is not told");
        return valueReply("Users." + std::to_string(user->first), std::string(user->second), *value);
    }
    return failure("unknown attribute");
}

CommandResult set(Bmc& bmc, std::string_view target, std::string_view value)
{
    if (const VorskAttribute* attribute = findVorskAttribute(target)) {
        if (!attribute->writable) return failure("read-only attribute");
        const FactRow* fact = findFact(attribute->fact);
        if (!bmc.facts.with([&](Facts& f) { return fact->write(f, std::string(value)); }))
            return failure("invalid value");
        return {0, "Object value modified successfully\n"};
    }
    if (userTarget(target)) {
        const std::string problem = bmc.users.set(target, value);
        if (!problem.empty()) return failure(problem);
        return {0, "Object value modified successfully\n"};
    }
    return failure("unknown attribute");
}

}  // namespace

CommandResult runVorskCommand(Bmc& bmc, std::string_view line)
{
    if (nextWord(line) != "vorsk") return failure("unknown command");
    const std::string_view verb   = nextWord(line);
    const std::string_view target = nextWord(line);
    if (verb == "get" && !target.empty()) return get(bmc, target);
    // The value is the rest of the line as it is: passwords may hold any character.
    if (verb == "set" && !target.empty() && !line.empty()) return set(bmc, target, line);
    return failure("the command is vorsk get <attribute> or vorsk set <attribute> <value>");
}

CommandResult runUserSet(Bmc& bmc, std::string_view line)
{
    std::string_view rest = line;
    if (nextWord(rest) != "vorsk" || nextWord(rest) != "set" || !userTarget(nextWord(rest)))
        return failure("the user database takes vorsk set torvo.users.<slot>.<attribute> <value>");
    return runVorskCommand(bmc, line);
}

std::string withoutPassword(std::string_view line)
{
    constexpr std::string_view key   = ".password ";
    const auto                 found = line.find(key);
    if (found == line.npos) return std::string(line);
    return std::string(line.substr(0, found + key.size())) + "***";
}

}  // namespace torvosim
