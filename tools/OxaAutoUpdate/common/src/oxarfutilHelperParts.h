/** @file oxarfutilHelperParts.h  What the account operations share: privileges and command buffers. */
#ifndef OXARFUTILHELPERPARTS_H
#define OXARFUTILHELPERPARTS_H

#include <memory>
#include <string_view>

#include "owners.h"

namespace qvrf {

/** One privilege, as the BMC's user database and as its token service write it. */
struct BmcPrivilege {
    std::string_view name;
    u32              bitmask;
    u32              role;
};
constexpr BmcPrivilege kPrivileges[] = {
    {"ro", 0x1, 1},
    {"op", 0x1f3, 2},
    {"root", 0x1ff, 4},
};
constexpr BmcPrivilege kNoPrivilege{"d", 0x0, 0};  // what any other name means

constexpr const BmcPrivilege& privilegeOf(std::string_view name) noexcept
{
    for (const BmcPrivilege& known : kPrivileges)
        if (known.name == name) return known;
    return kNoPrivilege;
}

/** A slot that the user database may answer with; any other number means "none". */
constexpr bool isUserSlot(u32 slot) noexcept
{
    return slot >= 3 && slot <= 16;
}

constexpr u32 kCommandSize = 256;

/** Wipes the whole buffer: a command that did not fit is cut short at its first byte, its password still behind it. */
struct CommandWipedAndFreed {
    void operator()(astring* command) const noexcept
    {
        wipe(command, kCommandSize);
        SMFreeMem(command);
    }
};
using Command = std::unique_ptr<astring, CommandWipedAndFreed>;

/** A zeroed command buffer; empty when memory is out. */
inline Command newCommand() noexcept
{
    return Command(smText(kCommandSize).release());
}

}  // namespace qvrf

#endif
