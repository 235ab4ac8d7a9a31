/** @file OxaAutoUpdateUtilsText.h  Texts of the platform's allocator, as long as what they hold. */
#ifndef OXAAUTOUPDATEUTILSTEXT_H
#define OXAAUTOUPDATEUTILSTEXT_H

#include <string_view>

#include "owners.h"

namespace qvrf {

/** A copy of @p text; empty when memory is out. */
SmOwned<astring> smCopy(std::string_view text) noexcept;

/** What printf would print, whatever its length; empty when memory is out. */
SmOwned<astring> smFormat(const char* format, ...) noexcept __attribute__((format(printf, 1, 2)));

/** A global that was never set reads as an empty text. */
inline const astring* orEmpty(const astring* text) noexcept
{
    return text != nullptr ? text : "";
}

}  // namespace qvrf

#endif
