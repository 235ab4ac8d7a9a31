/** @file figures.h  Samples, and the rows in which every benchmark tells its result. */
#ifndef FIGURES_H
#define FIGURES_H

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace bench {

/** What was measured, by name: of one side its figures, of one figure the sides. */
using Figures = std::map<std::string, double>;

class Samples {
public:
    void        add(double value) { values_.push_back(value); }
    std::size_t count() const noexcept { return values_.size(); }
    double      median() const { return quantile(0.5); }
    double      p99() const { return quantile(0.99); }
    double      most() const { return quantile(1); }

private:
    double quantile(double part) const;

    std::vector<double> values_;
};

/**
 * What the library may take: so many times what libcurl takes, so much more, or so much; or do: so much of its rate.
 */
enum class Limit { none, ratio, difference, value, rate };

struct Row {
    std::string measure;
    const char* unit;  ///< one that ends in "/s" is the better the more there is
    int         decimals;
    Figures     sides;
    Limit       limit = Limit::none;
    double      most  = 0;
};

/**
 * Prints @p row with tabs between measure, unit, "side value" for each side, target and verdict: bench/run reads it.
 */
void report(const Row& row);

/** Prints a line that is no row. */
[[gnu::format(printf, 1, 2)]] void remark(const char* format, ...);

class Stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

private:
    using Clock              = std::chrono::steady_clock;
    Clock::time_point start_ = Clock::now();
};

}  // namespace bench

#endif
