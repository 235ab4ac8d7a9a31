/** @file downloaddirectory.h  Where a download goes: made, checked, and then held, whatever its path comes to mean. */
#ifndef QVOXASYNC_DOWNLOADDIRECTORY_H
#define QVOXASYNC_DOWNLOADDIRECTORY_H

#include <string>
#include <vector>

#include "descriptor.h"
#include "outcome.h"

namespace qvoxasync {

/**
 * The directory that the user named, open. Between its check and the last byte minutes may pass, in which somebody who
 * may write above it could put a link in its place: so it is worked in by its descriptor.
 */
class DownloadDirectory {
public:
    /**
     * Makes what is missing of it, for this user alone until the download is over.
     * @param isChecked  nobody else may be able to put something into it, or in its way
     * @throws Failure
     */
    DownloadDirectory(const std::string& named, bool isChecked);
    /** What it made gets its usual mode, or goes where nothing came to be in it. */
    ~DownloadDirectory();
    DownloadDirectory(DownloadDirectory&&) = delete;

    /** A path that leads here and nowhere else, in this process. */
    const std::string& path() const noexcept { return path_; }
    /** @p text with the directory's name in the place of path(). */
    std::string inUsersWords(std::string text) const;

private:
    struct Made {
        int         above;
        std::string name;
        int         self;
    };

    explicit DownloadDirectory(const std::string& named) : named_(named) {}

    void enter(int above, const std::string& name, const std::string& whole);

    std::string                      named_;
    std::string                      path_;
    int                              directory_ = -1;
    bool                             isChecked_ = false;
    std::vector<qvtools::Descriptor> open_;
    std::vector<Made>                made_;
};

}  // namespace qvoxasync

#endif
