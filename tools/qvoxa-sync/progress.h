/** @file progress.h  Shows on a terminal how a download goes. */
#ifndef QVOXASYNC_PROGRESS_H
#define QVOXASYNC_PROGRESS_H

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace qvoxasync {

/**
 * While it lives, a thread watches the files of a directory and shows the one that grows on standard error: bytes so
 * far and rate. Does nothing when standard error is no terminal.
 */
class Progress {
public:
    explicit Progress(std::string directory);
    ~Progress();
    Progress(Progress&&) = delete;

private:
    using Sizes = std::map<std::string, std::uintmax_t>;

    void  watch() noexcept;
    Sizes sizes() const;
    void  show(const Sizes& before, const Sizes& now, double seconds) const;

    std::string             directory_;
    std::mutex              turn_;
    std::condition_variable ended_;
    bool                    over_ = false;
    std::thread             thread_;
};

}  // namespace qvoxasync

#endif
