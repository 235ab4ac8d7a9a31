/** @file OxaAutoUpdateLinuxPackage.cpp  Fetches the files of the update package, as its manifest names them. */
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

constexpr char kManifest[] = "sha256sum";

using Name = astring* StructOxaPloxPackage::*;

constexpr struct {
    Name        name;
    const char* preset;
} kFixedNames[] = {
    {&StructOxaPloxPackage::pPackagexml, "package.xml"},
    {&StructOxaPloxPackage::pSHA256file, kManifest},
    {&StructOxaPloxPackage::pZelmarPubKey, "RPM-GPG-KEY-zelmar"},
    {&StructOxaPloxPackage::pLinuxInstallScript, "OXA_Lx.sh"},
    {&StructOxaPloxPackage::pWindowsInstallScript, "OXA_Win.bat"},
};
constexpr Name kBeforeManifest[]  = {&StructOxaPloxPackage::pPackagexml, &StructOxaPloxPackage::pSHA256file};
constexpr Name kForThisSystem[]   = {&StructOxaPloxPackage::pZelmarPubKey, &StructOxaPloxPackage::pLinuxUpdatePkg,
                                     &StructOxaPloxPackage::pLinuxSignFile};
constexpr Name kForOtherSystems[] = {
    &StructOxaPloxPackage::pWindowsUpdatePkg, &StructOxaPloxPackage::pWindowsNanoUpdatePkg,
    &StructOxaPloxPackage::pLinuxInstallScript, &StructOxaPloxPackage::pWindowsInstallScript};

struct PackageGivenBack {
    void operator()(StructOxaPloxPackage* package) const noexcept
    {
        for (astring* name : {package->pPackagexml, package->pSHA256file, package->pZelmarPubKey,
                              package->pWindowsUpdatePkg, package->pWindowsNanoUpdatePkg, package->pLinuxUpdatePkg,
                              package->pLinuxSignFile, package->pLinuxInstallScript, package->pWindowsInstallScript})
            SMFreeMem(name);
        SMFreeMem(package);
    }
};
using Package = std::unique_ptr<StructOxaPloxPackage, PackageGivenBack>;

/** A record with the names that every package has; empty when memory is out. */
Package newPackage() noexcept
{
    Package package(static_cast<StructOxaPloxPackage*>(SMAllocMem(sizeof(StructOxaPloxPackage))));
    if (!package) return nullptr;
    *package = {};
    for (const auto& fixed : kFixedNames)
        if (SmOwned<astring> preset = smCopy(fixed.preset))
            (*package).*fixed.name = preset.release();
        else
            return nullptr;
    return package;
}

class PackageDownload {
public:
    PackageDownload(astring* directory, astring* url, StructOxaPloxPackage& package, OpenOutput open) noexcept
        : directory_(directory), url_(url), package_(package), open_(open)
    {
    }

    s32 fetch(bool everySystem) noexcept
    {
        s32 status = fetchEach(kBeforeManifest);
        if (status == 0) status = readManifest();
        if (status == 0) status = fetchEach(kForThisSystem);
        if (status == 0 && everySystem) status = fetchEach(kForOtherSystems);
        return status;
    }

private:
    template <std::size_t N>
    s32 fetchEach(const Name (&names)[N]) noexcept
    {
        for (const Name name : names) {
            astring* const file = package_.*name;
            if (file == nullptr) continue;
            const s32 status = fetchOne(file);
            if (status == 0) continue;
            __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: download failed with status %d.\n", status);
            return status;
        }
        return 0;
    }

    s32 fetchOne(astring* file) noexcept
    {
        // The manifest comes over an unchecked link: it must not choose where we write.
        if (staysBelow(file)) return downloadFile(directory_, url_, file, open_);
        setReason("the manifest names a file outside the package: %s", file);
        return OXA_UPDATE_NOT_DOWNLOADED;
    }

