/** @file OxaAutoUpdateLinuxDecide.cpp  What the update engine decides. */
#include "OxaAutoUpdateLinuxDecide.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qvrf {
namespace {

constexpr std::size_t      kLongestFiller = 4;
constexpr std::size_t      kComparedKey   = 20;
constexpr std::string_view kPackage       = "QD-Oxa-Zelmar-Web-LX";
constexpr std::string_view kArchive       = ".gz";

/** Cuts the next text between any of @p delimiters off @p rest; empty when there is none. */
std::string_view cutWord(std::string_view& rest, std::string_view delimiters) noexcept
{
    rest.remove_prefix(std::min(rest.find_first_not_of(delimiters), rest.size()));
    const std::string_view word = rest.substr(0, rest.find_first_of(delimiters));
    rest.remove_prefix(word.size());
    return word;
}

}  // namespace

bool namesPackage(std::string_view version) noexcept
{
    return version.size() > kLongestFiller;
}

UpdateDecision decideUpdate(const char* offered, const char* installed) noexcept
{
    if (installed == nullptr) return {kInstall, true};
    const int order = ::strverscmp(offered, installed);
    if (order > 0) return {kUpgrade, true};
    if (order < 0) return {kDowngrade, false};
    return {kInstall, false};
}

DownloadedFile classify(std::string_view fileName) noexcept
{
    constexpr std::size_t kShortest = 5;
    if (fileName.size() < kShortest || fileName.substr(fileName.size() - kArchive.size()) != kArchive)
        return DownloadedFile::other;
    return fileName.substr(0, kPackage.size()) == kPackage ? DownloadedFile::package : DownloadedFile::otherArchive;
}

bool staysBelow(std::string_view fileName) noexcept
{
    while (!fileName.empty())
        if (cutWord(fileName, "/") == "..") return false;
    return true;
}

bool isTrustedUser(const char* users, unsigned long self) noexcept
{
    for (int which = 0; which < 2; ++which) {
        char*      end  = nullptr;
        const auto user = std::strtoul(users, &end, 10);
        if (end == users || (user != 0 && user != self)) return false;
        users = end;
    }
    return true;
}

std::optional<std::string_view> configValue(std::string_view line, std::string_view key) noexcept
{
    constexpr std::string_view kSeparators = "\t =\n\r";
    const std::string_view     compared    = key.substr(0, kComparedKey);
    const std::string_view     name        = cutWord(line, kSeparators);
    if (name.empty() || name.front() == '#' || name.substr(0, compared.size()) != compared) return std::nullopt;
    const std::string_view value = cutWord(line, kSeparators);
    if (value.empty()) return std::nullopt;
    return value;
}

}  // namespace qvrf
