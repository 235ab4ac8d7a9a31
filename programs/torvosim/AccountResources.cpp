/** @file AccountResources.cpp  The user slots as Redfish accounts. */
#include "AccountResources.h"

#include <algorithm>

namespace torvosim {

namespace {

constexpr const char kService[] = "/redfish/v1/AccountService";

struct Role {
    const char* name;
    unsigned    privilege;
};
constexpr Role kRoles[] = {{"Administrator", 0x1FF}, {"Operator", 0x1F3}, {"ReadOnly", 0x001}, {"None", 0}};

const char* roleOf(unsigned privilege)
{
    for (const Role& role : kRoles)
        if (role.privilege == privilege) return role.name;
    return "None";
}

std::optional<std::string> nameText(Bmc&, const Json& value)
{
    if (!value.is_string() || value.get_ref<const std::string&>().size() > UserDatabase::kLongestName) return {};
    return value.get<std::string>();
}

std::optional<std::string> passwordText(Bmc& bmc, const Json& value)
{
    const auto service = bmc.tree.read(kService);
    const auto bound   = [&](const char* name, std::size_t otherwise) {
        return service && service->contains(name) && (*service)[name].is_number_unsigned()
                     ? (*service)[name].get<std::size_t>()
                     : otherwise;
    };
    if (!value.is_string()) return std::nullopt;
    auto text = value.get<std::string>();
    if (text.size() < bound("MinPasswordLength", 0) || text.size() > bound("MaxPasswordLength", 64))
        return std::nullopt;
    return text;
}

std::optional<std::string> privilegeText(Bmc&, const Json& value)
{
    for (const Role& role : kRoles)
        if (value == role.name) return std::to_string(role.privilege);
    return std::nullopt;
}

std::optional<std::string> switchText(Bmc&, const Json& value)
{
    return value.is_boolean() ? std::optional<std::string>(value.get<bool>() ? "1" : "0") : std::nullopt;
}

/** A property that can be written, and the attribute of the user database behind it. */
struct AccountProperty {
    const char* name;
    const char* attribute;
    std::optional<std::string> (*text)(Bmc&, const Json&);
};
constexpr AccountProperty kProperties[] = {{"UserName", "username", nameText},
                                           {"Password", "password", passwordText},
                                           {"RoleId", "privilege", privilegeText},
                                           {"Enabled", "enable", switchText}};

/** The slot of an account's path; 0: it names none. */
unsigned slotIn(const std::string& path)
{
    const auto slot = parseNumber(std::string_view(path).substr(sizeof kAccounts), UserDatabase::kSlots);
    return static_cast<unsigned>(slot.value_or(0));
}

std::string write(Bmc& bmc, unsigned slot, const char* attribute, const std::string& text)
{
    return bmc.users.set("torvo.users." + std::to_string(slot) + '.' + attribute, text);
}

/** The first property with a value that it cannot have. */
std::optional<Response> wrongProperty(Bmc& bmc, unsigned slot, const Json& change)
{
    if (!change.is_object()) return errorResponse(400, "The body is not a JSON object");
    for (const AccountProperty& property : kProperties)
        if (change.contains(property.name) && !property.text(bmc, change[property.name]))
            return badProperty(property.name, std::string("The value of ") + property.name + " is not acceptable");
    const unsigned holder = bmc.users.slotOf(textOf(change, "UserName"));
    if (holder != 0 && holder != slot) return badProperty("UserName", "Another account has this name already");
    return std::nullopt;
}

std::optional<Response> writeAll(Bmc& bmc, unsigned slot, const Json& change)
{
    for (const AccountProperty& property : kProperties) {
        if (!change.contains(property.name)) continue;
        const auto text = property.text(bmc, change[property.name]);
        if (const std::string problem = write(bmc, slot, property.attribute, text.value_or("")); !problem.empty())
            return errorResponse(500, "The account was not written: " + problem);
    }
    return std::nullopt;
}

void empty(Bmc& bmc, unsigned slot)
{
    for (const auto& [attribute, text] :
         {std::pair("username", ""), std::pair("password", ""), std::pair("privilege", "0"), std::pair("enable", "0")})
        write(bmc, slot, attribute, text);
}

std::optional<Response> ownSlot(unsigned slot)
{
    if (slot >= UserDatabase::kFirstOfHost) return std::nullopt;
    return errorResponse(403, "This account is the BMC's own");
}

Json accountResource(unsigned slot, const User& user)
{
    const std::string role = roleOf(user.privilege);
    Json              json = {{"@odata.id", std::string(kAccounts) + '/' + std::to_string(slot)},
                              {"@odata.type", "#ManagerAccount.v1_8_0.ManagerAccount"},
                              {"Id", std::to_string(slot)},
                              {"Name", "User Account"},
                              {"UserName", user.name},
                              {"Password", nullptr},
                              {"RoleId", role},
                              {"Enabled", user.enabled},
                              {"Locked", false},
                              {"PasswordChangeRequired", false}};
    if (role != "None") json["Links"] = {{"Role", linkTo(std::string(kService) + "/Roles/" + role)}};
    return json;
}

}  // namespace

Json accounts(Bmc& bmc)
{
    Json       members = Json::array();
    const auto users   = bmc.users.all();
    const bool all     = bmc.accountKind == AccountKind::slots;
    for (unsigned slot = 1; slot < users.size(); ++slot)
        if (all || !users[slot].name.empty()) members.push_back(accountResource(slot, users[slot]));
    return members;
}

std::optional<Response> changeAccount(Bmc& bmc, const std::string& path, const Json& change)
{
    const unsigned slot = slotIn(path);
    if (auto refusal = ownSlot(slot)) return refusal;
    if (auto refusal = wrongProperty(bmc, slot, change)) return refusal;
    return writeAll(bmc, slot, change);
}

Response createAccount(Bmc& bmc, const Json& account)
{
    if (bmc.accountKind == AccountKind::slots) return methodNotAllowed("GET, HEAD");
    if (auto refusal = wrongProperty(bmc, 0, account)) return std::move(*refusal);
    for (const char* needed : {"UserName", "Password", "RoleId"})
        if (textOf(account, needed).empty()) return badProperty(needed, std::string("An account needs ") + needed);
    const unsigned slot = bmc.users.take(textOf(account, "UserName"));
    if (slot == 0) return errorResponse(400, "There is no room for another account");
    Json rest = account;
    rest.erase("UserName");
    rest.emplace("Enabled", true);
    if (auto refusal = writeAll(bmc, slot, rest)) {
        empty(bmc, slot);
        return std::move(*refusal);
    }
    const Json created  = accountResource(slot, bmc.users.all()[slot]);
    Response   response = resourceResponse(201, created);
    response.headers.emplace_back("Location", ownPath(created));
    return response;
}

Response removeAccount(Bmc& bmc, const std::string& path)
{
    const unsigned slot = slotIn(path);
    if (auto refusal = ownSlot(slot)) return std::move(*refusal);
    empty(bmc, slot);
    return noContent();
}

}  // namespace torvosim