    s32 readManifest() noexcept
    {
        const SmOwned<astring> path = smFormat("%s/%s", directory_, kManifest);
        if (!path) {
            __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: failed to alloc memory shaLocalPathLenght = null\n");
            return OXA_UPDATE_OUT_OF_MEMORY;
        }
        const s32 status = pasrseSHA256File(path.get(), &package_);
        // A package that a killed run left must not be taken for the one that comes now.
        if (status == 0 && open_ == openPrivate && package_.pLinuxUpdatePkg != nullptr) dropPackages(directory_);
        if (status == 0) return 0;
        __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: pasrsePackageXMFile failed with status %d.\n", status);
        return OXA_UPDATE_NOT_DOWNLOADED;
    }

    astring*              directory_;
    astring*              url_;
    StructOxaPloxPackage& package_;
    OpenOutput            open_;
};

s32 downloadPackage(astring* directory, bool everySystem, OpenOutput open) noexcept
{
    const TraceScope trace("DownloadOxaAutoUpdateFile", kUpdateTrace);
    if (directory == nullptr) {
        __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: pDestTmpDir = null.\n");
        return OXA_UPDATE_FAILED;
    }
    const Package package = newPackage();
    if (!package) {
        __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: failed to alloc memory pkgStruct = null\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    const SmOwned<astring> url = smText(kPathSize);
    if (!url) {
        __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: failed to alloc memory pHttpsUrl = null\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    if (createHTTPSurl(url.get()) != 0) {
        setReason("the BMC does not tell its address or HTTPS port over IPMI");
        __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: create url failed.\n");
        return OXA_UPDATE_FAILED;
    }
    __SysDbgPrint4("[AUFPI]DownloadOxaAutoUpdateFile: URL is %s.\n", url.get());
    return PackageDownload(directory, url.get(), *package, open).fetch(everySystem);
}

s32 downloadForUser(astring* directory) noexcept
{
    static constexpr char op[] = "downloadOxaUpdatePackage";
    forgetReason();
    astring version[APM_VERSION_SIZE]{};
    if (const s32 status = APMDiscoveryGetOxaPloxVersion(version); status != 0) {
        setReason("the BMC does not tell its package version over IPMI");
        __SysDbgPrint3("[AUFPI]%s: APMDiscoveryGetOxaVersion failed with status %d.\n", op, status);
        return OXA_UPDATE_FAILED;
    }
    if (!namesPackage(version)) {
        __SysDbgPrint3("[AUFPI]%s: Oxa Zelmar Update Package  not available on this server.\n", op);
        std::puts("Torvo Service Module KS package is not installed on this server.");
        return OXA_UPDATE_NOTHING_TO_DO;
    }
    if (IsDirExist(directory) != 0 && CreateDirectory(directory, kDirectoryMode) != 0) {
        setReason("the directory %s cannot be made", orEmpty(directory));
        __SysDbgPrint3("[AUFPI]%s: CreateDirectory %s failed.\n", op, orEmpty(directory));
        return OXA_UPDATE_FAILED;
    }
    const s32 status = downloadPackage(directory, true, openForWriting);
    if (status == 0) return 0;
    __SysDbgPrint3("[AUFPI]%s: DownloadOxaAutoUpdateFile failed with status %d.\n", op, status);
    std::printf("Downloading of Torvo Service Module update packages failed with status %d.\n", status);
    return status == OXA_UPDATE_TLS_MISMATCH ? status : OXA_UPDATE_NOT_DOWNLOADED;
}

}  // namespace

s32 downloadOwnPackage(astring* directory) noexcept
{
    return downloadPackage(directory, false, openPrivate);
}

}  // namespace qvrf

extern "C" s32 DownloadOxaAutoUpdateFile(astring* pDestTmpDir, booln downloadFlag)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::downloadPackage(pDestTmpDir, downloadFlag != 0, qvrf::openForWriting);
}

extern "C" s32 downloadOxaUpdatePackage(astring* pDestDir)
{
    const qvrf::TraceScope trace("downloadOxaUpdatePackage", qvrf::kUpdateTrace);
    return qvrf::downloadForUser(pDestDir);
}
