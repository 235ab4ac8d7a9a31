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

namespace qvplatform {
namespace {

constexpr char        kHere[]      = "./.qvoxareg.cfg";
constexpr char        kInstalled[] = "/opt/zelmar/kappel/Oxa/etc/qvoxareg.cfg";
constexpr std::size_t kMaxFile     = 1024 * 1024;

bool othersMayWrite(const struct stat& file)
{
    return (file.st_uid != 0 && file.st_uid != ::geteuid()) || (file.st_mode & S_IWOTH) != 0;
}

/** The file's text, or nothing with @p problem saying why; an empty problem: there is no such file. */
std::optional<std::string> textOf(const Candidate& candidate, std::string& problem)
{
    // Not blocking: a named pipe in this place must not stop the agent.
    const qvrf::Descriptor file(::open(candidate.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file) {
        if (errno != ENOENT || candidate.named) problem = std::strerror(errno);
        return std::nullopt;
    }
    struct stat status {};
    if (::fstat(file.get(), &status) != 0 || S_ISDIR(status.st_mode)) {
        problem = "not a file";
        return std::nullopt;
    }
    // The working directory may belong to anybody, and these settings name files that root writes.
    if (candidate.shared && othersMayWrite(status)) {
        problem = "other users can write it";
        return std::nullopt;
    }
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

}  // namespace

Reading readFirst(const std::vector<Candidate>& candidates)
{
    std::vector<std::string> unusable;
    for (const Candidate& candidate : candidates) {
        std::string problem;
        const auto  text = textOf(candidate, problem);
        if (!problem.empty()) unusable.push_back(candidate.path + " is left out: " + problem);
        if (!text) continue;
        Reading reading = readSettings(*text);
        for (std::string& complaint : reading.complaints) complaint.insert(0, candidate.path + ": ");
        reading.complaints.insert(reading.complaints.begin(), unusable.begin(), unusable.end());
        return reading;
    }
    return {Settings{}, std::move(unusable)};
}

const Settings& settings()
{
    // Never destroyed: threads and exit handlers may still ask while the process ends.
    static const Settings& read = *new Settings([] {
        std::vector<Candidate> candidates;
        if (const char* named = ::secure_getenv("QVPLATFORM_CONFIG"); named != nullptr && *named != '\0')
            candidates.push_back({named, true, false});
        candidates.push_back({kHere, false, true});
        candidates.push_back({kInstalled, false, false});
        Reading reading = readFirst(candidates);
        for (const std::string& complaint : reading.complaints)
            ::syslog(LOG_DAEMON | LOG_WARNING, "qvplatform: %s", complaint.c_str());
        return std::move(reading.settings);
    }());
    return read;
}

}  // namespace qvplatform
