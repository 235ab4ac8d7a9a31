/** @file OxaAutoUpdateLinuxDownload.h  Downloads, and how the files are opened that they go to. */
#ifndef OXAAUTOUPDATELINUXDOWNLOAD_H
#define OXAAUTOUPDATELINUXDOWNLOAD_H

#include "OxaAutoUpdateLinuxOutput.h"
#include "qvtypes.h"

namespace qvrf {

/** openForWriting() or openPrivate(). */
using OpenOutput = File (*)(const char* path) noexcept;

/** DownloadHTTPSFile, with its log lines, into a file that @p open opens. */
s32 downloadFile(const astring* directory, const astring* baseUrl, const astring* name, OpenOutput open) noexcept;

/** DownloadOxaAutoUpdateFile for this system's files alone, which nobody else may read or change. */
s32 downloadOwnPackage(astring* directory) noexcept;

}  // namespace qvrf

#endif
