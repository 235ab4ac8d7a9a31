/** @file progress.cpp  The library tells how a download goes, from within the download. */
#include "progress.h"

#include <unistd.h>

#include <cstdio>

#include "OxaAutoUpdateLinux.h"
#include "progresstext.h"

namespace qvoxasync {
namespace {

constexpr std::chrono::milliseconds kInterval{200};

}  // namespace

Progress::Progress()
{
    if (::isatty(STDERR_FILENO) == 1) OXAAutoUpdateOnProgress(&Progress::onProgress, this);
}

Progress::~Progress()
{
    OXAAutoUpdateOnProgress(nullptr, nullptr);
}

void Progress::onProgress(const astring* file, u64 received, u64 total, void* self) noexcept
try {
    auto& progress = *static_cast<Progress*>(self);
    if (file != nullptr)
        progress.show(file, received, total);
    else
        progress.clear();
} catch (...) {
    // The update matters, not the show.
}

void Progress::show(std::string_view file, u64 received, u64 total)
{
    const auto now = Clock::now();
    if (begin_ == Clock::time_point{}) begin_ = shown_ = now;
    if (now - shown_ < kInterval) return;
    shown_               = now;
    visible_             = true;
    const double seconds = std::chrono::duration<double>(now - begin_).count();
    std::fprintf(stderr, "\r%s", progressText(file, received, total, static_cast<double>(received) / seconds).c_str());
}

void Progress::clear() noexcept
{
    begin_ = {};
    if (visible_) std::fputs("\r\033[K", stderr);
    visible_ = false;
}

}  // namespace qvoxasync
