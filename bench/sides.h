/** @file sides.h  Who is compared, and in which order they have their turns. */
#ifndef SIDES_H
#define SIDES_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "figures.h"
#include "program.h"

namespace bench {

constexpr char kLibrary[] = "library", kRaw[] = "raw", kCurl[] = "curl", kSushy[] = "sushy",
               kRedfishtool[] = "redfishtool";

/** One of those who are compared: @p turn does the thing once and says what it took, by name. */
struct Side {
    std::string              name;
    std::function<Figures()> turn;
    unsigned long every = 1;  ///< of how many rounds it has a turn in one: a process takes longer than a call
};
using Sides = std::vector<Side>;

/** Samples of every side. */
class Outcome {
public:
    void add(const std::string& side, const Figures& figures);
    /** The median of @p figure for every side that has it. */
    Figures medians(const std::string& figure) const;
    Figures p99(const std::string& figure) const;
    Figures most(const std::string& figure) const;

private:
    Figures of(const std::string& figure, double (Samples::*value)() const) const;

    std::map<std::string, std::map<std::string, Samples>> samples_;  // by side and figure
};

/** Lets the sides have their turns, in changing order; the first @p warmUp rounds are not counted. */
Outcome takeTurns(Sides sides, unsigned long rounds, unsigned long warmUp = 0);

/** For a profiler: the side that --variant names, --count times, and nothing else. @return false without --variant */
bool alone(const Arguments& arguments, const Sides& sides);

/** What @p call takes, as "us" and as "ms". */
template <class Call>
Figures timed(Call call)
{
    const Stopwatch watch;
    call();
    const double seconds = watch.seconds();
    return {{"us", seconds * 1e6}, {"ms", seconds * 1e3}};
}

}  // namespace bench

#endif
