/** @file figures.cpp  Samples, and the rows in which every benchmark tells its result. */
#include "figures.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace bench {

namespace {

std::string number(double value, int decimals)
{
    char text[64] = {};
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string targetText(const Row& row)
{
    switch (row.limit) {
        case Limit::ratio: return "<= " + number(row.most, 2) + " x";
        case Limit::difference: return "<= raw + " + number(row.most, row.decimals);
        case Limit::value: return "<= " + number(row.most, row.decimals);
        case Limit::rate: return ">= " + number(row.most, 2) + " x";
        case Limit::none: break;
    }
    return "-";
}

bool kept(const Row& row)
{
    switch (row.limit) {
        case Limit::ratio: return row.sides.at("library") <= row.sides.at("raw") * row.most;
        case Limit::difference: return row.sides.at("library") <= row.sides.at("raw") + row.most;
        case Limit::value: return row.sides.at("library") <= row.most;
        case Limit::rate: return row.sides.at("library") >= row.sides.at("raw") * row.most;
        case Limit::none: break;
    }
    return true;
}

}  // namespace

double Samples::quantile(double part) const
{
    if (values_.empty()) throw std::logic_error("there are no samples");
    std::vector<double> sorted = values_;
    std::sort(sorted.begin(), sorted.end());
    const double at    = part * static_cast<double>(sorted.size() - 1);
    const auto   below = static_cast<std::size_t>(at);
    const auto   above = std::min(below + 1, sorted.size() - 1);
    return sorted[below] + (at - std::floor(at)) * (sorted[above] - sorted[below]);
}

void report(const Row& row)
{
    std::printf("%s\t%s\t", row.measure.c_str(), row.unit);
    for (const auto& [side, value] : row.sides)
        std::printf("%s %s\t", side.c_str(), number(value, row.decimals).c_str());
    const char* verdict = row.limit == Limit::none ? "-" : kept(row) ? "ok" : "over";
    std::printf("%s\t%s\n", targetText(row).c_str(), verdict);
    std::fflush(stdout);
}

void remark(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::fputs("# ", stdout);
    std::vprintf(format, arguments);
    std::fputc('\n', stdout);
    va_end(arguments);
    std::fflush(stdout);
}

}  // namespace bench
