/** @file figures.h  Samples, and the rows in which every benchmark tells its result. */
#ifndef FIGURES_H
#define FIGURES_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace bench {

class Samples {
public:
    void        add(double value) { values_.push_back(value); }
    std::size_t count() const noexcept { return values_.size(); }
    double      median() const { return quantile(0.5); }
    double      p99() const { return quantile(0.99); }

private:
    double quantile(double part) const;

    std::vector<double> values_;
};

/** What is compared, and how much the library may take. */
struct Row {
    const char*           measure;
    std::optional<double> raw;
    double                library;
    const char*           unit;
    int                   decimals;
    enum class Limit { none, ratio, difference, value } limit = Limit::none;
    double most                                               = 0;
};

/** Prints @p row with tabs between measure, raw, library, ratio, target and verdict: bench/run makes a table of them.
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
