/**
 * @file kept_bench.cpp  A GET of 1.4 KB on a kept connection, on 1 to 16 threads.
 *
 *   kept_bench [--effort PERCENT]                    the comparison
 *   kept_bench --variant library|raw|token --count N one side alone, or decryption of the token, for a profiler
 */
#include <atomic>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bmc.h"
#include "gets.h"
#include "outside.h"
#include "sides.h"

namespace bench {

namespace {

constexpr unsigned kEach = 100;

void byLibrary(const Bytes& bytes)
{
    thread_local std::vector<astring> buffer(bytes.size + 1);
    getByLibrary(bytes, buffer.data());
}

Figures rateOf(double microsecondsEach)
{
    return {{"perSecond", 1e6 / microsecondsEach}};
}

/** Latency and rate of requests when @p threads send kEach of them; thread t calls call(t). */
Figures perRequest(unsigned threads, const std::function<void(unsigned)>& call)
{
    std::atomic<bool>        failed{false};
    std::vector<std::thread> workers;
    std::vector<double>      took(std::size_t{threads} * kEach);
    const Stopwatch          watch;
    for (unsigned t = 0; t < threads; ++t)
        workers.emplace_back([&, t] {
            try {
                for (unsigned i = 0; i < kEach; ++i) took[t * kEach + i] = timed([&] { call(t); }).at("us");
            } catch (const std::exception& error) {
                if (!failed.exchange(true)) std::fprintf(stderr, "kept_bench: %s\n", error.what());
            }
        });
    for (auto& worker : workers) worker.join();
    if (failed) throw std::runtime_error("a thread gave up");
    Figures figures = rateOf(watch.seconds() * 1e6 / static_cast<double>(took.size()));
    Samples latencies;
    for (const double us : took) latencies.add(us);
    figures["us"] = latencies.median();
    return figures;
}

/** One process with as many transfers at a time; a short run is taken off, and with it start and end of the process. */
Figures byCurlCommand(const Resource& resource, unsigned threads)
{
    const auto run = [&](unsigned each) {
        const std::string urls = resource.url + "#[1-" + std::to_string(each * threads) + "]";
        Words             words{"-H", resource.tokenLine, "-o", "/dev/null", urls};
        if (threads > 1)
            words.insert(words.begin(), {"-Z", "--no-progress-meter", "--parallel-max", std::to_string(threads)});
        return timedProcess(curlCommand(words)).at("ms");
    };
    return rateOf((run(kEach + 1) - run(1)) * 1000 / (kEach * threads));
}

void addOutside(Sides& sides, const std::string& port, const Bytes& bytes, const Resource& resource, unsigned threads)
{
    if (haveCurl()) sides.push_back({kCurl, [&, threads] { return byCurlCommand(resource, threads); }, 4});
    if (haveSushy())
        sides.push_back(
            {kSushy,
             [&, threads] {
                 const Words words{"get", bytes.path, std::to_string(kEach), std::to_string(threads), "keep"};
                 return rateOf(findingsOf(sushyCommand(port, words)).at("us"));
             },
             10});
}

void compare(const Bmc& bmc, const Bytes& bytes, const Resource& resource, unsigned threads, unsigned long rounds)
{
    std::vector<RawKept> kept;
    for (unsigned t = 0; t < threads; ++t) kept.emplace_back(resource);
    Sides sides{{kLibrary, [&] { return perRequest(threads, [&](unsigned) { byLibrary(bytes); }); }},
                {kRaw, [&] { return perRequest(threads, [&](unsigned t) { getByCurl(kept[t], bytes.size); }); }}};
    addOutside(sides, bmc.port(), bytes, resource, threads);
    const std::string measure =
        "GET 1.4 KB, kept connection, " + std::to_string(threads) + (threads == 1 ? " thread" : " threads");
    const Outcome outcome = takeTurns(sides, rounds, 1);
    report({measure, "us", 1, outcome.medians("us"), Limit::ratio, threads == 1 ? 1.05 : 1.10});
    report({measure + ", rate", "1/s", 0, outcome.medians("perSecond"), Limit::rate, 0.95});
}

}  // namespace

void measure(const Arguments& arguments)
{
    const Bmc      bmc;
    const Agent    agent(bmc.port());
    const Bytes    bytes(1400);
    const Resource resource(bmc.port(), bytes.path, agent.token());
    RawKept        kept(resource);
    QVRFUTILKeepConnections(TRUE);
    const auto library = [&] { return timed([&] { byLibrary(bytes); }); };
    const auto raw     = [&] { return timed([&] { getByCurl(kept, bytes.size); }); };
    const auto token   = [&] { return timed([&] { agent.token(); }); };
    if (alone(arguments, {{kLibrary, library}, {kRaw, raw}, {"token", token}})) return;
    for (const unsigned threads : {1U, 2U, 4U, 8U, 16U}) compare(bmc, bytes, resource, threads, arguments.effort(20));
}

}  // namespace bench
