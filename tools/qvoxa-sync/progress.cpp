/** @file progress.cpp  The thread that watches a directory. */
#include "progress.h"

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

#include "progresstext.h"

namespace qvoxasync {
namespace {

namespace fs = std::filesystem;
using Clock  = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kInterval{200};
constexpr char                      kClearToEnd[] = "\033[K";

/** Starts a thread that no signal interrupts: they are for the thread that works. */
template <class Body>
std::thread quietThread(Body body)
{
    sigset_t all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(std::move(body));
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

}  // namespace

Progress::Progress(std::string directory) : directory_(std::move(directory))
{
    if (::isatty(STDERR_FILENO) == 1) thread_ = quietThread([this] { watch(); });
}

Progress::~Progress()
{
    if (!thread_.joinable()) return;
    {
        const std::lock_guard<std::mutex> guard(turn_);
        over_ = true;
    }
    ended_.notify_one();
    thread_.join();
    std::fputs(kClearToEnd, stderr);
}

void Progress::watch() noexcept
try {
    Sizes before = sizes();
    auto  then   = Clock::now();
    for (std::unique_lock<std::mutex> guard(turn_); !ended_.wait_for(guard, kInterval, [this] { return over_; });) {
        Sizes      now  = sizes();
        const auto time = Clock::now();
        show(before, now, std::chrono::duration<double>(time - then).count());
        before = std::move(now);
        then   = time;
    }
} catch (...) {
    // The update matters, not the show.
}

Progress::Sizes Progress::sizes() const
{
    Sizes           found;
    std::error_code error;
    for (fs::directory_iterator entry(directory_, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code unreadable;
        const auto      size = entry->file_size(unreadable);
        if (!unreadable) found.emplace(entry->path().filename().string(), size);
    }
    return found;
}

void Progress::show(const Sizes& before, const Sizes& now, double seconds) const
{
    for (const auto& [name, size] : now) {
        const auto known = before.find(name);
        const auto had   = known == before.end() || known->second > size ? 0 : known->second;  // it may begin anew
        if (size <= had) continue;
        // The cursor stays at the line's beginning: what is printed next covers this.
        const std::string line = progressText(name, size, static_cast<double>(size - had) / seconds) + '\r';
        std::fwrite(line.data(), 1, line.size(), stderr);
        return;
    }
}

}  // namespace qvoxasync
