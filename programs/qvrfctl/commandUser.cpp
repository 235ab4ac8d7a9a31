/** @file commandUser.cpp  qvrfctl user list, add and delete. */
#include <fcntl.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "commands.h"
#include "day/useraccounts.h"
#include "day/users.h"
#include "oxarfutilHelper.h"
#include "password.h"
#include "qvhipm.h"
#include "qvstatus.h"
#include "reach.h"
#include "rundirectory.h"

namespace qvrfctl {
namespace {

struct Words {
    std::string name;
    std::string privilege;
    bool        unchecked = false;
    bool        byRedfish = false;
};

/** The slots that the host manages; those below are the BMC's own. */
bool isManaged(u32 slot) noexcept
{
    return slot >= 3 && slot <= 16;
}

/** The slots below are the BMC's own: the library neither finds nor clears the users there. */
void checkManageable(const std::string& name)
{
    checkUserName(name);
    if (name == "root") throw wrongUsage("'root' is the BMC's own user and is not managed here");
}

/** What the BMC lists for @p name now; nothing when it could not be asked. */
std::optional<std::vector<Value>> listed(const Context& context, const std::string& name)
try {
    Service            service(context);
    std::vector<Value> users = userRows(service)["users"].items();
    users.erase(std::remove_if(users.begin(), users.end(), [&](const Value& u) { return u["name"].text() != name; }),
                users.end());
    return users;
} catch (const Failure& f) {
    context.output.warning(std::string("warning: not checked with the BMC's account service: ") + f.what());
    return std::nullopt;
}

/**
 * The library reports success also when a later step failed and it took the account back: the BMC has the last word.
 */
bool checkAdded(const Context& context, const Words& words)
{
    if (words.unchecked) return false;
    const auto accounts = listed(context, words.name);
    if (!accounts) return false;
    const auto works = [](const Value& user) { return user["enabled"].isTrue(); };
    if (std::any_of(accounts->begin(), accounts->end(), works)) return true;
    const StatusRow row = statusRow(OXA_BMC_CMD_SET_VALUE_IN_DB_FAILED);
    throw Failure(kExitLibrary,
                  "cannot add the user " + words.name + ": the BMC refused a part and the account was taken back",
                  row.advice, row.name, row.status);
}

/** The user's slot, or a free one. @throws Failure */
u32 slotFor(const std::string& name)
{
    const u32 present = BMCUserGetUserPresence(name.c_str());
    const u32 slot    = isManaged(present) ? present : BMCUserGetFreeUserSlotFromDB();
    if (!isManaged(slot)) throw libraryFailure("add the user " + name, OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT);
    return slot;
}

/** One change of users at a time on this host: a slot that is free to one is free to the other. */
class UsersLock {
public:
    UsersLock()
    {
        const std::string place = runDirectory();
        if (place.empty()) return;
        file_               = OwnFile(place + "/users", O_RDWR | O_CREAT);
        const auto deadline = Clock::now() + kLongest;
        while (file_ && !file_.lock()) {
            if (Clock::now() >= deadline)
                throw Failure(kExitLibrary, "another 'qvrfctl user' is at work", "wait for it");
            std::this_thread::sleep_for(kPause);
        }
    }

private:
    using Clock                    = std::chrono::steady_clock;
    static constexpr auto kLongest = std::chrono::seconds(120);
    static constexpr auto kPause   = std::chrono::milliseconds(50);

