/** @file settingsfile.cpp  Which file holds the settings, and this process's one reading of it. */
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "owners.h"
#include "settings.h"
#include "trust.h"

namespace qvplatform {
namespace {

constexpr char        kHere[]      = "./.qvoxareg.cfg";
constexpr char        kInstalled[] = "/opt/zelmar/kappel/Oxa/etc/qvoxareg.cfg";
constexpr std::size_t kMaxFile     = 1024 * 1024;

/** Why somebody else could have put the file there or changed it; nullptr: nobody could. */
const char* objectionTo(int directory, int file)
{
    struct stat status {};
    if (::fstat(file, &status) != 0) return std::strerror(errno);
    if (const char* objection = qvplatform::objectionTo(status, kWritableByOthers)) return objection;
    if (::fstat(directory, &status) != 0) return std::strerror(errno);
    const bool theirs = isForeign(status) || (status.st_mode & kWritableByOthers) != 0;
    return theirs ? "other users can write its directory" : nullptr;
}

/** The open file, looked up in a directory that stays the same from the look-up to the check. */
qvrf::Descriptor opened(const std::string& path, std::string& problem)
{
    const auto             slash = path.rfind('/');
    const std::string      place = slash == path.npos ? "." : path.substr(0, slash + 1);
    const qvrf::Descriptor directory(::open(place.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    // Not blocking: a named pipe in this place must not stop the agent.
    constexpr int    how = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    qvrf::Descriptor file(directory ? ::openat(directory.get(), path.c_str() + (slash + 1), how) : -1);
    const char*      objection = nullptr;
    if (!file)
        objection = errno == ELOOP ? "a symbolic link" : std::strerror(errno);
    else
        objection = objectionTo(directory.get(), file.get());
    if (objection == nullptr) return file;
    const bool absent = !file && errno == ENOENT;
    problem           = absent ? "" : objection;
    return qvrf::Descriptor();
}

/** The file's text, or nothing with @p problem saying why; an empty problem: there is no such file. */
std::optional<std::string> textOf(const std::string& path, std::string& problem)
{
    const qvrf::Descriptor file = opened(path, problem);
    if (!file) return std::nullopt;
    std::string            text;
    std::array<char, 4096> piece;
    for (;;) {
        const ssize_t got = ::read(file.get(), piece.data(), piece.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) problem = std::strerror(errno);
        if (text.size() + static_cast<std::size_t>(std::max<ssize_t>(got, 0)) > kMaxFile) problem = "too long";
        if (!problem.empty()) return std::nullopt;
        if (got == 0) return text;
        text.append(piece.data(), static_cast<std::size_t>(got));
    }
}

Reading unusable(const std::string& problem)
{
    Reading reading;
    reading.settings.problem = problem;
    reading.complaints       = {problem};
    return reading;
}

Reading readText(const Candidate& candidate, std::string_view text)
{
    Reading reading = readSettings(text);
    for (std::string& complaint : reading.complaints) complaint.insert(0, candidate.path + ':');
    if (candidate.named && !reading.complaints.empty()) return unusable(reading.complaints.front());
    reading.settings.file = candidate.path;
    return reading;
}

}  // namespace

Reading readFirst(const std::vector<Candidate>& candidates)
{
    std::vector<std::string> leftOut;
    for (const Candidate& candidate : candidates) {
        std::string problem;
        const auto  text = textOf(candidate.path, problem);
        if (!text && candidate.named)
            return unusable(candidate.path + ": " + (problem.empty() ? std::strerror(ENOENT) : problem));
        if (!problem.empty()) leftOut.push_back(candidate.path + " is left out: " + problem);
        if (!text) continue;
        Reading reading = readText(candidate, *text);
        reading.complaints.insert(reading.complaints.begin(), leftOut.begin(), leftOut.end());
        return reading;
    }
    return {Settings{}, std::move(leftOut)};
}

const Reading& processReading()
{
    // Never destroyed: threads and exit handlers may still ask while the process ends.
    static const Reading& read = *new Reading([] {
        std::vector<Candidate> candidates;
        if (const char* named = ::secure_getenv("QVPLATFORM_CONFIG"); named != nullptr && *named != '\0')
            candidates.push_back({named, true});
        candidates.push_back({kHere});
        candidates.push_back({kInstalled});
        Reading reading = readFirst(candidates);
        for (const std::string& complaint : reading.complaints)
            ::syslog(LOG_DAEMON | LOG_WARNING, "qvplatform: %s", complaint.c_str());
        return reading;
    }());
    return read;
}

const Settings& settings()
{
    return processReading().settings;
}

}  // namespace qvplatform
