/** @file Leftovers.cpp  Counts what is held, and knows what a process keeps for good. */
#include "Leftovers.h"

#include <sys/stat.h>

#include <cstdio>
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
    std::map<std::string, std::size_t> all         = rig::held();
    const auto                         descriptors = fs::directory_iterator("/proc/self/fd");
    all["descriptors"] = static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
    return all;
}

std::size_t countOf(const std::map<std::string, std::size_t>& all, const std::string& kind)
{
    const auto found = all.find(kind);
    return found == all.end() ? 0 : found->second;
}

bool isMountPoint(const fs::path& path)
{
    struct stat own {
    }, outer{};
    return ::lstat(path.c_str(), &own) == 0 && ::lstat(path.parent_path().c_str(), &outer) == 0 &&
           own.st_dev != outer.st_dev;
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

std::map<std::string, std::string> filesBelow(const std::vector<std::string>& directories)
{
    std::map<std::string, std::string> all;
    for (const std::string& directory : directories)
        for (auto entry = fs::recursive_directory_iterator(directory); entry != end(entry); ++entry) {
            char mode[8];
            std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(entry->symlink_status().permissions()));
            all[entry->path().string()] = mode;
            // A checkout that was kept in sight is another mount, and busy with other things.
            if (isMountPoint(entry->path())) entry.disable_recursion_pending();
        }
    return all;
}

}  // namespace golden
