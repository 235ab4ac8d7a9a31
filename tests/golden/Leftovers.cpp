/** @file Leftovers.cpp  Counts what is held, and knows what a process keeps for good. */
#include "Leftovers.h"

#include <filesystem>
#include <iterator>

#include "LibraryCalls.h"

namespace golden {
namespace {

namespace fs = std::filesystem;

/** What the library takes once in a process and never gives back; anything else goes before its case ends. */
const std::map<std::string, std::size_t> kKeptForGood = {
    // An init and cleanup pair elsewhere in the process must not pull libcurl's state from under a transfer.
    {"curl_global_init", 1},
};

std::map<std::string, std::size_t> holdings()
{
    std::map<std::string, std::size_t> all         = bench::held();
    const auto                         descriptors = fs::directory_iterator("/proc/self/fd");
    all["descriptors"] = static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
    return all;
}

std::size_t countOf(const std::map<std::string, std::size_t>& all, const std::string& kind)
{
    const auto found = all.find(kind);
    return found == all.end() ? 0 : found->second;
}

}  // namespace

Leftovers::Leftovers() : before_(holdings()) {}

std::vector<std::string> Leftovers::found() const
{
    std::vector<std::string> all;
    for (const auto& [kind, count] : holdings()) {
        const std::size_t before = countOf(before_, kind);
        if (count == before || count <= countOf(kKeptForGood, kind)) continue;
        all.push_back(kind + ": " + std::to_string(before) + " before, " + std::to_string(count) + " after");
    }
    return all;
}

std::set<std::string> filesBelow(const std::set<std::string>& directories)
{
    std::set<std::string> all;
    for (const std::string& directory : directories)
        for (const auto& entry : fs::recursive_directory_iterator(directory)) all.insert(entry.path().string());
    return all;
}

}  // namespace golden
