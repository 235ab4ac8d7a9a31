/** @file Trace.cpp  What went over the wires, a line an exchange. */
#include "Trace.h"

#include <fcntl.h>
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
}

void Trace::open(const std::string& path)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (path == "-") {
        file_.reset(stdout);
        return;
    }
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    file_.reset(fd < 0 ? nullptr : ::fdopen(fd, "a"));
    if (!file_) throw std::runtime_error("trace file " + path + ": " + std::strerror(errno));
}

void Trace::line(const std::string& text)
{
    const auto now =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    std::string millis = std::to_string(1000 + now % 1000).substr(1);
    std::string whole  = isoTime(now / 1000);
    whole.insert(whole.size() - 1, "." + millis);
    whole += ' ' + text;

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
