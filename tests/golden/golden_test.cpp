/**
 * @file golden_test.cpp
 * Runs scenario files and compares what happened with the transcripts in them; see README.md.
 *
 *   golden_test FILE...            compares; prints the differences
 *   golden_test --rewrite FILE...  writes the transcripts anew, for review
 *
 * Exit status: 0 all as written, 1 something differs or is wrong, 77 nothing differs, but a case could not run here.
 */
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include "Sheet.h"

namespace {

std::string contentOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void showDifference(const std::string& path, const std::string& actual)
{
    char      name[] = "/tmp/golden-actual-XXXXXX";
    const int fd     = ::mkstemp(name);
    if (fd < 0) return;
    std::ofstream(name, std::ios::binary) << actual;
    const std::string command = "diff -u '" + path + "' '" + name + "'";
    if (std::system(command.c_str()) > 256) std::printf("%s", actual.c_str());  // no diff here
    std::remove(name);
}

/** All scenarios: any may have the base of an operation within another. They lie two levels below one directory. */
std::set<std::string> filesBesides(const std::string& path)
{
    namespace fs = std::filesystem;
    std::set<std::string> all;
    const fs::path        top = fs::path(path).parent_path() / "..";
    for (const auto& entry : fs::recursive_directory_iterator(top)) {
        if (entry.path().extension() != ".txt") continue;
        const bool same = fs::equivalent(entry.path(), path);
        all.insert(same ? path
                        : (fs::path(path).parent_path().parent_path() / fs::relative(entry.path(), top)).string());
    }
    return all;
}

/** @return 0, 1 or 77 */
int check(const std::string& path, bool rewrite)
{
    const golden::Sheet      sheet = golden::readSheet(path);
    golden::Book             book(path);
    std::vector<std::string> wrong;
    std::string              skipped;
    for (const std::string& file : filesBesides(path))
        for (const golden::Written& one : golden::readSheet(file).bases)
            book.add(file, one.operation, one.title, one.lines, false);
    const std::string text = golden::textOf(sheet, path, book, wrong, skipped);
    for (const std::string& what : wrong) std::printf("%s: %s\n", path.c_str(), what.c_str());
    if (!skipped.empty()) std::printf("%s: %s\n", path.c_str(), skipped.c_str());
    if (!wrong.empty() || !skipped.empty()) return wrong.empty() ? 77 : 1;
    if (text.find(" -> ") == text.npos) return std::printf("%s: no case calls anything\n", path.c_str()), 1;
    if (text == contentOf(path)) return 0;
    if (rewrite)
        std::ofstream(path, std::ios::binary) << text;
    else
        showDifference(path, text);
    return rewrite ? 0 : 1;
}

/** In a process of its own: some things a process asks once. */
int checkApart(const std::string& path, bool rewrite)
{
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child == 0) {
        int result = 1;
        try {
            result = check(path, rewrite);
        } catch (const std::exception& e) {
            std::printf("%s: %s\n", path.c_str(), e.what());
        }
        std::exit(result);
    }
    int status = 1;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace

int main(int count, char** words)
{
    const bool rewrite = count > 1 && std::strcmp(words[1], "--rewrite") == 0;
    int        result  = count < 2 + rewrite ? 1 : 0;
    if (result != 0) std::fprintf(stderr, "usage: golden_test [--rewrite] FILE...\n");
    for (int i = 1 + rewrite; i < count; ++i) {
        const int one = checkApart(words[i], rewrite);
        result        = result == 1 || one == 1 ? 1 : std::max(result, one);
    }
    return result;
}
