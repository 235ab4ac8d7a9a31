/** @file OxaAutoUpdateUtilsText.cpp  Texts of the platform's allocator, and the exported copies of texts. */
#include "OxaAutoUpdateUtilsText.h"

#include <cstdarg>
#include <cstdio>

#include "OxaAutoUpdateUtils.h"
#include "trace.h"

namespace qvrf {
namespace {

void copyText(const char* op, const astring* source, astring* destination) noexcept
{
    TraceScope trace(op, kUpdateTrace);
    if (!source || !destination) return;
    while ((*destination++ = *source++) != '\0') {
    }
}

}  // namespace

SmOwned<astring> smCopy(std::string_view text) noexcept
{
    SmOwned<astring> copy = smText(static_cast<u32>(text.size() + 1));
    if (copy && !text.empty()) std::memcpy(copy.get(), text.data(), text.size());
    return copy;
}

SmOwned<astring> smFormat(const char* format, ...) noexcept
{
    std::va_list arguments;
    std::va_list again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int        length = std::vsnprintf(nullptr, 0, format, arguments);
    SmOwned<astring> text;
    if (length >= 0) text = smText(static_cast<u32>(length) + 1);
    if (text) std::vsnprintf(text.get(), static_cast<std::size_t>(length) + 1, format, again);
    va_end(again);
    va_end(arguments);
    return text;
}

}  // namespace qvrf

extern "C" void ConverHexToAscii(const astring* source, astring* destination)
{
    const qvrf::Uncancelled uncancelled;
    qvrf::copyText("ConverHexToAscii", source, destination);
}

extern "C" void APMSuptConverHexToAscii(const astring* source, astring* destination)
{
    const qvrf::Uncancelled uncancelled;
    qvrf::copyText("APMSuptConverHexToAscii", source, destination);
}
