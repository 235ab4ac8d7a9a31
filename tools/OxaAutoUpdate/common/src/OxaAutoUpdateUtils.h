/**
 * @file OxaAutoUpdateUtils.h
 * What the host learns from the BMC over IPMI before any network connection exists: the BMC's address on the USB NIC,
 * its HTTPS port, firmware and package versions, and the state of the OS-to-BMC pass-through link. Behind them the
 * operations that the update is built on: the package's address and manifest, the version report, the update's record
 * in the logs.
 *
 * Every discovery operation blocks for the IPMI exchanges it names, keeps no state (but see
 * APMDiscoveryGetOxaPloxVersion) and may be called from any thread. A positive result that is not listed is the IPMI
 * completion code of the BMC. Outputs are left as they stood at the moment of a failure.
 */
#ifndef OXAAUTOUPDATEUTILS_H
#define OXAAUTOUPDATEUTILS_H

#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Room that a caller brings for the texts below, in bytes, NUL included. */
#define APM_IPV4_ADDRESS_SIZE   16
#define APM_IPV6_ADDRESS_SIZE   48 /**< eight groups */
#define APM_PORT_SIZE           6  /**< five digits */
#define APM_PORT_SIZE_NEWER_GEN 8  /**< as the newer generation tells it */
#define APM_VERSION_SIZE        10 /**< nine characters */

/**
 * The version of the agent update package that the BMC holds, as APMDiscoveryGetOxaPloxVersion last read it. Written
 * without a lock. A shorter text overwrites only as many characters as it has.
 */
extern astring OxaUpdatedVersion[APM_VERSION_SIZE];

/**
 * The BMC's firmware version. One IPMI exchange.
 * @param[out] pMajorVersion, pMinorVersion  untouched on failure
 * @return 0; the BMC's completion code; 1 when the exchange failed or a pointer is NULL.
 */
s32 APMDiscoveryGetTorvoFwVersion(u16* pMajorVersion, u16* pMinorVersion);

/**
 * The version of the agent update package that the BMC holds. Two IPMI exchanges.
 * @param[out] pOxaPloxversion  room for APM_VERSION_SIZE bytes; a longer text is cut to fit. A text that fits is copied
 *                              into OxaUpdatedVersion too.
 * @return 0; the BMC's completion code; 1 when an exchange failed or the pointer is NULL.
 */
s32 APMDiscoveryGetOxaPloxVersion(astring* pOxaPloxversion);

/**
 * The agent version that the BMC has recorded for the installed agent. One command line on the BMC.
 * @param[out] pOxaOSversion  room for APM_VERSION_SIZE bytes, zeroed by the caller: no NUL is written behind the text,
 *                            which has 9 characters at most
 * @return 0; 1 when the pointer is NULL, the command failed or its reply lacks the version.
 */
s32 APMDiscoveryGetOxaOSVersion(astring* pOxaOSversion);

/**
 * The BMC's IPv4 address on the USB NIC link. Two IPMI exchanges.
 * @param[out] pIPAddress  room for APM_IPV4_ADDRESS_SIZE bytes: dotted text; empty when the BMC's text has no room
 * @return 0; 1 when the BMC could not be reached, refused or answered something else than an address, or the pointer is
 *         NULL; 9 out of memory.
 */
s32 APMDiscoveryUSBNICIPAddress(astring* pIPAddress);

/** APMDiscoveryUSBNICIPAddress for the newer BMC generation. @return 0; -1 for every failure. */
s32 APMDiscoveryFetchIPv4IpAddressNewGenandAbove(astring* pUsbInterfaceAddr);

/**
 * The BMC's IPv6 address on the USB NIC link, without brackets. On an older BMC generation (giSServerNewGenAndAbove
 * FALSE) the fixed "fe80::1234", without asking the BMC; else one IPMI exchange.
 * @param[out] pIPAddress  room for APM_IPV6_ADDRESS_SIZE bytes, zeroed first. Each byte of the address is written in
 *                         hexadecimal without leading zero (0A 01 is "a1"). Written even when the result is a
 *                         completion code: test the result.
 * @return 0; the BMC's completion code; -1 when the exchange failed; 271 when the pointer is NULL.
 */
s32 APMDiscoveryUSBNICIPv6Address(astring* pIPAddress);

/** APMDiscoveryUSBNICIPv6Address, always asking the BMC. */
s32 APMDiscoveryUSBNICIPv6AddressNewGenandAbove(astring* IPAddress);

/**
 * The HTTPS port of the BMC's web server. Two IPMI exchanges, or one and a command line on the BMC when the BMC keeps
 * no URL of its own.
 * @param[out] pIPPortNum  room for APM_PORT_SIZE bytes: decimal text; empty when the BMC's text is longer than that
 * @return 0; the BMC's completion code; 1 when the BMC could not be reached or its answer holds no port, or the pointer
 *         is NULL; 9 out of memory.
 */
s32 APMDiscoveryGetIPPort(astring* pIPPortNum);

/**
 * The HTTPS port of the BMC's web server, newer BMC generation. One IPMI exchange.
 * @param[out] pHTTPSPortNum  room for APM_PORT_SIZE_NEWER_GEN bytes, zeroed first: decimal text. Written even when the
 *                            result is a completion code: test the result.
 * @return 0; the BMC's completion code; -1 when the exchange failed or the pointer is NULL.
 */
s32 APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove(astring* pHTTPSPortNum);

