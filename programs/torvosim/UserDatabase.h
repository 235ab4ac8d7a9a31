/** @file UserDatabase.h  The BMC's sixteen user slots. */
#ifndef TORVOSIM_USERDATABASE_H
#define TORVOSIM_USERDATABASE_H

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "Support.h"

namespace torvosim {

struct User {
    std::string name;
    std::string passwordHash;  ///< salt and digest; empty: no password, no login
    unsigned    privilege = 0;
    bool        enabled   = false;
};

class UserDatabase {
public:
    static constexpr unsigned    kSlots       = 16;
    static constexpr std::size_t kLongestName = 32;
    static constexpr unsigned    kFirstOfHost = 3;  ///< lower slots are the BMC's own: 1 reserved, 2 "root"

    void setRoot(const std::string& password);

    /** Writes one attribute of "torvo.users.<slot>.<attribute> <value>". @return empty, or what is wrong with it */
    std::string set(std::string_view target, std::string_view value);
    /** Attribute as text; nothing for an unknown one and for passwords, which are never told. */
    std::optional<std::string> get(unsigned slot, std::string_view attribute);

    unsigned slotOf(std::string_view name);  ///< 0: nobody has that name
    unsigned freeSlot();                     ///< 0: none
    /** Gives @p name the first free slot. @return 0: there is none, or somebody has that name */
    unsigned take(const std::string& name);
    /** Whether an enabled user of that name has that password. */
    bool mayLogIn(std::string_view name, std::string_view password);
    /** The next @p count writes are refused. */
    void refuse(unsigned count);

    std::array<User, kSlots + 1> all();  ///< index is the slot; 0 is unused

private:
    struct State {
        std::array<User, kSlots + 1> users;
        unsigned                     refusals = 0;
    };
    Guarded<State> state_;
};

/** Splits "torvo.users.5.enable" into 5 and "enable". */
std::optional<std::pair<unsigned, std::string_view>> userTarget(std::string_view target);

}  // namespace torvosim

#endif
