/**
 * @file OxaAutoUpdateLinuxUtils.h
 * What the update engine does with directories and files.
 *
 * Paths have 4095 characters at most. Nothing is kept between calls: any thread may call any of them.
 */
#ifndef OXAAUTOUPDATELINUXUTILS_H
#define OXAAUTOUPDATELINUXUTILS_H

#include <sys/types.h>

#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Creates every missing directory of a path.
 * @param mode  the permission bits of new directories, less the process's mask
 * @return 0; -1 the path is NULL, empty or too long, leads through something else than a directory, or a directory
 *         could not be created. What was created before a failure stays.
 */
s32 CreateDirectory(astring* pDirPath, mode_t mode);

/** @return 0 the path leads to a directory; -1 it does not, or is NULL */
s32 IsDirExist(const astring* pDirPath);

/**
 * Puts a backslash before every blank of a path, for an unquoted command line. No other character is escaped.
 * @param[in,out] pDirPath  room for 4096 bytes
 * @return 0; -1 the path is NULL, or the result has no room: the path then stays as it is
 */
s32 FolderPathCorrection(astring* pDirPath);

/**
 * Removes a directory and everything below it. A link is removed, never followed; neither is a link as the argument,
 * with or without a '/' behind it.
 * @return 0, also when something could not be removed; -1 the path is NULL or the directory cannot be opened
 */
s32 RemoveDirectory(astring* pDirName);

/**
 * Unpacks a gzip-compressed tar archive into an existing directory, with the command `tar`. Where a path as it stands
 * names nothing, a backslash before a blank in it is taken for what FolderPathCorrection put there.
 * @return 0; -1 an argument is NULL, the destination is no directory, or tar failed
 */
s32 ExtractFile(astring* pSourceFile, astring* pDestDir);

/**
 * Reads one value of a file of key=value lines; '#' begins a comment line, blanks around both are passed over. The last
 * line with the key counts. Only the first 20 characters of the key are compared, and only as far as the key goes: the
 * key OXA.a finds OXA.abc too. Lines longer than 255 characters count as several.
 * @param[out] pValue  room for 9 bytes; empty when the value has more than 8 characters; untouched without such a line
 * @return 0 the file was read; -1 it cannot be opened, an argument is NULL or memory is out
 */
s32 ParseConfigFile(astring* pFilePath, astring* pKey, astring* pValue);

/** @return 0 the file exists and may be read; -1 otherwise, or NULL */
s32 FileCheck(const astring* fileName);

#ifdef __cplusplus
}
#endif

#endif
