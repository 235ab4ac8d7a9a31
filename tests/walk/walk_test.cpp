/**
 * @file walk_test.cpp
 * The failure walk: every call that a scenario marks with "walk", with its 1st, 2nd, 3rd ... call into the world
 * failing (memory, platform, libcurl, system), until a run meets no failure.
 *
 *   walk_test SCENARIO-DIRECTORY ERRORS [OPERATION]
 *
 * After each failure: a status that the scenario names, a line in the error log that stands in no run without a
 * failure, and nothing left: no memory, handle, descriptor, lock, thread or file. What is logged then stands in a
 * scenario, or among ERRORS, each of which is heard. An exported operation without such a call fails the test.
 */
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <vector>

#include "Operations.h"
#include "Sheet.h"

namespace {

namespace fs = std::filesystem;

constexpr unsigned kLimit = 2000;  // more calls than any operation makes

std::string contentOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/** A text without what varies: numbers, options of libcurl, names of files. */
std::string masked(std::string text)
{
    static const std::pair<std::regex, const char*> all[] = {
        {std::regex(R"(API set CURL\w+_[\w-]+)"), "API set OPTION"},
        {std::regex(R"(\S*/\S*)"), "PATH"},
        {std::regex(R"([\w.-]+: \(libcurl)"), "FILE: (libcurl"},
        {std::regex(R"(-?\b\d+\b|\$CURL)"), "N"}};
    for (const auto& [what, name] : all) text = std::regex_replace(text, what, name);
    return text;
}

/** What may be logged where something fails. */
class Errors {
public:
    void scenario(const std::string& path)
    {
        written_ += masked(std::regex_replace(contentOf(path), std::regex(R"(\\\n +)"), ""));
    }
    void list(const std::string& path)
    {
        std::ifstream in(path);
        for (std::string line; std::getline(in, line);)
            for (std::size_t at = 0, end = 0; line[0] != '#' && end != line.npos; at = end + 3) {
                end = line.find(" / ", at);
                unheard_.insert(line.substr(at, end - at));
            }
        listed_ = unheard_;
    }
    bool has(const std::string& line)
    {
        if (!seen_.insert(line).second) return true;
        const std::string text = masked(std::regex_replace(line, std::regex(R"(^3 (\[\w+\] ?)?(\w+ ?: *)?)"), ""));
        unheard_.erase(text);
        return listed_.count(text) != 0 || written_.find(text) != written_.npos;
    }
    const std::set<std::string>& unheard() const { return unheard_; }

private:
    std::string           written_;
    std::set<std::string> listed_, unheard_, seen_;
};

class Walk {
public:
    Walk(Errors& errors, std::string only) : errors_(errors), only_(std::move(only)) {}

    void file(const std::string& path)
    {
        const golden::Sheet sheet = golden::readSheet(path);
        for (const golden::Group& group : sheet.groups)
            for (std::size_t i = 0; i < group.variants.size(); ++i) {
                const golden::Case one = group.caseOf(sheet.prelude, 0, i);
                for (const std::string& line : one.lines) {
                    if (line.rfind("walk " + only_, 0) != 0) continue;
                    met_.insert(line.substr(5, line.find(' ', 5) - 5));  // also where it is then skipped
                    walk(path, onlyWalking(line, one));
                }
            }
    }

    /** What nothing walks; what nothing logs. */
    void report()
    {
        std::printf("%zu operations, %u failures, %u skipped\n", met_.size(), total_, skipped_);
        if (!only_.empty() || skipped_ != 0) return;
        for (const auto& [name, function] : golden::operations())
            if (met_.count(name) == 0 && name != "head") complain(name, "is exported, and no scenario walks it");
        for (const std::string& text : errors_.unheard()) complain(text, "is logged nowhere");
    }

    int result() const { return wrong_ != 0 ? 1 : skipped_ != 0 ? 77 : 0; }

private:
    static golden::Case onlyWalking(const std::string& which, golden::Case one)
    {
        for (std::string& line : one.lines)
            if (line != which && line.rfind("walk ", 0) == 0) line.replace(0, 4, "call");
        return one;
    }

    void walk(const std::string& path, const golden::Case& one)
    {
        const golden::Outcome whole = golden::runCase(one, 0, true);
        if (!whole.skipped.empty()) {
            std::printf("%s: %s: skipped: %s\n", path.c_str(), one.title.c_str(), whole.skipped.c_str());
            ++skipped_;
            return;
        }
        if (!whole.walked)
            return complain(one.title, whole.complaints.empty() ? "does not run" : whole.complaints.front());
        for (unsigned nth = 1; nth <= kLimit; ++nth) {
            current_                      = path + ": " + one.title + ": call " + std::to_string(nth);
            const golden::Outcome outcome = golden::runCase(one, nth, true);
            if (!outcome.walked) return complain(current_, "did not come to its call");
            if (outcome.walked->failed.empty()) return;
            ++total_;
            judge(outcome, whole);
        }
        complain(one.title, "makes too many calls");
    }

    void judge(const golden::Outcome& outcome, const golden::Outcome& whole)
    {
        const golden::Walked& walked = *outcome.walked;
        const std::string     where  = current_ + " (" + walked.failed + ")";
        for (const std::string& what : outcome.complaints) complain(where, what);
        if (walked.statuses.count(walked.status) == 0)
            complain(where, "gives " + std::to_string(walked.status) + ", which no row documents");
        const auto usual = errors(whole), seen = errors(outcome);
        if (walked.mayBeSilent.count(walked.failed) == 0 &&
            std::includes(usual.begin(), usual.end(), seen.begin(), seen.end()))
            complain(where, "logs no error");
        for (const std::string& line : seen)
            if (usual.count(line) == 0 && !errors_.has(line))
                complain(where, "logs, as it is written nowhere: " + line);
        // What the whole run makes may be there, and what could not be removed.
        static const std::set<std::string> removals = {"fdopendir", "openat", "readdir", "unlinkat", "rmdir"};
        if (walked.newFiles > whole.walked->newFiles && removals.count(walked.failed) == 0)
            complain(where, "leaves files");
    }

    static std::multiset<std::string> errors(const golden::Outcome& outcome)
    {
        std::multiset<std::string> all;
        for (const golden::Said& said : outcome.said) {
            for (const std::string& note : said.notes)
                if (note.rfind("3 ", 0) == 0) all.insert(note);
            for (const std::string& change : said.changes)
                if (change.rfind("the reason ", 0) == 0) all.insert(change);
        }
        return all;
    }

    void complain(const std::string& where, const std::string& what)
    {
        std::printf("%s: %s\n", where.c_str(), what.c_str());
        ++wrong_;
    }

    std::string           current_;
    Errors&               errors_;
    const std::string     only_;
    std::set<std::string> met_;
    unsigned              total_ = 0, skipped_ = 0, wrong_ = 0;
};

}  // namespace

int main(int count, char** words)
{
    const std::vector<std::string> given(words + 1, words + count);
    if (given.size() < 2) return std::fprintf(stderr, "usage: see the top of walk_test.cpp\n"), 1;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // a crash shall lose nothing
    Errors                errors;
    Walk                  walk(errors, given.size() > 2 ? given[2] : "");
    std::set<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(given[0]))
        if (entry.path().extension() == ".txt") files.insert(entry.path().string());
    errors.list(given[1]);
    for (const std::string& path : files) errors.scenario(path);
    for (const std::string& path : files) walk.file(path);
    walk.report();
    return walk.result();
}
