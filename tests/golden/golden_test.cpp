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
#include <fstream>
#include <stdexcept>

#include "Scenario.h"

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

/** @return 0, 1 or 77 */
int check(const std::string& path, bool rewrite)
{
    const golden::File file = golden::readFile(path);
    std::string        text;
    int                result = 0;
    std::size_t        calls  = 0;
    for (const std::string& line : file.prelude) text += line + "\n";
    for (const golden::Case& one : file.cases) {
        const golden::Outcome outcome = golden::runCase(one);
        calls += outcome.calls;
        for (const std::string& what : outcome.complaints) std::printf("%s: %s\n", path.c_str(), what.c_str());
        if (!outcome.complaints.empty()) result = 1;
        if (!outcome.skipped.empty()) {
            std::printf("%s: %s: skipped: %s\n", path.c_str(), one.title.c_str(), outcome.skipped.c_str());
            return result != 0 ? result : 77;
        }
        text += "== " + one.title + "\n";
        for (const std::string& line : outcome.text) text += line + "\n";
    }
    if (calls == 0) {
        std::printf("%s: no case calls anything\n", path.c_str());
        return 1;
    }
    if (text == contentOf(path)) return result;
    const bool writes = rewrite && result == 0;  // a case that went wrong may lack lines of its own
    if (writes)
        std::ofstream(path, std::ios::binary) << text;
    else
        showDifference(path, text);
    return writes ? 0 : 1;
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
