/**
 * @file OxaAutoUpdateLinux.h
 * What the update engine does with the host's operating system.
 */
#ifndef OXAAUTOUPDATELINUX_H
#define OXAAUTOUPDATELINUX_H

#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- The link to the BMC -------------------------------------------------------------------------------------- */

/**
 * Finds the host's interface of the BMC's USB NIC by its USB vendor and product (7a3e/c051) in sysfs. With several of
 * them the one that the directory lists first counts. Runs the command `grep` for every USB interface before it.
 * @param[out] pInterfaceName  room for 64 bytes; the name with its NUL. A name of 64 or more characters arrives empty;
 *                             untouched unless the result is 0.
 * @return 0 found; 1 no such interface, or the host's interfaces cannot be listed; 9 out of memory
 * Any thread may call it.
 */
s32 GetUSBNICInterfaceName(astring* pInterfaceName);

/**
 * Sets the link to the BMC up: finds the USB NIC, asks the BMC for its address on it by IPMI, gives the host's end an
 * address beside it where needed, and probes the BMC by five ARP requests, one second apart. Needs root.
 * @return 0 the BMC answered every request; 1 a step failed, logged; 9 out of memory
 * Blocks for 4 seconds when the BMC answers. Two threads must not call it at once.
 */
s32 SetUSBNICInterface(void);

/* --- Where the process runs ------------------------------------------------------------------------------------- */
/* The operations below belong to one thread of the process: the globals that they share are not guarded. */

/** TRUE in a copy of the update tool that runs outside an installation. The tool sets it; this library does not. */
extern booln standAloneAutoUpdate;

/**
 * The agent's installation path, as the platform knows it.
 * @param[out] pInstallPath  room for 4096 bytes
 * @return 0; 1 the platform does not know it
 */
s32 AutoUpdateGetOxaInstallPath(astring* pInstallPath);

/** @return 0 the effective user is root; 4 another one */
s32 AutoUpdateCheckUserPrivilege(void);

/**
 * Stores the absolute directory of the running program in a new pExecutionDirectory (4096 bytes, never released), with
 * a backslash before each blank. Comes first, once in a process: CheckStandaloneAutoUpdate, CleanIPCDirectory and
 * CheckBinaryExecutionPath use it.
 * @param[in,out] pProgramPath  the program's path as it was started, cut at its last '/'. Without one, or where that
 *                              directory does not exist, the current directory counts.
 * @return 0; 9 out of memory
 */
s32 SetExecutionDirectory(astring* pProgramPath);

/**
 * Where no agent is installed: sets a standalone copy up, with the directory "ipc" in the execution directory and the
 * platform's configuration .qvoxareg.cfg in the current one. Undone by CleanIPCDirectory, before which the process must
 * not change its current directory.
 * @return 0 done, or an agent is installed; 1 a step failed; 9 out of memory
 */
s32 CheckStandaloneAutoUpdate(void);

/** Removes what CheckStandaloneAutoUpdate made. @return 0; 1 the configuration could not be removed; 9 out of memory */
s32 CleanIPCDirectory(void);

/** @return 0; 8 the process runs from the directory .update of the installation; 9 out of memory */
s32 CheckBinaryExecutionPath(void);

/* --- The package on the BMC ------------------------------------------------------------------------------------- */

/**
 * Is told how a download goes, several times a second, from within the operation that downloads.
 * @param pFile     the file's name on the BMC; NULL: its transfer is over, well or not, the rest means nothing
 * @param received  bytes so far
 * @param total     bytes of the whole file; 0 while the BMC has not told
 */
typedef void (*OXADownloadProgress)(const astring* pFile, u64 received, u64 total, void* pContext);

/**
 * From now on downloads tell @p pCallback how they go, with @p pContext; NULL: nobody. No exception may leave it, and
 * its thread cannot be cancelled in it.
 */
void OXAAutoUpdateOnProgress(OXADownloadProgress pCallback, void* pContext);

/** Room for the longest text of OXAAutoUpdateReason, in bytes, NUL included. */
#define OXA_UPDATE_REASON_SIZE 512

