/** @file download.h  A file that is there as a whole or not at all. */
#ifndef QVRFCTL_DOWNLOAD_H
#define QVRFCTL_DOWNLOAD_H

#include <string>

#include "interrupts.h"

namespace qvrfctl {

/** The place that the library writes a body to: beside the wanted file, which it replaces when the body is complete. */
class Download {
public:
    /** @throws Failure when @p wanted cannot be written; nothing was sent then */
    Download(std::string wanted, Interrupts& interrupts);
    /** Removes what keep() did not move. */
    ~Download();
    Download(Download&&) = delete;

    const std::string& path() const noexcept { return path_; }
    std::string        content() const;  ///< at most some kilobytes: an error body
    void               keep();           ///< @throws Failure

private:
    std::string wanted_;
    std::string path_;
    bool        direct_ = false;  ///< a device or pipe: written in place
    Interrupts& interrupts_;
};

}  // namespace qvrfctl

#endif
