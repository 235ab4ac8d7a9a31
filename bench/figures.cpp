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
        case Row::Limit::ratio: return "<= " + number(row.most, 2) + " x";
        case Row::Limit::difference: return "<= raw + " + number(row.most, row.decimals);
        case Row::Limit::value: return "<= " + number(row.most, row.decimals);
        case Row::Limit::none: break;
    }
    return "-";
}

bool kept(const Row& row)
{
    switch (row.limit) {
        case Row::Limit::ratio: return row.library <= *row.raw * row.most;
        case Row::Limit::difference: return row.library <= *row.raw + row.most;
        case Row::Limit::value: return row.library <= row.most;
        case Row::Limit::none: break;
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
    const std::string raw = row.raw ? number(*row.raw, row.decimals) : "-";
    const std::string ratio =
        row.raw && *row.raw > 0 && row.limit != Row::Limit::value ? number(row.library / *row.raw, 3) : "-";
    const char* verdict = row.limit == Row::Limit::none ? "-" : kept(row) ? "ok" : "over";
    std::printf("%s [%s]\t%s\t%s\t%s\t%s\t%s\n", row.measure, row.unit, raw.c_str(),
                number(row.library, row.decimals).c_str(), ratio.c_str(), targetText(row).c_str(), verdict);
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
