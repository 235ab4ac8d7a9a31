/** @file OxaAutoUpdateLinuxPrepare.cpp  Brings an update from the BMC to the point where its installer can run. */
#include "OxaAutoUpdateLinuxPrepare.h"

#include <cstdio>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxDecide.h"
#include "OxaAutoUpdateLinuxDownload.h"
#include "OxaAutoUpdateLinuxReason.h"
#include "OxaAutoUpdateLinuxTree.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsPaths.h"
#include "OxaAutoUpdateUtilsText.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr std::size_t kInstalledVersionSize = 10;

/* ---- Which update -------------------------------------------------------------------------------------------- */

enum class Offer { noPackage, due, notDue, unknown, outOfMemory };

/** What the BMC's package would be to this host; sets installationType when that is known. */
Offer AutoUpdateOXAVersionCheck() noexcept
{
    static constexpr char op[] = "AutoUpdateOXAVersionCheck";
    const TraceScope      trace(op, kUpdateTrace);
    astring               offered[APM_VERSION_SIZE]{};
    if (const s32 status = APMDiscoveryGetOxaPloxVersion(offered); status != 0) {
        setReason("the BMC does not tell its package version over IPMI");
        __SysDbgPrint3("[AUFPI]%s: APMDiscoveryGetOxaPloxVersion failed with status %d.\n", op, status);
        return Offer::unknown;
    }
    if (!namesPackage(offered)) {
        __SysDbgPrint3("[AUFPI]%s: Oxa Zelmar Update Package  not available on this server.\n", op);
        installationType = kNoInstallation;
        std::puts("Torvo Service Module KS package is not installed on this server.");
        return Offer::noPackage;
    }
    if (*orEmpty(pOXAInstallPath) == '\0') {
        __SysDbgPrint3("[AUFPI]%s: no installation path.\n", op);
        return Offer::unknown;
    }
    const SmOwned<astring> registration = smFormat("%s/%s", pOXAInstallPath, kRegistration);
    const SmOwned<astring> key          = smCopy("OXA.qdilcore.version");
    if (!registration || !key) {
        __SysDbgPrint3("[AUFPI]%s: failed to alloc memory for the registration file's path.\n", op);
        return Offer::outOfMemory;
    }
    astring    installed[kInstalledVersionSize]{};
    const bool isInstalled = FileCheck(registration.get()) == 0;
    if (isInstalled) ParseConfigFile(registration.get(), key.get(), installed);
    if (isInstalled && installed[0] == '\0') {
        __SysDbgPrint3("[AUFPI]%s: Version from OXA config file is 0.\n", op);
        return Offer::unknown;
    }
    const UpdateDecision decision = decideUpdate(offered, isInstalled ? installed : nullptr);
    if (decision.installation == kUpgrade) __SysDbgPrint4("[AUFPI]%s: upgrade Oxa.\n", op);
    if (decision.installation == kDowngrade) __SysDbgPrint4("[AUFPI]%s: downgrade Oxa.\n", op);
    installationType = decision.installation;
    return decision.due ? Offer::due : Offer::notDue;
}

/** @return 0 when the run goes on */
s32 decide(bool force) noexcept
{
    const Offer offer = AutoUpdateOXAVersionCheck();
    if (offer == Offer::outOfMemory) return OXA_UPDATE_OUT_OF_MEMORY;
    if (offer == Offer::noPackage) return OXA_UPDATE_NOTHING_TO_DO;  // nothing to force
    if (offer == Offer::due) {
        __SysDbgPrint4("[AUFPI]PrepareOXAAutoUpdate: OXA Update required.\n");
    } else if (!force) {
        std::puts("Latest version of Torvo Service Module is running on the server.");
        std::puts("Please check Torvo Service Module KS package is up-to-date.");
        return OXA_UPDATE_NOTHING_TO_DO;
    }
    forgetReason();                          // a forced run goes on without it
    if (force) installationType = kInstall;  // a forced run uninstalls first, whatever was there
    return 0;
}

/* ---- The package --------------------------------------------------------------------------------------------- */

/** The directory that the package's files are downloaded to, gone when the preparation ends. */
class DownloadDirectory {
public:
    DownloadDirectory() noexcept : usable_(ownDirectory(path_, kDirectoryMode)) {}
    ~DownloadDirectory()
    {
        if (RemoveDirectory(path_) != 0)
            __SysDbgPrint3("[AUFPI]PrepareOXAAutoUpdate: could not delete %s directory.\n", path_);
    }
    DownloadDirectory(DownloadDirectory&&) = delete;

    s32 fill() noexcept
    {
        std::puts("Downloading of Torvo Service Module packages is in progress.");
        if (!usable_) setReason("the directory %s cannot be made", path_);
        const s32 status = usable_ ? downloadOwnPackage(path_) : OXA_UPDATE_NOT_DOWNLOADED;
        if (status != 0) {
            std::puts("Downloading of Torvo Service Module update packages failed.");
            return status == OXA_UPDATE_TLS_MISMATCH ? status : OXA_UPDATE_NOT_DOWNLOADED;
        }
        std::puts("Downloading of Torvo Service Module packages is completed.");
        return 0;
    }
    const astring* path() const noexcept { return path_; }

private:
    astring path_[sizeof "/tmp/.AutoUpdate"] = "/tmp/.AutoUpdate";
    bool    usable_;
};

