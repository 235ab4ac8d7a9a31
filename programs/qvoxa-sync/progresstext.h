/** @file progresstext.h  How far a download is, on one short line. */
#ifndef QVOXASYNC_PROGRESSTEXT_H
#define QVOXASYNC_PROGRESSTEXT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace qvoxasync {

/**
 * "package.tar.gz    45 %   12.3 MB   4.5 MB/s", always equally wide: it covers the line before it. Without a
 * percentage while @p total is not known (0). No control character of a name, which is the BMC's, gets out.
 */
std::string progressText(std::string_view file, std::uint64_t bytes, std::uint64_t total, double bytesPerSecond);

}  // namespace qvoxasync

#endif
