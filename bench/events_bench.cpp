/**
 * @file events_bench.cpp  Event streams: none lost, and delay and CPU time of an event beside libcurl alone.
 *
 *   events_bench [--flat-out EVENTS] [--paced EVENTS]       events a side [1000000, 10000]
 */
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>

#include "bmc.h"
#include "figures.h"
#include "streams.h"

namespace {

using namespace bench;

constexpr char     kPath[]        = "/redfish/v1/SSE";
constexpr unsigned kFlatOutRounds = 8;
constexpr unsigned kPacedRounds   = 8;
constexpr unsigned kPerSecond     = 1000;

/** What one side's subscribers saw, over all rounds. */
struct Side {
    std::uint64_t lost = 0;
    Samples       perSecond, cpuUs, delayMedianUs, delayP99Us;

    void add(const EventReader& reader)
    {
        const auto gaps = static_cast<double>(reader.came() - 1);
        lost += reader.lost();
        if (reader.lost() != 0) return;
        perSecond.add(gaps / reader.seconds());
        cpuUs.add(reader.cpuSeconds() * 1e6 / gaps);
        delayMedianUs.add(reader.delaysUs().median());
        delayP99Us.add(reader.delaysUs().p99());
    }
};

struct Sides {
    Side raw, library;
};

class Bench {
public:
    Bench() : agent_(bmc_.port()), resource_(bmc_.port(), kPath, agent_.token()) {}

    /** One side after the other, each alone with the BMC, in changing order. */
    Sides flatOut(std::uint64_t perSide)
    {
        const std::uint64_t perRound = perSide / kFlatOutRounds;
        Sides               sides;
        for (unsigned i = 0; i < 2 * kFlatOutRounds; ++i) {
            const bool  byLibrary = i % 4 == 0 || i % 4 == 3;
            EventReader reader(perRound, true);
            {
                const auto stream = open(byLibrary, reader);
                bmc_.awaitStreams(1);
                bmc_.control("events " + std::to_string(perRound));
                reader.awaitAll();
            }
            bmc_.awaitStreams(0);
            (byLibrary ? sides.library : sides.raw).add(reader);
        }
        return sides;
    }

    /** Both sides at once: what disturbs one disturbs the other. They take turns in being served first. */
    Sides paced(std::uint64_t perSide)
    {
        const std::uint64_t perRound = perSide / kPacedRounds;
        Sides               sides;
        for (unsigned i = 0; i < kPacedRounds; ++i) {
            const bool  libraryFirst = i % 4 == 0 || i % 4 == 3;
            EventReader first(perRound, false), second(perRound, false);  // the BMC numbers over all streams
            {
                const auto one = open(libraryFirst, first);
                bmc_.awaitStreams(1);
                const auto two = open(!libraryFirst, second);
                bmc_.awaitStreams(2);
                bmc_.control("events " + std::to_string(perRound) + ' ' + std::to_string(kPerSecond));
                first.awaitAll();
                second.awaitAll();
            }
            bmc_.awaitStreams(0);
            (libraryFirst ? sides.library : sides.raw).add(first);
            (libraryFirst ? sides.raw : sides.library).add(second);
        }
        return sides;
    }

private:
    std::unique_ptr<Stream> open(bool byLibrary, EventReader& reader)
    {
        if (byLibrary) return std::make_unique<LibraryStream>(kPath, reader);
        return std::make_unique<RawStream>(resource_, reader);
    }

    const Bmc      bmc_;
    const Agent    agent_;
    const Resource resource_;
};

int run(int argc, char** argv)
{
    std::uint64_t flatOut = 1'000'000;
    std::uint64_t paced   = 10'000;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--flat-out") == 0)
            flatOut = numberFrom(argv[i + 1]);
        else if (std::strcmp(argv[i], "--paced") == 0)
            paced = numberFrom(argv[i + 1]);
        else
            throw std::invalid_argument(std::string("unknown argument ") + argv[i]);
    }
    Bench       bench;
    const Sides fast = bench.flatOut(flatOut);
    const Sides slow = bench.paced(paced);
    report({"events flat out, lost", static_cast<double>(fast.raw.lost), static_cast<double>(fast.library.lost),
            "events", 0, Row::Limit::value, 0});
    report({"events at 1000 a second, lost", static_cast<double>(slow.raw.lost), static_cast<double>(slow.library.lost),
            "events", 0, Row::Limit::value, 0});
    if (fast.raw.lost + fast.library.lost + slow.raw.lost + slow.library.lost != 0)
        throw std::runtime_error("events were lost: their times say nothing");
    report({"events flat out, throughput", fast.raw.perSecond.median(), fast.library.perSecond.median(), "1/s", 0});
    report({"events flat out, CPU time of one", fast.raw.cpuUs.median(), fast.library.cpuUs.median(), "us", 2,
            Row::Limit::ratio, 1.1});
    report({"events at 1000 a second, delay, median", slow.raw.delayMedianUs.median(),
            slow.library.delayMedianUs.median(), "us", 1, Row::Limit::ratio, 1.1});
    report({"events at 1000 a second, delay, p99", slow.raw.delayP99Us.median(), slow.library.delayP99Us.median(), "us",
            1, Row::Limit::ratio, 1.1});
    report({"events at 1000 a second, CPU time of one", slow.raw.cpuUs.median(), slow.library.cpuUs.median(), "us", 2,
            Row::Limit::ratio, 1.1});
    remark("events: %llu a side flat out, %llu a side at 1000 a second, in %u and %u rounds",
           static_cast<unsigned long long>(flatOut), static_cast<unsigned long long>(paced), kFlatOutRounds,
           kPacedRounds);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "events_bench: %s\n", error.what());
        return 1;
    }
}
