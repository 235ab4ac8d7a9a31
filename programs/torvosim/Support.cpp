/** @file Support.cpp  Byte, text and file helpers. */
#include "Support.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <strings.h>
#include <sys/stat.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace torvosim {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

int digitValue(char c) noexcept
{
    if (c >= '0' && c <= '9') return c - '0';
    const int lower = std::tolower(static_cast<unsigned char>(c));
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

std::string hexText(const Bytes& bytes)
{
    std::string text;
    text.reserve(bytes.size() * 3);
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) text += ' ';
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

std::optional<Bytes> parseHex(std::string_view text)
{
    Bytes bytes;
    for (std::size_t i = 0; i < text.size();) {
        if (std::isspace(static_cast<unsigned char>(text[i])) != 0) {
            ++i;
            continue;
        }
        const int high = digitValue(text[i]);
        const int low  = i + 1 < text.size() ? digitValue(text[i + 1]) : -1;
        if (high < 0 || low < 0) return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
        i += 2;
    }
    return bytes;
}

std::optional<std::uint64_t> parseNumber(std::string_view text, std::uint64_t max)
{
    std::uint64_t base = 10;
    if (startsWith(text, "0x") || startsWith(text, "0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty()) return std::nullopt;
    std::uint64_t number = 0;
    for (const char c : text) {
        const int value = digitValue(c);
        if (value < 0 || static_cast<std::uint64_t>(value) >= base) return std::nullopt;
        if (number > (max - static_cast<std::uint64_t>(value)) / base) return std::nullopt;
        number = number * base + static_cast<std::uint64_t>(value);
    }
    if (number > max) return std::nullopt;
    return number;
}

bool equalsIgnoreCase(std::string_view a, std::string_view b) noexcept
{
    return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool startsWith(std::string_view text, std::string_view prefix) noexcept
{
    return text.substr(0, prefix.size()) == prefix;
}

std::string_view trimmed(std::string_view text) noexcept
{
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) text.remove_suffix(1);
    return text;
}

bool isAtOrBelow(std::string_view path, std::string_view prefix) noexcept
{
    if (!startsWith(path, prefix)) return false;
    return path.size() == prefix.size() || path[prefix.size()] == '/' || (!prefix.empty() && prefix.back() == '/');
}

std::string randomHex(std::size_t digits)
{
    Bytes random((digits + 1) / 2);
    if (RAND_bytes(random.data(), static_cast<int>(random.size())) != 1) throw std::runtime_error("no random numbers");
    std::string text;
    for (const std::uint8_t byte : random) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    text.resize(digits);
    return text;
}

std::string sha256Hex(std::string_view text)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned                                   size = 0;
    if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 is not available");
    std::string hex;
    for (unsigned i = 0; i < size; ++i) {
        hex += kDigits[digest[i] >> 4];
        hex += kDigits[digest[i] & 15];
    }
    return hex;
}

namespace {

std::string timeText(std::int64_t secondsSinceEpoch, const char* format)
{
    const std::time_t when = secondsSinceEpoch;
    std::tm           utc{};
    ::gmtime_r(&when, &utc);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), format, &utc);
    return text.data();
}

}  // namespace

std::string isoTime(std::int64_t secondsSinceEpoch)
{
    return timeText(secondsSinceEpoch, "%Y-%m-%dT%H:%M:%SZ");
}

std::string httpDate(std::int64_t secondsSinceEpoch)
{
    return timeText(secondsSinceEpoch, "%a, %d %b %Y %H:%M:%S GMT");
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(path + ": " + std::strerror(errno));
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (file.bad()) throw std::runtime_error(path + ": cannot be read");
    return text;
}

namespace {

bool writeAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/** A device or a pipe, /dev/stdout above all: that is written to, and never replaced by a file. */
bool isToStay(const std::string& path)
{
    struct stat own {
    }, target{};
    if (::lstat(path.c_str(), &own) != 0 || S_ISREG(own.st_mode)) return false;
    return path.rfind("/dev/", 0) == 0 || (::stat(path.c_str(), &target) == 0 && !S_ISREG(target.st_mode));
}

}  // namespace

void writeFile(const std::string& path, std::string_view text, unsigned mode)
{
    const bool        stays = isToStay(path);
    const std::string fresh = stays ? path : path + ".new";
    if (!stays) ::unlink(fresh.c_str());
    const Descriptor file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (stays ? O_APPEND : O_EXCL), mode));
    if (file && writeAll(file.get(), text) && (stays || ::rename(fresh.c_str(), path.c_str()) == 0)) return;
    const int error = errno;
    if (!stays) ::unlink(fresh.c_str());
    throw std::runtime_error(path + ": " + std::strerror(error));
}

}  // namespace torvosim
