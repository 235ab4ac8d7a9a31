/** @file OxaAutoUpdateUtilsDecode.h  What the BMC's discovery answers mean: functions on plain values. */
#ifndef OXAAUTOUPDATEUTILSDECODE_H
#define OXAAUTOUPDATEUTILSDECODE_H

#include <cstddef>
#include <optional>
#include <string_view>

#include "OxaAutoUpdateUtils.h"

namespace qvrf {

/** The address in "169.254.1.1#443"; nothing when there is no '#'. */
std::optional<std::string_view> addressPart(std::string_view text) noexcept;

/**
 * The version in a command reply that holds "ServiceModuleVersion=", 9 characters at most; nothing without that key.
 * The last of the value's first ten characters is dropped, whatever it is: it is the line feed of every ordinary reply.
 */
std::optional<std::string_view> recordedAgentVersion(std::string_view reply) noexcept;

/** Writes the 16 bytes of an address, two a group, without leading zeros and without any other shortening. */
void ipv6Text(const u8* address, astring (&text)[APM_IPV6_ADDRESS_SIZE]) noexcept;

/**
 * The port in a text that holds an HTTPS URL, nullptr when there is none. The text is taken apart in place and holds
 * the result. One character that is none of "https:/" comes before the URL: the BMC's length byte.
 * @param[out] hasHost  whether there is anything that a port could stand behind
 */
const astring* portInUrl(astring* text, bool& hasHost) noexcept;

/**
 * The port in a command reply "[Key=...]", line feed, "HttpsPort=443"; nullptr when there is none. The reply is taken
 * apart in place and holds the result.
 */
const astring* portInCommandReply(astring* reply) noexcept;

/** Appends the bytes that are not zero to an empty text of @p room bytes, NUL included, as far as they fit. */
void textOfBytes(const u8* bytes, std::size_t count, astring* text, std::size_t room) noexcept;

/** Copies @p from with a NUL into @p room bytes, cut to fit. */
void copyCut(astring* to, std::size_t room, std::string_view from) noexcept;

}  // namespace qvrf

#endif
