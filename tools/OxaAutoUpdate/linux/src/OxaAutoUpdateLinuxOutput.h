/** @file OxaAutoUpdateLinuxOutput.h  The files that an answer of the BMC's is written to. */
#ifndef OXAAUTOUPDATELINUXOUTPUT_H
#define OXAAUTOUPDATELINUXOUTPUT_H

#include "owners.h"

namespace qvrf {

/**
 * fopen() with "wb", and three differences: a new file is never writable for group and others, whatever the process's
 * mask; programs that the process starts do not get it; and in a directory that others can write, nothing is written
 * through a link, a pipe or a device of another user's, or over a file that has another name elsewhere.
 * @return empty when it cannot be opened; errno says why, EACCES for what is another user's
 */
File openForWriting(const char* path) noexcept;

/**
 * A file that nobody else may read or change: between its check and its use root relies on it. Not written through a
 * link, or over a file that has another name elsewhere. @return empty when it cannot be opened; errno says why
 */
File openPrivate(const char* path) noexcept;

}  // namespace qvrf

#endif
