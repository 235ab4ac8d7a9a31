/** @file UserDatabase.cpp  The BMC's sixteen user slots. */
#include "UserDatabase.h"

namespace torvosim {

namespace {

constexpr std::size_t kLongestPassword = 64;
constexpr unsigned    kAllPrivileges   = 0x1FF;
constexpr std::size_t kSaltDigits      = 16;

std::string hashed(const std::string& salt, std::string_view password)
{
    return salt + sha256Hex(salt + std::string(password));
}

std::string setName(User& user, std::string_view value)
{
    if (value.size() > UserDatabase::kLongestName) return "name too long";
    user.name = value;
    return {};
}

std::string setPassword(User& user, std::string_view value)
{
    if (value.size() > kLongestPassword) return "password too long";
    user.passwordHash = value.empty() ? std::string() : hashed(randomHex(kSaltDigits), value);
    return {};
}

std::string setPrivilege(User& user, std::string_view value)
{
    const auto mask = parseNumber(value, kAllPrivileges);
    if (!mask) return "privilege is not a mask up to 0x1ff";
    user.privilege = static_cast<unsigned>(*mask);
    return {};
}

std::string setEnable(User& user, std::string_view value)
{
    if (value != "0" && value != "1") return "enable is 0 or 1";
    user.enabled = value == "1";
    return {};
}

struct Attribute {
    const char* name;
    std::string (*set)(User&, std::string_view);
    std::string (*get)(const User&);  // nullptr: never told
};
constexpr Attribute kAttributes[] = {
    {"username", setName, [](const User& u) { return u.name; }},
    {"password", setPassword, nullptr},
    {"privilege", setPrivilege, [](const User& u) { return std::to_string(u.privilege); }},
    {"enable", setEnable, [](const User& u) { return std::string(u.enabled ? "1" : "0"); }},
};

const Attribute* findAttribute(std::string_view name)
{
    for (const Attribute& attribute : kAttributes)
        if (attribute.name == name) return &attribute;
    return nullptr;
}

}  // namespace

std::optional<std::pair<unsigned, std::string_view>> userTarget(std::string_view target)
{
    constexpr std::string_view prefix = "torvo.users.";
    if (target.size() < prefix.size() || !equalsIgnoreCase(target.substr(0, prefix.size()), prefix))
        return std::nullopt;
    target.remove_prefix(prefix.size());
    const auto dot = target.find('.');
    if (dot == target.npos) return std::nullopt;
    const auto slot = parseNumber(target.substr(0, dot), UserDatabase::kSlots);
    if (!slot || *slot == 0) return std::nullopt;
    return std::pair{static_cast<unsigned>(*slot), target.substr(dot + 1)};
}

void UserDatabase::setRoot(const std::string& password)
{
    state_.with([&](State& s) {
        User& root = s.users[2];
        root       = {"root", {}, kAllPrivileges, true};
        setPassword(root, password);
    });
}

std::string UserDatabase::set(std::string_view target, std::string_view value)
{
    const auto where = userTarget(target);
    if (!where) return "no such user slot";
    if (where->first < kFirstOfHost) return "slot is the BMC's own";
    const Attribute* attribute = findAttribute(where->second);
    if (attribute == nullptr) return "no such user attribute";
    if (value == "\"\"") value = {};  // how a host clears a name or password
    return state_.with([&](State& s) -> std::string {
        if (s.refusals > 0) {
            --s.refusals;
            return "the user database refuses";
        }
        return attribute->set(s.users[where->first], value);
    });
}

std::optional<std::string> UserDatabase::get(unsigned slot, std::string_view attribute)
{
    const Attribute* row = findAttribute(attribute);
    if (row == nullptr || row->get == nullptr || slot == 0 || slot > kSlots) return std::nullopt;
    return state_.with([&](State& s) { return row->get(s.users[slot]); });
}

unsigned UserDatabase::slotOf(std::string_view name)
{
    if (name.empty()) return 0;
    return state_.with([&](State& s) {
        for (unsigned slot = 1; slot <= kSlots; ++slot)
            if (s.users[slot].name == name) return slot;
        return 0u;
    });
}

unsigned UserDatabase::freeSlot()
{
    return state_.with([](State& s) {
        for (unsigned slot = kFirstOfHost; slot <= kSlots; ++slot)
            if (s.users[slot].name.empty()) return slot;
        return 0u;
    });
}

unsigned UserDatabase::take(const std::string& name)
{
    return state_.with([&](State& s) {
        unsigned taken = 0;
        for (unsigned slot = kSlots; slot > 0; --slot) {
            if (s.users[slot].name == name) return 0u;
            if (slot >= kFirstOfHost && s.users[slot].name.empty()) taken = slot;
        }
        if (taken != 0) setName(s.users[taken], name);
        return taken;
    });
}

bool UserDatabase::mayLogIn(std::string_view name, std::string_view password)
{
    return state_.with([&](State& s) {
        for (const User& user : s.users) {
            if (name.empty() || user.name != name || !user.enabled || user.passwordHash.empty()) continue;
            return hashed(user.passwordHash.substr(0, kSaltDigits), password) == user.passwordHash;
        }
        return false;
    });
}

void UserDatabase::refuse(unsigned count)
{
    state_.with([&](State& s) { s.refusals = count; });
}

std::array<User, UserDatabase::kSlots + 1> UserDatabase::all()
{
    return state_.with([](State& s) { return s.users; });
}

}  // namespace torvosim
