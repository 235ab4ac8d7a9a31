/** @file useraccounts.cpp  Reads, makes and removes users by the account service. */
#include "useraccounts.h"

#include "../password.h"
#include "change.h"
#include "screen.h"

namespace qvrfctl {
namespace {

constexpr int kMethodNotAllowed = 405;
constexpr int kNotImplemented   = 501;

bool isNotOffered(int http) noexcept
{
    return http == kMethodNotAllowed || http == kNotImplemented;
}

std::string collection(Service& service)
{
    const std::string link = accountService(service)["Accounts"].link();
    if (link.empty()) throw Failure(kExitLibrary, "this BMC tells no users by Redfish");
    return link;
}

Value found(Service& service, const std::string& name)
{
    for (const Value& row : userRows(service)["users"].items())
        if (row["name"].text() == name) return row;
    return {};
}

/** The change that makes a user: as text, of which nothing is left when it goes. */
Secret accountText(const std::string& name, const std::string& role, const std::string& password)
{
    std::string       secret = quoted(password);
    const std::string before =
        "{\"UserName\":" + quoted(name) + ",\"RoleId\":" + quoted(role) + ",\"Enabled\":true,\"Password\":";
    std::string text;
    text.reserve(before.size() + secret.size() + 1);
    ((text += before) += secret) += '}';
    wipe(secret);
    return Secret(std::move(text));
}

/** The first slot without a name that the BMC lets be written: the lowest may be its own. */
void fillSlot(Service& service, const Secret& account)
{
    std::optional<Refusal> refusal;
    for (const Value& slot : service.members(collection(service))) {
        if (!slot["UserName"].text().empty()) continue;
        try {
            patchText(service, slot.link(), account);
            return;
        } catch (const Refusal& refused) {
            if (refused.http() != 403) throw;
            refusal.emplace(refused);
        }
    }
    if (refusal) throw Refusal(*refusal);
    throw Failure(kExitLibrary, "the BMC has no room for another user", "'qvrfctl user delete' makes some");
}

void make(Service& service, const Secret& account)
{
    Order order{"POST", collection(service), account.text()};
    Reply reply = service.send(order);
    wipe(order.body);
    if (isNotOffered(reply.http)) return fillSlot(service, account);
    if (reply.http >= 400) throw Refusal(order, reply);
}

/** The BMC's answer is no result: what it says of the user afterwards is. */
void check(Service& service, const std::string& name, const std::string& role)
{
    service.forget();
    const Value user = found(service, name);
    if (user["enabled"].isTrue() && user["role"].text() == role) return;
    throw Failure(kExitLibrary,
                  "the BMC answered that it is done, but " +
                      (user.isNull() ? "it has no user " + name
                                     : "the user " + name + " is " + orDash(user["role"].text()) +
                                           (user["enabled"].isTrue() ? "" : " and may not log in")),
                  "see 'qvrfctl user list'");
}

}  // namespace

Value accountService(Service& service)
{
    const std::string link = service.root()["AccountService"].link();
    if (link.empty()) throw Failure(kExitLibrary, "this BMC has no account service by Redfish");
    return service.read(link);
}

Value userRows(Service& service)
{
    std::vector<Value> all;
    for (const Value& account : service.members(collection(service))) {
        if (account["UserName"].text().empty()) continue;  // an empty slot
        all.push_back({{"id", idOf(account)},
                       {"name", account["UserName"]},
                       {"role", account["RoleId"]},
                       {"enabled", account["Enabled"].isTrue()},
                       {"locked", account["Locked"]},
                       {"mustChangePassword", account["PasswordChangeRequired"]},
                       {"path", account.link()}});
    }
    return {{"users", all}};
}

std::string roleOfPrivilege(const std::string& privilege)
{
    for (const auto& [own, role] : {std::pair("ro", "ReadOnly"), {"op", "Operator"}, {"root", "Administrator"}})
        if (privilege == own) return role;
    return {};
}

Failure withoutSecret(const Failure& failure, const std::string& secret)
{
    std::string text = failure.what();
    for (auto at = text.find(secret); at != text.npos; at = text.find(secret, at))
        text.replace(at, secret.size(), "...");
    return Failure(failure.exit(), text, failure.advice());
}

void addUser(Service& service, const std::string& name, const std::string& privilege, const std::string& password)
try {
    const std::string role    = roleOfPrivilege(privilege);
    const Secret      account = accountText(name, role, password);
    const Value       user    = found(service, name);
    if (user.isNull())
        make(service, account);
    else
        patchText(service, user["path"].text(), account);
    check(service, name, role);
} catch (const Refusal& refusal) {
    throw withoutSecret(refusal, password);
}

bool deleteUser(Service& service, const std::string& name)
{
    const Value user = found(service, name);
    if (user.isNull()) return false;
    const Order order{"DELETE", user["path"].text()};
    const Reply reply = service.send(order);
    if (isNotOffered(reply.http))  // a slot is never gone, but empty
        patch(service, order.path, {{"Enabled", false}, {"UserName", ""}});
    else if (reply.http >= 400 && reply.http != 404)
        throw Refusal(order, reply);
    service.forget();
    if (!found(service, name).isNull())
        throw Failure(kExitLibrary, "the BMC answered that it is done, but it still has the user " + name);
    return true;
}

}  // namespace qvrfctl
