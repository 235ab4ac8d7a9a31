/** @file oxarfutilHelperLxHeader.cpp  Reads the session token and identifier out of a login's response headers. */
#include <algorithm>
#include <cstring>
#include <string_view>

#include "owners.h"
#include "oxarfutilHelperLx.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr char        kOp[]          = "GetTokenSSID";
constexpr std::size_t kTokenLength   = 32;
constexpr std::size_t kMostAllocated = 50;  // for a token: as much of the header as there is, up to this
constexpr std::size_t kIdSize        = 65;

/** What follows the header line's key, in the one or the other spelling that BMC firmware uses. */
astring* valueOf(astring* header, const char* key, const char* lowerKey) noexcept
{
    astring* found = std::strstr(header, key);
    if (found == nullptr) found = std::strstr(header, lowerKey);
    return found != nullptr ? found + std::strlen(key) : nullptr;
}

/** Visible ASCII: what goes back to the BMC in a header line and a URL, and into logs. */
bool visible(std::string_view text) noexcept
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

/** Whether the token is visible as far as its line goes. */
bool visibleToken(const astring* value) noexcept
{
    return visible({value, std::min(std::strcspn(value, "\r\n"), kTokenLength)});
}

/** The token is the 32 characters behind its key, not cut at the line's end: the BMC's tokens all have that length. */
astring* copyOfToken(const astring* value) noexcept
{
    const std::size_t size  = std::max(kTokenLength + 1, strnlen(value, kMostAllocated));
    astring* const    token = smText(static_cast<u32>(size)).release();
    if (token != nullptr) strncpy_s(token, size, value, strnlen(value, kTokenLength));
    return token;
}

/** The last path segment of the Location line; @p value loses its line end. */
const astring* lastSegment(astring* value) noexcept
{
    astring* lineEnd = std::strstr(value, "\r\n");
    if (lineEnd == nullptr) {
        __SysDbgPrint3("GetTokenSSID: pTemp2 is NULL.\n");
        return nullptr;
    }
    *lineEnd             = '\0';
    const astring* slash = std::strrchr(value, '/');
    if (slash == nullptr) {
        __SysDbgPrint3("GetTokenSSID: pTemp3 is NULL.\n");
        return nullptr;
    }
    return slash + 1;
}

s32 takeTokenAndId(astring* header, astring** token, astring** id) noexcept
{
    const astring* tokenText = valueOf(header, "X-Auth-Token: ", "x-auth-token: ");
    if (tokenText == nullptr || !visibleToken(tokenText)) {
        __SysDbgPrint3("%s : Parsing error for Redfish Token. RF token key not found.\n", kOp);
        return QVRFUTIL_FAILURE;
    }
    if (token == nullptr || id == nullptr) return OXA_SUCCESS;  // the login stands; the caller logs what is missing
    *token = copyOfToken(tokenText);
    if (*token == nullptr) return QVRFUTIL_FAILURE;

    astring* location = valueOf(header, "Location: ", "location: ");
    if (location == nullptr) {
        __SysDbgPrint3("GetTokenSSID: Unable to parse Session ID.\n");
        return QVRFUTIL_FAILURE;
    }
    const astring* segment = lastSegment(location);
    if (segment == nullptr) return QVRFUTIL_FAILURE;
    *id = smText(kIdSize).release();
    if (!visible(segment) || strncpy_s(*id, kIdSize, segment, strnlen(segment, kIdSize - 1)) != 0) {
        __SysDbgPrint3("GetTokenSSID: Failed to copy string to RFSSnID.\n");
        return QVRFUTIL_FAILURE;
    }
    __SysDbgPrint4("GetTokenSSID session ID = %s.\n", *id);
    return OXA_SUCCESS;
}

}  // namespace

s32 GetTokenSSID(astring* header, astring** token, astring** id) noexcept
{
    return traced(kOp, kStatusTrace, [&] { return takeTokenAndId(header, token, id); });
}

}  // namespace qvrf
