/** @file main.cpp  One configuration for the whole process: the platform reads its settings once. */
#include <gmock/gmock.h>
#include <openssl/crypto.h>

#include <atomic>
#include <cstdlib>

#include "environment.h"

namespace {

std::atomic<long> g_allocations{0};

void* countedAlloc(std::size_t size, const char*, int)
{
    ++g_allocations;
    return std::malloc(size);
}

void* countedRealloc(void* block, std::size_t size, const char*, int)
{
    ++g_allocations;
    return std::realloc(block, size);
}

void uncountedFree(void* block, const char*, int)
{
    std::free(block);
}

}  // namespace

long opensslAllocations()
{
    return g_allocations;
}

const Scratch& environment()
{
    static const Scratch scratch;
    return scratch;
}

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    if (CRYPTO_set_mem_functions(countedAlloc, countedRealloc, uncountedFree) != 1) return 2;
    const Scratch&    scratch = environment();
    const std::string config  = scratch.write("platform.cfg",
                                              "suptlib.installpath=/opt/agent\r\n"
                                               "hipm.endpoint=unix:" +
                                                  (scratch / "bmc") +
                                                  "\n"
                                                   "secure.tokenkey=" +
                                                  (scratch / "token.key"));
    ::setenv("QVPLATFORM_CONFIG", config.c_str(), 1);
    return RUN_ALL_TESTS();
}
