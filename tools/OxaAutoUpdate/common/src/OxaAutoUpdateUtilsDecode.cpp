/** @file OxaAutoUpdateUtilsDecode.cpp  Reads the BMC's discovery answers. */
#include "OxaAutoUpdateUtilsDecode.h"

#include <algorithm>
#include <cstring>

#include "qvisocppsecurecompat.h"

namespace qvrf {

std::optional<std::string_view> addressPart(std::string_view text) noexcept
{
    const auto hash = text.find('#');
    if (hash == text.npos) return std::nullopt;
    return text.substr(0, hash);
}

std::optional<std::string_view> recordedAgentVersion(std::string_view reply) noexcept
{
    constexpr std::string_view kKey = "ServiceModuleVersion=";
    const auto                 key  = reply.find(kKey);
    if (key == reply.npos) return std::nullopt;
    std::string_view value = reply;
    value.remove_prefix(key + kKey.size());
    value = value.substr(0, APM_VERSION_SIZE);
    if (!value.empty()) value.remove_suffix(1);
    return value;
}

void ipv6Text(const u8* address, astring (&text)[APM_IPV6_ADDRESS_SIZE]) noexcept
{
    const u8* a = address;
    sprintf_s(text, sizeof text, "%x%x:%x%x:%x%x:%x%x:%x%x:%x%x:%x%x:%x%x", a[0], a[1], a[2], a[3], a[4], a[5], a[6],
              a[7], a[8], a[9], a[10], a[11], a[12], a[13], a[14], a[15]);
}

const astring* portInUrl(astring* text, bool& hasHost) noexcept
{
    // The delimiters are sets of characters. The first token is what stands before the URL, the second the host.
    astring* context = nullptr;
    hasHost = strtok_s(text, "https://", &context) != nullptr && strtok_s(nullptr, "https://", &context) != nullptr;
    return hasHost ? strtok_s(nullptr, ":", &context) : nullptr;
}

const astring* portInCommandReply(astring* reply) noexcept
{
    // Sets of characters again: the first token ends within the key line, the third begins behind "HttpsPort=".
    astring* context = nullptr;
    if (!strtok_s(reply, "HttpsPort=", &context)) return nullptr;
    if (!strtok_s(nullptr, "=", &context)) return nullptr;
    astring* port = strtok_s(nullptr, "=", &context);
    if (!port) return nullptr;
    const std::size_t length = std::strlen(port);  // a token is never empty
    if (port[length - 1] == '\n') port[length - 1] = '\0';
    return port;
}

void textOfBytes(const u8* bytes, std::size_t count, astring* text, std::size_t room) noexcept
{
    for (std::size_t used = 0; count > 0 && used + 1 < room; ++bytes, --count)
        if (*bytes != 0) used += static_cast<std::size_t>(sprintf_s(text + used, room - used, "%c", *bytes));
}

void copyCut(astring* to, std::size_t room, std::string_view from) noexcept
{
    if (room == 0) return;
    const std::size_t length = std::min(from.size(), room - 1);
    strncpy_s(to, room, from.data(), length);
    to[length] = '\0';
}

}  // namespace qvrf
