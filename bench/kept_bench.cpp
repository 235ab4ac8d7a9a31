/**
 * @file kept_bench.cpp  A GET of 1.4 KB on a kept connection: by the library, and by libcurl with a kept handle.
 *
 *   kept_bench [--rounds N]                      the comparison, on 1 and on 8 threads
 *   kept_bench --variant lib|raw --count N       one side alone, for a profiler
 */
#include <atomic>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bmc.h"
#include "figures.h"
#include "qvrfutil.h"
#include "rawcurl.h"

namespace {

using namespace bench;

constexpr char kPath[]   = "/test/bytes/1400";
constexpr u32  kBodySize = 1400;

void byLibrary()
{
    thread_local astring buffer[4096];
    astring*             body   = buffer;
    u32                  length = 0;
    u16                  http   = 0;
    const s32 status = QVRFUTILSendRequest(kPath, nullptr, &body, sizeof buffer, &length, QVRFUTIL_REQUEST_GET, &http,
                                           FALSE, nullptr, nullptr);
    if (status != 0 || http != 200 || length != kBodySize + 1) throw std::runtime_error("the library's GET failed");
}

void byCurl(RawKept& kept)
{
    RawAnswer answer;
    kept.get(answer);
    if (answer.http != 200 || answer.body.size != kBodySize) throw std::runtime_error("libcurl's GET failed");
}

/** Microseconds that a request takes when @p threads send @p each of them; thread t calls call(t). */
double perRequest(unsigned threads, unsigned each, const std::function<void(unsigned)>& call)
{
    std::atomic<bool>        failed{false};
    std::vector<std::thread> workers;
    const Stopwatch          watch;
    for (unsigned t = 0; t < threads; ++t)
        workers.emplace_back([&, t] {
            try {
                for (unsigned i = 0; i < each; ++i) call(t);
            } catch (const std::exception& error) {
                if (!failed.exchange(true)) std::fprintf(stderr, "kept_bench: %s\n", error.what());
            }
        });
    for (auto& worker : workers) worker.join();
    if (failed) throw std::runtime_error("a thread gave up");
    return watch.seconds() * 1e6 / (static_cast<double>(threads) * each);
}

void compare(const Resource& resource, unsigned threads, unsigned long rounds)
{
    constexpr unsigned   kEach = 100;
    std::vector<RawKept> kept;
    for (unsigned t = 0; t < threads; ++t) kept.emplace_back(resource);
    const auto raw     = [&](unsigned t) { byCurl(kept[t]); };
    const auto library = [](unsigned) { byLibrary(); };
    Samples    rawTimes, libraryTimes;
    perRequest(threads, kEach, raw);
    perRequest(threads, kEach, library);
    for (unsigned long round = 0; round < rounds; ++round) {
        if (round % 2 == 0) libraryTimes.add(perRequest(threads, kEach, library));
        rawTimes.add(perRequest(threads, kEach, raw));
        if (round % 2 != 0) libraryTimes.add(perRequest(threads, kEach, library));
    }
    const std::string measure = "kept GET 1.4 KB, " + std::to_string(threads) + (threads == 1 ? " thread" : " threads");
    report({measure.c_str(), rawTimes.median(), libraryTimes.median(), "us", 1, Row::Limit::ratio, 1.15});
}

int run(int argc, char** argv)
{
    unsigned long rounds  = 20;
    unsigned long count   = 1;
    const char*   variant = nullptr;
    for (int i = 1; i + 1 < argc; i += 2) {
        const char* const value = argv[i + 1];
        if (std::strcmp(argv[i], "--rounds") == 0)
            rounds = numberFrom(value);
        else if (std::strcmp(argv[i], "--count") == 0)
            count = numberFrom(value);
        else if (std::strcmp(argv[i], "--variant") == 0)
            variant = value;
        else
            throw std::invalid_argument(std::string("unknown argument ") + argv[i]);
    }
    const Bmc      bmc;
    const Agent    agent(bmc.port());
    const Resource resource(bmc.port(), kPath, agent.token());
    QVRFUTILKeepConnections(TRUE);
    if (variant == nullptr) {
        for (const unsigned threads : {1U, 8U}) compare(resource, threads, rounds);
    } else if (std::strcmp(variant, "lib") == 0) {
        for (unsigned long i = 0; i < count; ++i) byLibrary();
    } else if (std::strcmp(variant, "raw") == 0) {
        RawKept kept(resource);
        for (unsigned long i = 0; i < count; ++i) byCurl(kept);
    } else {
        throw std::invalid_argument(std::string("unknown variant ") + variant);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kept_bench: %s\n", error.what());
        return 1;
    }
}