struct UpdateFile {
    SmOwned<astring> path;
    SmOwned<astring> name;
};

/** Finds the package among the downloaded files; @p file stays empty when none is there. */
s32 AutoUpdateGetUpdateFile(const astring* directory, UpdateFile& file) noexcept
{
    const TraceScope trace("AutoUpdateGetUpdateFile", kUpdateTrace);
    Directory        entries(::opendir(directory));
    while (const dirent* entry = entries ? ::readdir(entries.get()) : nullptr) {
        const DownloadedFile kind = classify(entry->d_name);
        if (kind == DownloadedFile::otherArchive)
            __SysDbgPrint3("[AUFPI]AutoUpdateGetUpdateFile: Not able to find the linux update file.\n");
        if (kind != DownloadedFile::package) continue;
        file.path = smFormat("%s/%s", directory, entry->d_name);
        file.name = smCopy(entry->d_name);
        if (file.path && file.name) continue;
        __SysDbgPrint3("[AUFPI]AutoUpdateGetUpdateFile: failed to alloc memory for the update file's name.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    if (entries && ::closedir(entries.release()) == 0) return 0;
    __SysDbgPrint3("[AUFPI]PrepareOXAAutoUpdate: Unable to get the update files.\n");
    return OXA_UPDATE_FAILED;
}

s32 verify(const astring* directory, const UpdateFile& file) noexcept
{
    std::puts("Signature verification is in progress.");
    if (!file.path) {  // nothing that a signature could vouch for
        setReason("the manifest names no package for Linux");
        __SysDbgPrint3("[AUFPI]PrepareOXAAutoUpdate: the manifest names no package for Linux.\n");
    }
    const s32 status = file.path ? Signaturevalidate(directory, file.path.get()) : OXA_UPDATE_FAILED;
    if (status != 0) {
        std::printf("Signature verification failed with status %d.\n", status);
        return OXA_UPDATE_BAD_SIGNATURE;
    }
    std::puts("Signature verification was successful.");
    return 0;
}

s32 AutoUpdateCreateTmpDir(astring* staging) noexcept
{
    const TraceScope trace("AutoUpdateCreateTmpDir", kUpdateTrace);
    bool             room = true;
    if (IsDirExist(staging) == 0) {
        __SysDbgPrint4("[AUFPI]AutoUpdateCreateTmpDir: Deleteing the temp dir before creating.\n");
        room = RemoveDirectory(staging) == 0;
    }
    if (room && CreateDirectory(staging, kDirectoryMode) == 0) return 0;
    setReason("the directory %s cannot be made", staging);
    __SysDbgPrint3("[AUFPI]AutoUpdateCreateTmpDir: the directory %s cannot be made.\n", staging);
    return OXA_UPDATE_FAILED;
}

s32 extract(const UpdateFile& file, astring* staging) noexcept
{
    if (const s32 status = ExtractFile(file.path.get(), staging); status != 0) {
        setReason("the package cannot be unpacked");
        __SysDbgPrint3("[AUFPI]PrepareOXAAutoUpdate: Extraction of linux package failed with status %d.\n", status);
        return OXA_UPDATE_FAILED;
    }
    __SysDbgPrint4("[AUFPI]PrepareOXAAutoUpdate: Linux update package file %s Extracted successfully.\n",
                   file.name.get());
    return 0;
}

s32 fetchAndStage(astring* staging) noexcept
{
    DownloadDirectory downloads;
    UpdateFile        file;
    s32               status = downloads.fill();
    if (status == 0) status = AutoUpdateGetUpdateFile(downloads.path(), file);
    if (status == 0) status = verify(downloads.path(), file);
    if (status == 0) status = AutoUpdateCreateTmpDir(staging);
    if (status == 0) status = extract(file, staging);
    return status;
}

s32 outOfMemory() noexcept
{
    __SysDbgPrint3("[AUFPI]PrepareOXAAutoUpdate: failed to alloc memory pLockFile = null.\n");
    return OXA_UPDATE_OUT_OF_MEMORY;
}

s32 prepareUpdate(bool force, astring* staging) noexcept
{
    forgetReason();
    if (staging == nullptr) {
        __SysDbgPrint3("[AUFPI]PrepareOXAAutoUpdate: no staging directory.\n");
        return OXA_UPDATE_FAILED;
    }
    const SmOwned<astring> directory = knowInstallPath() ? smCopy(installDirectory()) : nullptr;
    if (!directory) return outOfMemory();
    if (IsDirExist(directory.get()) != 0) CreateDirectory(directory.get(), kDirectoryMode);
    const SmOwned<astring> lockFile = smFormat("%s/%s", directory.get(), kLockFile);
    if (!lockFile) return outOfMemory();
    if (!AutoUpdateCheckForAnotherInstance(lockFile.get())) return OXA_UPDATE_ANOTHER_INSTANCE;
    if (const s32 status = decide(force); status != 0) return status;
    return fetchAndStage(staging);
}

}  // namespace
}  // namespace qvrf

extern "C" s32 PrepareOXAAutoUpdate(booln forceFlag, astring* pTempDir)
{
    const qvrf::TraceScope trace("PrepareOXAAutoUpdate", qvrf::kUpdateTrace);
    return qvrf::prepareUpdate(forceFlag != 0, pTempDir);
}
