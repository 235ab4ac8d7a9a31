/** @file progresstext.cpp  Numbers for a reader. */
#include "progresstext.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace qvoxasync {
namespace {

constexpr std::size_t kNameColumns = 16;

/** Seven columns: "999.9 K", "  1.2 M". */
std::string amount(double bytes)
{
    constexpr double kStep = 1024;
    const char*      unit  = "KMGTPE";
    bytes /= kStep;
    while (bytes >= 999.95 && unit[1] != '\0') {
        bytes /= kStep;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%5.1f %c", bytes, *unit);
    return text.data();
}

/** The end of a name tells files of a package apart. */
std::string shortened(std::string name)
{
    for (char& c : name)
        if (c < ' ' || c > '~') c = '?';
    if (name.size() > kNameColumns) return "..." + name.substr(name.size() - (kNameColumns - 3));
    return name + std::string(kNameColumns - name.size(), ' ');
}

std::string percentage(std::uint64_t bytes, std::uint64_t total)
{
    if (total == 0) return "     ";
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%3.0f %%",
                  100.0 * static_cast<double>(std::min(bytes, total)) / static_cast<double>(total));
    return text.data();
}

}  // namespace

std::string progressText(std::string_view file, std::uint64_t bytes, std::uint64_t total, double bytesPerSecond)
{
    return shortened(std::string(file)) + ' ' + percentage(bytes, total) + ' ' + amount(static_cast<double>(bytes)) +
           "B " + amount(bytesPerSecond) + "B/s";
}

}  // namespace qvoxasync
