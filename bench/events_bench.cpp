/**
 * @file events_bench.cpp  Event streams: none lost, and delay and CPU time of an event beside libcurl and its command.
 *
 *   events_bench [--effort PERCENT]
 */
#include <algorithm>
#include <memory>
#include <stdexcept>

#include "bmc.h"
#include "outside.h"
#include "sides.h"
#include "streams.h"

namespace bench {

namespace {

constexpr char          kPath[]  = "/redfish/v1/SSE";
constexpr unsigned      kRounds  = 12;  // every order as often, of two sides and of three
constexpr std::uint64_t kFlatOut = 1'000'000 / kRounds, kLong = 60'000 / kRounds;
constexpr unsigned      kSeconds = 10;  // of paced events, in all rounds

/** What one subscriber saw. */
Figures figuresOf(const std::string& side, const EventReader& reader)
{
    Figures figures{{"lost", static_cast<double>(reader.lost())}};
    if (reader.lost() != 0) return figures;
    const auto gaps          = static_cast<double>(reader.came() - 1);
    figures["perSecond"]     = gaps / reader.seconds();
    figures["delayMedianUs"] = reader.delaysUs().median();
    figures["delayP99Us"]    = reader.delaysUs().p99();
    // Here only the reading of the pipe would be counted; the command's own work is elsewhere.
    if (side != kCurl) figures["cpuUs"] = reader.cpuSeconds() * 1e6 / gaps;
    return figures;
}

class Bench {
public:
    Bench() : agent_(bmc_.port()), resource_(bmc_.port(), kPath, agent_.token())
    {
        if (haveCurl()) sides_.push_back(kCurl);
    }

    /** One side after the other, each alone with the BMC, in changing order. */
    Outcome flatOut(std::uint64_t events, const std::string& manner = "")
    {
        Sides sides;
        for (const std::string& side : sides_)
            sides.push_back({side, [=] { return figuresOf(side, *together({side}, events, true, manner)[0]); }});
        return takeTurns(sides, kRounds);
    }

    /** All sides at once: what disturbs one disturbs the others. They are served in every order. */
    Outcome paced(std::uint64_t events, unsigned perSecond)
    {
        Outcome outcome;
        for (unsigned round = 0; round < kRounds; ++round) {
            std::next_permutation(sides_.begin(), sides_.end());
            const auto readers = together(sides_, events, false, ' ' + std::to_string(perSecond));
            for (std::size_t i = 0; i < sides_.size(); ++i) outcome.add(sides_[i], figuresOf(sides_[i], *readers[i]));
        }
        return outcome;
    }

private:
    using Readers = std::vector<std::unique_ptr<EventReader>>;

    /** Has @p events sent to streams of @p sides, opened in this order. */
    Readers together(const std::vector<std::string>& sides, std::uint64_t events, bool consecutive,
                     const std::string& pace)
    {
        Readers readers;
        {
            std::vector<std::unique_ptr<Stream>> streams;
            for (const std::string& side : sides) {
                readers.push_back(std::make_unique<EventReader>(events, consecutive));
                streams.push_back(open(side, *readers.back()));
                bmc_.awaitStreams(static_cast<unsigned>(streams.size()));
            }
            bmc_.control("events " + std::to_string(events) + pace);
            for (const auto& reader : readers) reader->awaitAll();
        }
        bmc_.awaitStreams(0);
        return readers;
    }

    std::unique_ptr<Stream> open(const std::string& side, EventReader& reader)
    {
        if (side == kLibrary) return std::make_unique<LibraryStream>(kPath, reader);
        if (side == kRaw) return std::make_unique<RawStream>(resource_, reader);
        return std::make_unique<CommandStream>(curlCommand({"-N", "-H", resource_.tokenLine, resource_.url}), reader);
    }

    const Bmc                bmc_;
    const Agent              agent_;
    const Resource           resource_;
    std::vector<std::string> sides_{kLibrary, kRaw};
};

void expectNoneLost(const char* name, const Outcome& outcome)
{
    const Figures lost = outcome.most("lost");
    report({std::string(name) + ", lost", "events", 0, lost, Limit::value, 0});
    for (const auto& [side, events] : lost)
        if (events != 0) throw std::runtime_error("events were lost by " + side + ": their times say nothing");
}

/** All sides' delays and costs at this pace. */
void comparePaced(Bench& bench, const Arguments& arguments, unsigned perSecond)
{
    const std::string name    = "events at " + std::to_string(perSecond) + " a second";
    const Outcome     outcome = bench.paced(arguments.effort(kSeconds * perSecond / kRounds) + 1, perSecond);
    expectNoneLost(name.c_str(), outcome);
    report({name + ", delay, median", "us", 1, outcome.medians("delayMedianUs"), Limit::ratio, 1.1});
    report({name + ", delay, p99", "us", 1, outcome.medians("delayP99Us"), Limit::ratio, 1.1});
    report({name + ", CPU time of one", "us", 2, outcome.medians("cpuUs"), Limit::ratio, 1.05});
}

}  // namespace

void measure(const Arguments& arguments)
{
    Bench         bench;
    const Outcome fast = bench.flatOut(arguments.effort(kFlatOut) + 1);
    expectNoneLost("events flat out", fast);
    report({"events flat out", "1/s", 0, fast.medians("perSecond")});
    report({"events flat out, CPU time of one", "us", 2, fast.medians("cpuUs"), Limit::ratio, 1.1});
    const Outcome large = bench.flatOut(arguments.effort(kLong) + 1, " 0 16000");
    expectNoneLost("events of 16 KB", large);
    report({"events of 16 KB", "1/s", 0, large.medians("perSecond"), Limit::rate, 1});
    for (const unsigned perSecond : {1000U, 100U}) comparePaced(bench, arguments, perSecond);
}

}  // namespace bench
