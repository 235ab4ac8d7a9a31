/** @file Support.h  Small things that every file here uses: descriptors, guarded values, byte and text helpers. */
#ifndef TORVOSIM_SUPPORT_H
#define TORVOSIM_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "descriptor.h"

namespace torvosim {

using qvtools::Descriptor;

using Bytes = std::vector<std::uint8_t>;

/** A value that is only reachable with its lock held. */
template <class T>
class Guarded {
public:
    template <class Use>
    decltype(auto) with(Use&& use)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return std::forward<Use>(use)(value_);
    }

private:
    std::mutex mutex_;
    T          value_{};
};

/** Two bytes, the low one first. */
inline std::uint16_t le16(const Bytes& data, std::size_t at)
{
    return static_cast<std::uint16_t>(data[at] | data[at + 1] << 8);
}

std::string hexText(const Bytes& bytes);  ///< "18 01 00"
/** Bytes of "18 01 00", "180100" or a mix; nothing when a digit is missing or wrong. */
std::optional<Bytes> parseHex(std::string_view text);
/** A decimal or 0x number that is all of @p text and at most @p max. */
std::optional<std::uint64_t> parseNumber(std::string_view text, std::uint64_t max = UINT64_MAX);
bool                         equalsIgnoreCase(std::string_view a, std::string_view b) noexcept;
bool                         startsWith(std::string_view text, std::string_view prefix) noexcept;
std::string_view             trimmed(std::string_view text) noexcept;
/** Whether @p path is @p prefix or lies below it. */
bool isAtOrBelow(std::string_view path, std::string_view prefix) noexcept;

std::string randomHex(std::size_t digits);
std::string sha256Hex(std::string_view text);
std::string isoTime(std::int64_t secondsSinceEpoch);
/** "Thu, 01 Jan 2026 00:00:00 GMT" */
std::string httpDate(std::int64_t secondsSinceEpoch);

std::string readFile(const std::string& path);  ///< throws std::runtime_error
/** Writes @p text with @p mode so that a reader of a file sees all of it or none. Throws std::runtime_error. */
void writeFile(const std::string& path, std::string_view text, unsigned mode = 0644);

}  // namespace torvosim

#endif
