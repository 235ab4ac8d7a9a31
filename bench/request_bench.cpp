/**
 * @file request_bench.cpp  A GET of 1.4 KB: latency and allocations, by the library and by libcurl alone.
 *
 *   request_bench [--pairs N]                       the comparison
 *   request_bench --variant lib|raw --count N       one side alone, for a profiler
 */
#include <atomic>
#include <cstdio>
#include <cstring>
#include <exception>
#include <random>
#include <stdexcept>
#include <vector>

#include "bmc.h"
#include "figures.h"
#include "qvrfutil.h"
#include "rawcurl.h"

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

namespace {

using namespace bench;

constexpr char kPath[]   = "/test/bytes/1400";
constexpr u32  kBodySize = 1400;

void byLibrary()
{
    static astring buffer[4096];
    astring*       body   = buffer;
    u32            length = 0;
    u16            http   = 0;
    const s32 status = QVRFUTILSendRequest(kPath, nullptr, &body, sizeof buffer, &length, QVRFUTIL_REQUEST_GET, &http,
                                           FALSE, nullptr, nullptr);
    if (status != 0 || http != 200 || length != kBodySize + 1) throw std::runtime_error("the library's GET failed");
}

void byCurl(const Resource& resource)
{
    RawAnswer answer;
    rawGet(resource, answer);
    if (answer.http != 200 || answer.body.size != kBodySize) throw std::runtime_error("libcurl's GET failed");
}

struct Side {
    Samples microseconds;
    Samples allocations;
};

template <class Call>
void measure(Side& side, Call call)
{
    const unsigned long before = g_allocations;
    const Stopwatch     watch;
    call();
    const double seconds = watch.seconds();
    side.allocations.add(static_cast<double>(g_allocations - before));
    side.microseconds.add(seconds * 1e6);
}

void compare(const Resource& resource, unsigned long pairs)
{
    constexpr unsigned kWarmUp = 20;
    Side               raw, library;
    std::minstd_rand   random(1);
    for (unsigned i = 0; i < kWarmUp; ++i) {
        byLibrary();
        byCurl(resource);
    }
    for (unsigned long i = 0; i < pairs; ++i) {
        const bool libraryFirst = random() % 2 == 0;
        if (libraryFirst) measure(library, byLibrary);
        measure(raw, [&] { byCurl(resource); });
        if (!libraryFirst) measure(library, byLibrary);
    }
    report({"GET 1.4 KB, median", raw.microseconds.median(), library.microseconds.median(), "us", 1, Row::Limit::ratio,
            1.02});
    report({"GET 1.4 KB, p99", raw.microseconds.p99(), library.microseconds.p99(), "us", 1});
    report({"GET 1.4 KB, allocations", raw.allocations.median(), library.allocations.median(), "calls", 0,
            Row::Limit::difference, 40});
}

template <class Call>
void repeat(unsigned long count, Call call)
{
    for (unsigned long i = 0; i < count; ++i) call();
}

int run(int argc, char** argv)
{
    unsigned long pairs   = 2000;
    unsigned long count   = 1;
    const char*   variant = nullptr;
    for (int i = 1; i + 1 < argc; i += 2) {
        const char* const value = argv[i + 1];
        if (std::strcmp(argv[i], "--pairs") == 0)
            pairs = numberFrom(value);
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
    if (variant == nullptr)
        compare(resource, pairs);
    else if (std::strcmp(variant, "lib") == 0)
        repeat(count, byLibrary);
    else if (std::strcmp(variant, "raw") == 0)
        repeat(count, [&] { byCurl(resource); });
    else
        throw std::invalid_argument(std::string("unknown variant ") + variant);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "request_bench: %s\n", error.what());
        return 1;
    }
}
