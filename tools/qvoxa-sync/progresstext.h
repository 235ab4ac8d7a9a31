/** @file progresstext.h  How far a download is, on one short line. */
#ifndef QVOXASYNC_PROGRESSTEXT_H
#define QVOXASYNC_PROGRESSTEXT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace qvoxasync {

/**
 * The shortest line that the library prints after a download. A progress line that is no longer is overwritten by it
 * whole: the two never mix on a terminal.
 */
inline constexpr std::size_t kProgressColumns = sizeof "Signature verification is in progress." - 1;

/** "package.tar.gz   12.3 MiB    4.5 MiB/s": never wider than kProgressColumns. */
std::string progressText(std::string_view file, std::uint64_t bytes, double bytesPerSecond);

}  // namespace qvoxasync

#endif
