/** @file fuzz.cpp  Runs the target that FUZZ_TARGET in the environment names, for libFuzzer or the small main below. */
#include "fuzz.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace fuzz {

Target* Target::first = nullptr;

std::string_view Input::take(std::size_t most)
{
    const std::string_view taken = left.substr(0, most);
    left.remove_prefix(taken.size());
    return taken;
}

std::string_view Input::line()
{
    const std::string_view line = take(std::min(left.find('\n'), left.size()));
    take(1);
    return line;
}

std::vector<char> text(std::string_view bytes)
{
    std::vector<char> copy(bytes.size() + 1);
    std::copy(bytes.begin(), bytes.end(), copy.begin());
    return copy;
}

char* file(std::string_view bytes)
{
    static const int   descriptor = ::memfd_create("fuzz", MFD_CLOEXEC);
    static std::string path       = "/proc/self/fd/" + std::to_string(descriptor);
    hold(::ftruncate(descriptor, 0) == 0 && ::pwrite(descriptor, bytes.data(), bytes.size(), 0) >= 0, "a file");
    return path.data();
}

void hold(bool condition, const char* what)
{
    if (condition) return;
    std::fprintf(stderr, "fuzz: does not hold: %s\n", what);
    std::abort();
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    static const char* const   name   = std::getenv("FUZZ_TARGET");
    static const fuzz::Target* target = name != nullptr ? fuzz::Target::first : nullptr;
    while (target != nullptr && target->name != std::string_view(name)) target = target->next;
    fuzz::hold(target != nullptr, "FUZZ_TARGET names a target");
    target->run({{reinterpret_cast<const char*>(data), size}});
    return 0;
}

#ifndef FUZZ_WITH_LIBFUZZER
/** Runs the target once for each file of the directory that comes last. */
int main(int count, char** arguments)
{
    int runs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[count - 1])) {
        std::ifstream     file(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
        ++runs;
    }
    std::printf("fuzz: %d inputs ran through\n", runs);
    return runs > 0 ? 0 : 1;
}
#endif
