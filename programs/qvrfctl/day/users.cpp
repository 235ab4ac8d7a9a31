/** @file users.cpp  qvrfctl user list, passwd, enable, disable and role. */
#include "users.h"

#include "../password.h"
#include "../session.h"
#include "change.h"
#include "rounds.h"
#include "secret.h"
#include "useraccounts.h"

namespace qvrfctl {
namespace {

struct Words {
    Rounds      rounds;
    std::string name;
    std::string role;
    std::string passwordFile;
    bool        generate = false;
};

std::string enabledText(const Value& row)
{
    return yesNo(row["enabled"]);
}
std::string lockedText(const Value& row)
{
    return yesNo(row["locked"]);
}

void show(Screen& screen, const Value& document)
{
    screen.table({{"NAME", "name"},
                  {"ROLE", "role"},
                  {"ENABLED", "enabled", 0, false, enabledText},
                  {"LOCKED", "locked", 3, false, lockedText},
                  {"SLOT", "id", 2}},
                 document["users"].items());
}

Value found(Service& service, const std::string& name)
{
    std::vector<std::string> there;
    for (const Value& row : userRows(service)["users"].items()) {
        if (row["name"].text() == name) return row;
        there.push_back(row["name"].text());
    }
    throw noSuch("user", name, there);
}

/** Who locks the session's own user out locks himself out. */
void checkChangeable(const Context& context, const std::string& name)
{
    checkUserName(name);
    if (name == "root" || name == context.options.user)
        throw wrongUsage('\'' + name + "' is the BMC's own user, or the one of this session, and is not changed here");
}

void showChanged(Screen& screen, const std::string& name, const char* what, const std::string& now)
{
    if (screen.isJson()) return screen.document({{"name", name}, {"changed", Value::texts({what})}});
    screen.line(name + ':', now);
}

using Wanted = std::function<Value(Service&)>;

void change(const Context& context, const Words& words, const char* member, const Wanted& wantedOf,
            const std::string& subject)
{
    Service     service(context);
    Screen      screen(context);
    const Value wanted = wantedOf(service);
    const Value user   = found(service, words.name);
    const auto  path   = user["path"].text();
    const bool  isSo   = service.read(path)[member] == wanted;
    if (!isSo) patch(service, path, Value::object().set(member, wanted));
    service.forget();
    if (service.read(path)[member] != wanted)
        throw Failure(kExitLibrary, "the BMC answered that it is done, but " + std::string(member) + " of " +
                                        words.name + " is " + service.read(path)[member].dump());
    if (screen.isJson() && isSo) return screen.document({{"name", words.name}, {"changed", Value::list()}});
    showChanged(screen, words.name, subject.c_str(),
                isSo ? "so already" : std::string(member) + " is " + wanted.text());
}

/** A name of ours, or an Id of the BMC's. */
std::string roleOf(Service& service, const std::string& word)
{
    if (const std::string role = roleOfPrivilege(word); !role.empty()) return role;
    std::vector<std::string> there{"ro", "op", "root"};
    for (const Value& role : service.membersOr(accountService(service)["Roles"], "roles")) there.push_back(idOf(role));
    if (const auto same = sameOf(there, word)) return *same;
    throw noSuch("role", word, there);
}

void checkLength(const Value& service, const std::string& password)
{
    const double least = service["MinPasswordLength"].number(1), most = service["MaxPasswordLength"].number(1e6);
    const auto   size = static_cast<double>(password.size());
    if (size < least || (most > 0 && size > most) || password.empty())
        throw wrongUsage("the password is too " + std::string(size < least ? "short" : "long") + ": this BMC takes " +
                         numberText(Value(least)) + " to " + numberText(Value(most)) + " characters");
}

Secret newPassword(const Words& words)
{
    if (!words.passwordFile.empty()) return passwordFrom(words.passwordFile);
    return words.generate ? Secret(Password().text()) : askPassword(words.name);
}

void showPassword(Screen& screen, const std::string& name, const std::string& password)
try {
    if (screen.isJson())
        screen.document({{"name", name}, {"changed", Value::texts({"password"})}, {"password", password}});
    else
        screen.write(password + '\n');
    screen.flush();
} catch (const Failure& failure) {
    throw Failure(kExitOutput,
                  failure.what() + ("; the user " + name + " has another password now, which nobody knows"),
                  "'qvrfctl user passwd' again gives it a new one");
}

void changePassword(const Context& context, const Words& words)
{
    if (words.generate) needReader("nothing was changed");
    const Secret password = newPassword(words);
    Service      service(context);
    Screen       screen(context);
    const Value  user = found(service, words.name);
    checkLength(accountService(service), password.text());
    std::string body = quoted(password.text());
    try {
        patchText(service, user["path"].text(), Secret("{\"Password\":" + body + '}'));
    } catch (const Refusal& refusal) {
        wipe(body);
        throw withoutSecret(refusal, password.text());
    }
    wipe(body);
    if (!words.generate) return showChanged(screen, words.name, "password", "has another password now");
    showPassword(screen, words.name, password.text());
}

}  // namespace

std::function<bool(const Context&, bool)> declareUserAccounts(Arguments arguments)
{
    auto words = std::make_shared<Words>();
    declareRounds(arguments, words->rounds, false);
    arguments.mayBe("list", "list the users, over Redfish");
    const auto named = [&](const char* verb, const char* about) {
        Arguments command = arguments.mayBe(verb, about);
        command.text("NAME", words->name, "user name").required();
        return command;
    };
    const Arguments enabling  = named("enable", "let a user log in");
    const Arguments disabling = named("disable", "let a user log in no more");
    Arguments       role      = named("role", "give a user another role");
    role.text("ROLE", words->role, "ro, op, root, or a role of the BMC's").required();
    Arguments passwd = named("passwd", "give a user another password, which is asked for");
    passwd.text("--password-file", words->passwordFile,
                "take it from the first line of this file; - is standard input");
    passwd.flag("--generate", words->generate, "make one, and print it alone").notWith("--password-file");
    return [=](const Context& context, bool isOther) {
        const bool isChange = enabling.isNamed() || disabling.isNamed() || role.isNamed() || passwd.isNamed();
        if (isOther && !isChange) return false;
        if (!isChange) return inRounds(context, words->rounds, userRows, show), true;
        checkOnce(words->rounds);
        checkChangeable(context, words->name);
        if (!passwd.isNamed()) limit(context, words->rounds.timeout);  // who types is not hurried
        if (passwd.isNamed()) return changePassword(context, *words), true;
        if (role.isNamed())
            change(
                context, *words, "RoleId", [&](Service& service) { return roleOf(service, words->role); }, "role");
        else
            change(
                context, *words, "Enabled", [&](Service&) { return Value(enabling.isNamed()); },
                enabling.isNamed() ? "enabled" : "disabled");
        return true;
    };
}

}  // namespace qvrfctl