    OwnFile file_;
};

/** @throws Failure; the name has its slot then, or somebody else took it */
void configure(const Context& context, const Words& words, const Password& password)
{
    const Library library(context.target.generation);
    needAnswerOverIpmi();
    const u32 slot = slotFor(words.name);
    const s32 st   = OXAConfigureBMCUser(slot, words.name.c_str(), password.text(), words.privilege.c_str(), TRUE);
    if (st != OXA_SUCCESS) throw libraryFailure("add the user " + words.name, st);
    if (BMCUserGetUserPresence(words.name.c_str()) == slot) return;
    throw Failure(
        kExitLibrary,
        "cannot add the user " + words.name + ": slot " + std::to_string(slot) + " of the BMC does not have it",
        "somebody else may change users: try again");
}

void configureByRedfish(const Context& context, const Words& words, const Password& password)
{
    Service service(context);
    addUser(service, words.name, words.privilege, password.text());
}

bool eraseByRedfish(const Context& context, const std::string& name)
{
    Service service(context);
    return deleteUser(service, name);
}

void showPassword(const Context& context, const Words& words, const Password& password, bool checked)
try {
    if (context.output.json())
        context.output.document({{"name", words.name},
                                 {"privilege", words.privilege},
                                 {"password", password.text()},
                                 {"checked", checked}});
    else
        context.output.write(password.text()), context.output.write("\n");
    context.output.flush();
} catch (const Failure& failure) {
    throw Failure(kExitOutput,
                  failure.what() + ("; the user " + words.name + " exists now, and nobody knows its password"),
                  "'qvrfctl user add' again gives it a new one, 'qvrfctl user delete' removes it");
}

void add(const Context& context, const Words& words)
{
    checkManageable(words.name);
    needReader("no user was made");
    const Password  password;
    const UsersLock alone;
    if (words.byRedfish)
        configureByRedfish(context, words, password);
    else
        configure(context, words, password);
    showPassword(context, words, password, words.byRedfish || checkAdded(context, words));
}

/** @return whether there was such a user, over IPMI. @throws Failure */
bool erase(const Context& context, const std::string& name)
{
    const Library library(context.target.generation);
    needAnswerOverIpmi();  // "no such user" and "no answer" are one to the library
    const bool  present = isManaged(BMCUserGetUserPresence(name.c_str()));
    std::string copy    = name;
    if (const s32 st = OXADeleteTorvoUser(copy.data()); st != OXA_SUCCESS)
        throw libraryFailure("delete the user " + name, st);
    return present;
}

void remove(const Context& context, const Words& words)
{
    checkManageable(words.name);
    const UsersLock alone;
    const bool      deleted  = words.byRedfish ? eraseByRedfish(context, words.name) : erase(context, words.name);
    const auto      accounts = words.unchecked ? std::nullopt : listed(context, words.name);
    if (accounts && !accounts->empty())
        throw Failure(kExitLibrary,
                      "the BMC still has the user " + words.name + " (slot " + accounts->front()["id"].text() + ")",
                      "only users in slots 3 to 16 can be deleted from the host");
    if (context.output.json())
        context.output.document({{"name", words.name}, {"deleted", deleted}, {"checked", accounts.has_value()}});
    else
        context.output.write(words.name + (deleted ? " deleted\n" : " was no user of the BMC\n"));
}

void declareWays(Arguments arguments, Words& words)
{
    arguments.flag("--redfish", words.byRedfish,
                   "by the BMC's account service, where its users cannot be changed over IPMI");
    arguments.flag("--no-check", words.unchecked, "do not ask the BMC's account service whether it took the change");
}

}  // namespace

Action declareUser(Arguments arguments)
{
    auto       words    = std::make_shared<Words>();
    const auto accounts = declareUserAccounts(arguments);

    Arguments adding = arguments.mayBe("add", "add a user, or give one a new password; prints the password");
    adding.text("NAME", words->name, "user name").required();
    adding.text("--privilege", words->privilege, "privilege of the user: ro, op or root")
        .oneOf(privileges())
        .required();
    declareWays(adding, *words);

    Arguments deleting = arguments.mayBe("delete", "delete a user; one that is not there is no error");
    deleting.text("NAME", words->name, "user name").required();
    declareWays(deleting, *words);

    return [words, adding, deleting, accounts](const Context& context) {
        if (accounts(context, adding.isNamed() || deleting.isNamed())) return;
        if (adding.isNamed()) return add(context, *words);
        remove(context, *words);
    };
}

}  // namespace qvrfctl
