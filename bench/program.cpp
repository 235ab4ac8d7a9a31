/** @file program.cpp  What every benchmark's main() is. */
#include "program.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <set>
#include <stdexcept>

namespace bench {

namespace {

const std::set<std::string> kNames = {"--effort", "--variant", "--count", "--child", "--port", "--file", "--packages"};

}  // namespace

Arguments::Arguments(int argc, char** argv)
{
    for (int i = 1; i < argc; i += 2) {
        if (kNames.count(argv[i]) == 0) throw std::invalid_argument(std::string("unknown argument ") + argv[i]);
        if (i + 1 == argc) throw std::invalid_argument(std::string(argv[i]) + " needs a value");
        words_[argv[i]] = argv[i + 1];
    }
}

std::string Arguments::word(const char* name) const
{
    const auto found = words_.find(name);
    return found == words_.end() ? std::string() : found->second;
}

unsigned long Arguments::number(const char* name, unsigned long otherwise) const
{
    const auto found = words_.find(name);
    if (found == words_.end()) return otherwise;
    char*               end    = nullptr;
    const unsigned long number = std::strtoul(found->second.c_str(), &end, 10);
    if (found->second.empty() || *end != '\0') throw std::invalid_argument(found->second + " is no number");
    return number;
}

unsigned long Arguments::effort(unsigned long rounds) const
{
    return std::max(1UL, rounds * number("--effort", 100) / 100);
}

}  // namespace bench

int main(int argc, char** argv)
{
    try {
        bench::measure(bench::Arguments(argc, argv));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
