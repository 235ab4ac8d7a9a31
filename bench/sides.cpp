/** @file sides.cpp  Who is compared, and in which order they have their turns. */
#include "sides.h"

#include <algorithm>
#include <random>
#include <stdexcept>

namespace bench {

void Outcome::add(const std::string& side, const Figures& figures)
{
    for (const auto& [name, value] : figures) samples_[side][name].add(value);
}

Figures Outcome::of(const std::string& figure, double (Samples::*value)() const) const
{
    Figures found;
    for (const auto& [side, samples] : samples_)
        if (samples.count(figure) != 0) found[side] = (samples.at(figure).*value)();
    return found;
}

Figures Outcome::medians(const std::string& figure) const
{
    return of(figure, &Samples::median);
}

Figures Outcome::p99(const std::string& figure) const
{
    return of(figure, &Samples::p99);
}

Figures Outcome::most(const std::string& figure) const
{
    return of(figure, &Samples::most);
}

Outcome takeTurns(Sides sides, unsigned long rounds, unsigned long warmUp)
{
    Outcome          outcome;
    std::minstd_rand random(1);
    for (unsigned long round = 0; round < warmUp + rounds; ++round) {
        std::shuffle(sides.begin(), sides.end(), random);
        for (const Side& side : sides) {
            if (round % side.every != 0) continue;
            const Figures figures = side.turn();
            if (round >= warmUp || side.every > 1) outcome.add(side.name, figures);
        }
    }
    return outcome;
}

bool alone(const Arguments& arguments, const Sides& sides)
{
    const std::string wanted = arguments.word("--variant");
    if (wanted.empty()) return false;
    const auto side = std::find_if(sides.begin(), sides.end(), [&](const Side& each) { return each.name == wanted; });
    if (side == sides.end()) throw std::invalid_argument("unknown variant " + wanted);
    for (unsigned long i = arguments.number("--count", 1); i > 0; --i) side->turn();
    return true;
}

}  // namespace bench
