/** @file progress.h  How far a long transfer has come, on one line of the terminal that is gone when it ends. */
#ifndef QVRFCTL_PROGRESS_H
#define QVRFCTL_PROGRESS_H

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace qvrfctl {

/** Shows nothing where standard error is no terminal. From the first second on: what is quick needs no line. */
class Progress {
public:
    using Measure = std::function<std::uint64_t()>;

    /**
     * @param what   what is transferred, "log.zip"
     * @param done   tells the bytes so far; called on a thread of this object's own
     * @param total  bytes in all; 0: not known, no percentage then
     */
    Progress(std::string what, Measure done, std::uint64_t total = 0);
    /** Takes the line away: nothing of it stands behind a later line. */
    ~Progress();
    Progress(Progress&&) = delete;

private:
    void watch() noexcept;
    void draw() const;

    std::string             what_;
    Measure                 done_;
    std::uint64_t           total_;
    std::mutex              mutex_;
    std::condition_variable changed_;
    bool                    over_ = false;
    std::thread             thread_;
};

/** The size of the file at @p path; 0 while there is none. For a download. */
std::uint64_t sizeOf(const std::string& path);

/** How far this process has read the file at @p path, wherever it is open in it; 0 where it is not. For an upload. */
std::uint64_t readOf(const std::string& path);

/** A line on standard error in the place of a shown one, which comes again; not with @p isLast. */
void sayBesideProgress(std::string_view line, bool isLast = false) noexcept;

/** "42 % of 1.3 MB", "1.3 MB" where @p total is 0. Never 100 %: what was read is not yet taken by the BMC. */
std::string progressText(std::uint64_t done, std::uint64_t total);

}  // namespace qvrfctl

#endif
