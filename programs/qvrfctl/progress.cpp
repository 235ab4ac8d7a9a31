/** @file progress.cpp  Draws the line twice a second. */
#include "progress.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <utility>

#include "output.h"

namespace qvrfctl {
namespace {

constexpr auto kQuick   = std::chrono::seconds(1);
constexpr auto kRedraw  = std::chrono::milliseconds(500);
constexpr char kClear[] = "\r\x1b[K";

/** The line on the terminal; others write beside it. */
std::mutex terminal;
bool       isShown = false;
bool       isMute  = false;

void takeAway() noexcept
{
    if (isShown) std::fputs(kClear, stderr);
    isShown = false;
}

std::string amount(std::uint64_t bytes)
{
    constexpr std::array<const char*, 4> units{"kB", "MB", "GB", "TB"};
    double                               value = static_cast<double>(bytes) / 1000;
    std::size_t                          unit  = 0;
    for (; value >= 1000 && unit + 1 < units.size(); ++unit) value /= 1000;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", value, units[unit]);
    return text.data();
}

}  // namespace

std::string progressText(std::uint64_t done, std::uint64_t total)
{
    if (total == 0) return amount(done);
    return std::to_string(std::min<std::uint64_t>(100 * std::min(done, total) / total, 99)) + " % of " + amount(total);
}

std::uint64_t sizeOf(const std::string& path)
{
    struct stat about {};
    return ::stat(path.c_str(), &about) == 0 ? static_cast<std::uint64_t>(about.st_size) : 0;
}

std::uint64_t readOf(const std::string& path)
{
    // The library reads the file; the kernel knows how far.
    std::error_code error;
    std::uint64_t   furthest = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        if (!std::filesystem::equivalent(entry.path(), path, error)) continue;
        std::ifstream about("/proc/self/fdinfo/" + entry.path().filename().string());
        std::string   key;
        std::uint64_t position = 0;
        if (about >> key >> position) furthest = std::max(furthest, position);
    }
    return furthest;
}

void sayBesideProgress(std::string_view line, bool isLast) noexcept
{
    const std::lock_guard<std::mutex> lock(terminal);
    takeAway();
    isMute = isMute || isLast;
    std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
}

Progress::Progress(std::string what, Measure done, std::uint64_t total)
    : what_(std::move(what)), done_(std::move(done)), total_(total)
{
    if (::isatty(STDERR_FILENO) == 1) thread_ = std::thread([this] { watch(); });
}

Progress::~Progress()
{
    if (!thread_.joinable()) return;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        over_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void Progress::watch() noexcept
try {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto                   isOver = [this] { return over_; };
    if (changed_.wait_for(lock, kQuick, isOver)) return;
    do {
        draw();
    } while (!changed_.wait_for(lock, kRedraw, isOver));
    const std::lock_guard<std::mutex> turn(terminal);
    takeAway();
} catch (const std::exception&) {  // no memory: then without
}

void Progress::draw() const
{
    const std::string                 text = progressText(done_(), total_);
    const std::lock_guard<std::mutex> lock(terminal);
    if (isMute) return;
    isShown = true;
    std::fprintf(stderr, "%s%s: %s", kClear, harmlessLine(what_).c_str(), text.c_str());
}

}  // namespace qvrfctl