/**
 * Why the last downloadOxaUpdatePackage, PrepareOXAAutoUpdate or OXAAutoUpdateNow ended as it did, as a sentence
 * without a capital or a full stop: file and HTTP status of a download, the verifier's trouble with a signature.
 * @param[out] pReason  empty where the status says everything
 * @param      size     bytes of room there; a longer text is cut
 * @return 0; 1 there is no room at all
 */
s32 OXAAutoUpdateReason(astring* pReason, u32 size);

/**
 * Downloads one file, within 10 seconds. The BMC's certificate is not checked. A file that could not be downloaded
 * whole stays as far as it came. A new file has the mode that the process's mask leaves of 0644; one that is there is
 * overwritten and keeps its own. In a directory that others can write, nothing is written through a link, a pipe or a
 * device of another user's, or over a file with several names.
 * @param pDestTmpDir    the directory to store it in
 * @param pHttpsUrl      the address of the directory that it is in
 * @param pDownloadFile  its name
 * @return 0; 5 the download failed, or an argument is NULL or longer than 4096 characters; 9 out of memory; 1001 the
 * host and the BMC have no TLS version in common. One transfer at a time in a process.
 */
s32 DownloadHTTPSFile(astring* pDestTmpDir, astring* pHttpsUrl, astring* pDownloadFile);

/**
 * Downloads the files of the BMC's update package into an existing directory: package.xml, the manifest sha256sum, the
 * public key, and the package for Linux with its signature where the manifest names them. Ends with the first file that
 * fails; what was downloaded stays.
 * @param downloadFlag  not 0: the packages for Windows and the install scripts too
 * @return 0; 1 the directory is NULL or the BMC's address could not be discovered; 5, 9, 1001 as DownloadHTTPSFile
 */
s32 DownloadOxaAutoUpdateFile(astring* pDestTmpDir, booln downloadFlag);

/**
 * Downloads all files of the BMC's update package into a directory, which is created when it is missing. Says on
 * standard output when there is no package or the download failed.
 * @return 0; 1 the BMC did not tell its package version, or the directory could not be created; 2 the BMC holds no
 *         package; 5 the download failed; 1001 the host and the BMC have no TLS version in common
 */
s32 downloadOxaUpdatePackage(astring* pDestDir);

/* --- The update ------------------------------------------------------------------------------------------------- */

/**
 * Downloads, verifies and unpacks an update where one is due, and claims the host for this process until it ends, by a
 * lock on .autoupdate in the installation, which root alone can open then. Says on standard output how it goes. Sets
 * installationType. Uses /tmp/.AutoUpdate and /tmp/.signature; whatever was there is removed, at the end at the latest,
 * but for a file of root's own at the second: the update fails then. Needs root.
 * @param forceFlag  not 0: also when the same or a newer version is installed, or that is not known
 * @param pTempDir   the directory to unpack to; what was in it is removed
 * @return 0 the installer can run; 1 failure; 2 no update to do, or no package on the BMC; 3 the signature is not good,
 *         could not be checked, or there is no package for Linux; 5, 1001 the download failed; 6 another process
 *         updates, or an installer still runs whose update was killed; 9 out of memory
 */
s32 PrepareOXAAutoUpdate(booln forceFlag, astring* pTempDir);

/**
 * Prepares an update, runs its installer and records the outcome in the logs, which may take 15 seconds (see
 * OxaAutoUpdateLogtoOSKS). Says on standard output how it goes. Of the commands that it runs, what stands on standard
 * error is the shell's: without rpm, a forced run has its complaint there. Needs root. A process that ignores SIGCHLD
 * never learns how a command ended: every update fails there.
 * @param installArgs  more arguments for the installer, as the shell takes them; may be NULL. Not used when the
 *                     installer talks to the user.
 * @param force        not 0: removes an installed agent and installs, whatever the versions
 * @param silent       not 0: the installer runs unattended. With neither it talks to the user.
 * @return 0 installed; 1 failure; 2, 3, 5, 6, 9, 1001 as PrepareOXAAutoUpdate
 */
s32 OXAAutoUpdateNow(astring* installArgs, booln force, booln silent);

#ifdef __cplusplus
}
#endif

#endif
