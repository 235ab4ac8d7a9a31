/**
 * @file request_bench.cpp  GETs of 1.4 KB and 64 KB, each on a connection of its own: latency and allocations.
 *
 *   request_bench [--effort PERCENT]                    the comparison
 *   request_bench --variant library|raw --count N       one side alone, for a profiler
 */
#include <atomic>

#include "bmc.h"
#include "gets.h"
#include "outside.h"
#include "sides.h"

namespace {

std::atomic<unsigned long> g_allocations{0};

void counted() noexcept
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

// The whole process allocates through these: the library, libcurl and OpenSSL as well.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) noexcept
{
    counted();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    counted();
    return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) noexcept
{
    counted();
    return __libc_realloc(block, size);
}
}

namespace bench {

namespace {

constexpr u32 kSmall = 1400, kMiddle = 65536;

template <class Call>
Figures timedAndCounted(Call call)
{
    const unsigned long before  = g_allocations;
    Figures             figures = timed(call);
    figures["calls"]            = static_cast<double>(g_allocations - before);
    return figures;
}

Sides inProcess(const Bytes& bytes, const Resource& resource)
{
    static astring buffer[kMiddle + 1];
    return {{kLibrary, [&] { return timedAndCounted([&] { getByLibrary(bytes, buffer); }); }},
            {kRaw, [&] { return timedAndCounted([&] { getByCurl(resource, bytes.size); }); }}};
}

/** A process a GET with the session's token, and a program that is there already. */
void addOutside(Sides& sides, const std::string& port, const Bytes& bytes, const Resource& resource)
{
    if (haveCurl())
        sides.push_back({kCurl,
                         [&] {
                             const Figures whole = timedProcess(curlCommand({"-H", resource.tokenLine, resource.url}));
                             return Figures{{"us", 1000 * whole.at("ms")}};
                         },
                         20});
    if (haveSushy())
        sides.push_back({kSushy,
                         [&] {
                             return findingsOf(sushyCommand(port, {"get", bytes.path, "100", "1", "close"}));
                         },
                         400});
}

void compare(const char* name, const Bmc& bmc, const Bytes& bytes, const Resource& resource, unsigned long rounds)
{
    Sides sides = inProcess(bytes, resource);
    addOutside(sides, bmc.port(), bytes, resource);
    const Outcome     outcome = takeTurns(sides, rounds, 20);
    const std::string get     = std::string("GET ") + name + ", new connection";
    report({get, "us", 1, outcome.medians("us"), Limit::ratio, 1.02});
    if (bytes.size != kSmall) return;
    report({get + ", p99", "us", 1, {{kRaw, outcome.p99("us").at(kRaw)}, {kLibrary, outcome.p99("us").at(kLibrary)}}});
    report({get + ", allocations", "calls", 0, outcome.medians("calls"), Limit::difference, 40});
}

}  // namespace

void measure(const Arguments& arguments)
{
    const Bmc      bmc;
    const Agent    agent(bmc.port());
    const Bytes    small(kSmall), middle(kMiddle);
    const Resource ofSmall(bmc.port(), small.path, agent.token()), ofMiddle(bmc.port(), middle.path, agent.token());
    if (alone(arguments, inProcess(small, ofSmall))) return;
    compare("1.4 KB", bmc, small, ofSmall, arguments.effort(2000));
    compare("64 KB", bmc, middle, ofMiddle, arguments.effort(1000));
}

}  // namespace bench
