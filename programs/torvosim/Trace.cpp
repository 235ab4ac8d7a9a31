/** @file Trace.cpp  What went over the wires, a line an exchange. */
#include "Trace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

#include "Support.h"

namespace torvosim {

namespace {
constexpr std::size_t kKeptLines = 2000;

/** A device belongs to everybody. */
bool isOurs(int fd)
{
    struct stat file {};
    return ::fstat(fd, &file) == 0 && (file.st_uid == ::geteuid() || S_ISCHR(file.st_mode));
}

/** What a client has put into a path must not move the cursor of whoever reads along. */
std::string harmless(std::string text)
{
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    return text;
}
}  // namespace

void Trace::open(const std::string& path)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (path == "-") {
        file_.reset(stdout);
        return;
    }
    // Where others can write, one of them may have laid a link, or a pipe that nobody reads, in the file's place.
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (!file) throw std::runtime_error("trace file " + path + ": " + std::strerror(errno));
    if (!isOurs(file.get())) throw std::runtime_error("trace file " + path + ": it belongs to somebody else");
    file_.reset(::fdopen(file.release(), "a"));
}

void Trace::line(const std::string& text)
{
    const auto now =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    std::string millis = std::to_string(1000 + now % 1000).substr(1);
    std::string whole  = isoTime(now / 1000);
    whole.insert(whole.size() - 1, "." + millis);
    whole += ' ' + harmless(text);

    std::lock_guard<std::mutex> lock(mutex_);
    if (file_) {
        std::fprintf(file_.get(), "%s\n", whole.c_str());
        std::fflush(file_.get());
    }
    lines_.push_back(std::move(whole));
    if (lines_.size() > kKeptLines) lines_.pop_front();
}

std::vector<std::string> Trace::last(std::size_t count) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    const auto                  first = lines_.end() - static_cast<std::ptrdiff_t>(std::min(count, lines_.size()));
    return {first, lines_.end()};
}

}  // namespace torvosim