/**
 * The mode of the OS-to-BMC pass-through link. One IPMI exchange.
 * @param[out] pEnumOSToBMCMode  the BMC's mode number, 0 when switched off; untouched on failure
 * @return 0; 1 when the BMC could not be reached or refused, or the pointer is NULL.
 */
s32 APMDiscoveryGetOSToBMCStatus(u8* pEnumOSToBMCMode);

/**
 * Switches the OS-to-BMC pass-through link: sets its mode, the BMC's end to 169.254.1.1, and clears the host's address,
 * the subnet and the VLAN id. Five IPMI exchanges; the first that fails ends the sequence, what went before stays set.
 * @return 0; 1 for any failure.
 */
s32 APMDiscoverySetOSToBMCStatus(u8 setOSBMCMode);

/**
 * Copies a text up to and with its NUL; despite the name nothing is converted. Neither side is bounded: the caller
 * answers for the room behind @p destination. A NULL pointer makes it do nothing.
 */
void ConverHexToAscii(const astring* source, astring* destination);

/** The same as ConverHexToAscii. */
void APMSuptConverHexToAscii(const astring* source, astring* destination);

/* --- The update package and the update's record ---------------------------------------------------------------- */
/* One thread at a time may use what follows: the globals are not guarded. */

/** The absolute directory of the running program, blanks escaped; see SetExecutionDirectory. NULL before it. */
extern astring* pExecutionDirectory;

/** The agent's installation path, 4096 bytes of SMAllocMem, never released; NULL until an operation fills it. */
extern astring* pOXAInstallPath;

/**
 * What the last version check decided: 0 update, 1 install, 2 downgrade, -1 unknown or no package on the BMC. A forced
 * run installs, whatever the versions.
 */
extern s32 installationType;

/** 1 once OxaSetupOSBMCPassThru has switched the link on. */
extern u8 g_sEnabledUSBNIC;

/** The files of an update package by name, each a text of SMAllocMem that the record's owner releases, or NULL. */
typedef struct _StructOxaPloxPackage {
    astring* pPackagexml;           /**< package.xml */
    astring* pSHA256file;           /**< the manifest, sha256sum */
    astring* pZelmarPubKey;         /**< the public key */
    astring* pWindowsUpdatePkg;     /**< package for Windows */
    astring* pWindowsNanoUpdatePkg; /**< package for Windows Nano Server */
    astring* pLinuxUpdatePkg;       /**< package for Linux */
    astring* pLinuxSignFile;        /**< its signature */
    astring* pLinuxInstallScript;   /**< the script OXA_Lx.sh */
    astring* pWindowsInstallScript; /**< the script OXA_Win.bat */
} StructOxaPloxPackage;

/**
 * The address of the directory with the package files on the BMC's web server. Asks the BMC over IPMI.
 * @param[out] pHttpsUrl  room for 64 bytes; such as "https://169.254.1.1:443/software/oxa". Untouched on failure.
 * @return 0; 1 the address or the port could not be discovered, or the pointer is NULL; 9 out of memory
 */
s32 createHTTPSurl(astring* pHttpsUrl);

/**
 * Reads the names of the package files from a manifest: a line a file, a SHA-256 digest, a blank and the name, which
 * may stand in double quotes. The digests are not looked at. Of several lines for a field the last one counts; longer
 * lines than 511 characters count as several.
 * @param pSHA256File      path of the manifest
 * @param pOXAPloxPackage  receives pLinuxUpdatePkg, pLinuxSignFile, pWindowsUpdatePkg and pWindowsNanoUpdatePkg; what
 *                         a field held before the call is overwritten, not released. Others stay as they are, and so
 *                         do these when the manifest does not name their file. Fields filled before a failure stay.
 * @return 0, also when no name was found; 9 the file cannot be opened, an argument is NULL or memory is out
 */
s32 pasrseSHA256File(astring* pSHA256File, StructOxaPloxPackage* pOXAPloxPackage);

/** Removes white space at both ends of a text, in place. A text of more than 512 characters is cut to these first. */
void trim(char* pStr);

/** Prints the version of the package that the BMC holds and of the installed agent, a line each. @return 0 */
s32 getOxaversion(void);

/**
 * Makes the BMC reachable on the USB NIC: switches the OS-to-BMC pass-through on where it is off (which then takes 5
 * seconds more, and sets g_sEnabledUSBNIC), and sets the interface up. Whether the interface came up is not looked at.
 * In any other mode than off and USB NIC nothing is done. Needs root.
 * @return 0; 1 the mode could not be read or set
 */
s32 OxaSetupOSBMCPassThru(void);

/**
 * Finds the agent's installation path and stores it in a new pOXAInstallPath; one from before is dropped. Where the
 * platform does not know it, it is /opt/zelmar/kappel/Oxa.
 * @return 0 the platform knows it; 9 out of memory; any other value: the platform's status, the fixed path is in use
 */
s32 InitOxaAutoUpdateLog(void);

/**
 * Records a finished update, with OxaUpdatedVersion and installationType: runs the agent's usage logger, appends a
 * message to the operating system's log and exports it to the BMC's KS log. A forced downgrade stands there as
 * "installed". A failed export is tried again 5 seconds later; after three failures in the life of a process, each with
 * its pause, nothing is exported any more: the call that meets them blocks for 15 seconds.
 * @return the usage logger's status as system() gives it, whatever became of the logs; 9 out of memory
 */
s32 OxaAutoUpdateLogtoOSKS(void);

#ifdef __cplusplus
}
#endif

#endif
