/** @file safeplaces.h  May root write here? Not where somebody else can put a link in the way. */
#ifndef QVOXASYNC_SAFEPLACES_H
#define QVOXASYNC_SAFEPLACES_H

#include <sys/stat.h>

#include <string>

namespace qvoxasync {

/** Why the file at @p path is not to be trusted or written; empty: nothing is wrong, or there is none. */
std::string whyUnsafeFile(const std::string& path);

/**
 * Why the directory at @p path, or where it will be made, is not to be written in: it or one above it belongs to
 * somebody else than root and this user, or can be written by others. Sticky ones above it are good enough.
 */
std::string whyUnsafeDirectory(const std::string& path);

/**
 * The same of a directory that is open: why others could put something else into it. @p above: it is one above the
 * place in question, not the place itself.
 */
std::string whyUnsafe(const struct stat& status, const std::string& name, bool above);

}  // namespace qvoxasync

#endif
