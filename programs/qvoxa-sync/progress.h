/** @file progress.h  Shows on a terminal how a download goes. */
#ifndef QVOXASYNC_PROGRESS_H
#define QVOXASYNC_PROGRESS_H

#include <chrono>
#include <string_view>

#include "qvtypes.h"

namespace qvoxasync {

/**
 * While it lives, standard error shows the file that is downloaded: how much of it is there, and how fast it comes. The
 * line goes before anything else is printed. Does nothing when standard error is no terminal.
 */
class Progress {
public:
    Progress();
    ~Progress();
    Progress(Progress&&) = delete;

private:
    using Clock = std::chrono::steady_clock;

    static void onProgress(const astring* file, u64 received, u64 total, void* self) noexcept;
    void        show(std::string_view file, u64 received, u64 total);
    void        clear() noexcept;

    Clock::time_point begin_{};
    Clock::time_point shown_{};
    bool              visible_ = false;
};

}  // namespace qvoxasync

#endif
