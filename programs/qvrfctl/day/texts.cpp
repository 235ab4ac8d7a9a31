/** @file texts.cpp  Times, numbers and states as people read them. */
#include <time.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "screen.h"
#include "times.h"

namespace qvrfctl {
namespace {

std::string formatted(const std::string& time, const char* format)
{
    const auto seconds = secondsOf(time);
    if (!seconds) return time;
    const time_t         at = static_cast<time_t>(*seconds);
    struct tm            local {};
    std::array<char, 40> text{};
    ::localtime_r(&at, &local);
    return std::string(text.data(), ::strftime(text.data(), text.size(), format, &local));
}

}  // namespace

std::string timeText(const std::string& time)
{
    return formatted(time, "%Y-%m-%d %H:%M:%S");
}
std::string shortTimeText(const std::string& time)
{
    return formatted(time, "%m-%d %H:%M");
}

std::string yesNo(const Value& flag)
{
    return flag.isTrue() ? "yes" : flag.isFalse() ? "no" : "-";
}

std::string orDash(const std::string& text)
{
    return text.empty() ? "-" : text;
}

std::string numberText(const Value& number)
{
    if (!number.isNumber()) return "-";
    std::array<char, 64> text{};
    // What no sensor reads: short, and without digits that were never sent.
    constexpr double kMost = 1e15;
    if (std::fabs(number.number()) >= kMost) return number.text();
    std::snprintf(text.data(), text.size(), "%.3f", number.number());
    std::string shown = text.data();
    shown.erase(shown.find_last_not_of('0') + 1);
    if (shown.back() == '.') shown.pop_back();
    return shown == "-0" ? "0" : shown;
}

std::string stateText(const Value& state, const Value& health)
{
    const std::string word = state.text();
    return word.empty() || word == "Enabled" ? orDash(health.text()) : word;
}

std::optional<long long> secondsOf(const std::string& time)
{
    struct tm   parts {};
    int         fraction = 0, hours = 0, minutes = 0;
    const char* rest = ::strptime(time.c_str(), "%Y-%m-%d", &parts);
    if (rest == nullptr) return std::nullopt;
    if (*rest == '\0') return static_cast<long long>(::mktime(&parts));  // a date: this host's midnight
    rest = *rest == 'T' || *rest == 't' || *rest == ' ' ? ::strptime(rest + 1, "%H:%M:%S", &parts) : nullptr;
    if (rest == nullptr) return std::nullopt;
    if (*rest == '.') std::sscanf(rest, ".%*d%n", &fraction);
    rest += fraction;
    const bool isZoned = *rest == '+' || *rest == '-';
    if (isZoned && std::sscanf(rest + 1, "%2d:%2d", &hours, &minutes) != 2) return std::nullopt;
    if (!isZoned && *rest != 'Z' && *rest != 'z' && *rest != '\0') return std::nullopt;
    const long long offset = (hours * 60LL + minutes) * 60;
    return static_cast<long long>(::timegm(&parts)) - (isZoned && *rest == '-' ? -offset : offset);
}

}  // namespace qvrfctl
