/** @file OxaAutoUpdateLinuxDownload.cpp  Fetches the update package's files from the BMC. */
#include <cstdio>
#include <utility>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxDecide.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsText.h"
#include "curlLx.h"
#include "qvisocppsecurecompat.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr s32 kFailure     = 1;
constexpr s32 kNoPackage   = 2;
constexpr s32 kNotLoaded   = 5;
constexpr s32 kNoMemory    = 9;
constexpr s32 kTlsMismatch = 1001;

constexpr u32    kUrlSize         = 4096;
constexpr int    kTextBound       = 4096;
constexpr mode_t kDirectoryMode   = 0755;
constexpr long   kTransferSeconds = 10;

constexpr char kManifest[] = "sha256sum";

/* ---- One file ------------------------------------------------------------------------------------------------ */

/** libcurl's global state for one transfer. The reference that newEasyHandle holds keeps other transfers' state. */
class GlobalState {
public:
    GlobalState() noexcept
    {
        holdGlobalState();
        rc_ = curl_global_init(CURL_GLOBAL_ALL);
    }
    ~GlobalState()
    {
        if (rc_ == CURLE_OK) curl_global_cleanup();
    }
    GlobalState(GlobalState&&) = delete;
    CURLcode status() const noexcept { return rc_; }

private:
    CURLcode rc_;
};

template <class V>
bool set(CURL* easy, CURLoption option, const char* name, V value) noexcept
{
    static_assert(std::is_same_v<V, long> || std::is_pointer_v<V>, "libcurl takes numbers as long: write 0L, not 0");
    const CURLcode rc = curl_easy_setopt(easy, option, value);
    if (rc != CURLE_OK) __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: %s failed with err %d.\n", name, rc);
    return rc == CURLE_OK;
}

/** What is on the other end of the host-to-BMC link is known, so nobody checks its certificate. */
bool prepare(CURL* easy, const astring* url) noexcept
{
    return set(easy, CURLOPT_SSL_VERIFYPEER, "CURLOPT_SSL_VERIFYPEER", 0L) &&
           set(easy, CURLOPT_SSL_VERIFYHOST, "CURLOPT_SSL_VERIFYHOST", 0L) &&
           set(easy, CURLOPT_FAILONERROR, "URL", 1L) && set(easy, CURLOPT_TIMEOUT, "URL", kTransferSeconds) &&
           set(easy, CURLOPT_URL, "URL", url);
}

bool open(File& file, const astring* path) noexcept
{
    std::FILE* opened = nullptr;
    if (fopen_s(&opened, path, "we") != 0) {
        __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: file %s open failed.\n", path);
        return false;
    }
    file.reset(opened);
    return true;
}

s32 transfer(const astring* url, const astring* path, File& file) noexcept
{
    const GlobalState global;
    if (global.status() != CURLE_OK) {
        __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: curl_global_init failed with err %d.\n", global.status());
        return kFailure;
    }
    const EasyHandle easy(curl_easy_init());
    if (!easy) {
        __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: curl init failed.\n");
        return kFailure;
    }
    if (!prepare(easy.get(), url) || !open(file, path) ||
        !set(easy.get(), CURLOPT_WRITEDATA, "WRITE_DATA", static_cast<void*>(file.get())))
        return kFailure;

    const CURLcode rc = performQuietly(easy.get());
    if (rc == CURLE_OK) return 0;
    if (rc == CURLE_SSL_CONNECT_ERROR) {
        __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: TLS version mismatch between OS and Torvo.\n");
        return kTlsMismatch;
    }
    __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: curl_easy_perform() failed: %s.\n", curl_easy_strerror(rc));
    return kFailure;
}

s32 fetch(const astring* url, const astring* path) noexcept
{
    const TraceScope trace("DownloadFileFromTorvo", kUpdateTrace);
    File             file;
    const s32        status = transfer(url, path, file);
    if (file == nullptr || std::fclose(file.release()) == 0 || status != 0) return status;
    // The last bytes are written only now: on a full disk the file is short although the transfer was whole.
    __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: file %s could not be written.\n", path);
    return kFailure;
}

s32 download(const astring* directory, const astring* baseUrl, const astring* name) noexcept
{
    if (directory == nullptr || baseUrl == nullptr || name == nullptr) {
        __SysDbgPrint3("[AUFPI]DownloadHTTPSFile: an argument is null.\n");
        return kNotLoaded;
    }
    const SmOwned<astring> url = smFormat("%.*s/%.*s", kTextBound, baseUrl, kTextBound, name);
    if (!url) {
        __SysDbgPrint3("[AUFPI]DownloadHTTPSFile: allocation failed downloadUrl = null.\n");
        return kNoMemory;
    }
    __SysDbgPrint4("[AUFPI]DownloadHTTPSFile: downloadUrl %s.\n", url.get());
    const SmOwned<astring> path = smFormat("%.*s/%.*s", kTextBound, directory, kTextBound, name);
    if (!path) {
        __SysDbgPrint3("[AUFPI]DownloadHTTPSFile: failed to alloc memory tmpFileName = null.\n");
        return kNoMemory;
    }
    const s32 status = fetch(url.get(), path.get());
    if (status == 0) return 0;
    __SysDbgPrint3("[AUFPI]DownloadHTTPSFile: DownloadFileFromTorvo failed with status %d.\n", status);
    return status == kTlsMismatch ? status : kNotLoaded;
}

/* ---- The package --------------------------------------------------------------------------------------------- */

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
    PackageDownload(astring* directory, astring* url, StructOxaPloxPackage& package) noexcept
        : directory_(directory), url_(url), package_(package)
    {
    }

    s32 run(bool everySystem) noexcept
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
            // The manifest comes over an unchecked link: it must not choose where we write.
            const s32 status = staysBelow(file) ? DownloadHTTPSFile(directory_, url_, file) : kNotLoaded;
            if (status == 0) continue;
            __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: download failed with status %d.\n", status);
            return status;
        }
        return 0;
    }

    s32 readManifest() noexcept
    {
        const SmOwned<astring> path = smFormat("%s/%s", directory_, kManifest);
        if (!path) {
            __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: failed to alloc memory shaLocalPathLenght = null\n");
            return kNoMemory;
        }
        const s32 status = pasrseSHA256File(path.get(), &package_);
        if (status == 0) return 0;
        __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: pasrsePackageXMFile failed with status %d.\n", status);
        return kNotLoaded;
    }

    astring*              directory_;
    astring*              url_;
    StructOxaPloxPackage& package_;
};

s32 downloadPackage(astring* directory, bool everySystem) noexcept
{
    if (directory == nullptr) {
        __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: pDestTmpDir = null.\n");
        return kFailure;
    }
    const Package package = newPackage();
    if (!package) {
        __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: failed to alloc memory pkgStruct = null\n");
        return kNoMemory;
    }
    const SmOwned<astring> url = smText(kUrlSize);
    if (!url) {
        __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: failed to alloc memory pHttpsUrl = null\n");
        return kNoMemory;
    }
    if (createHTTPSurl(url.get()) != 0) {
        __SysDbgPrint3("[AUFPI]DownloadOxaAutoUpdateFile: create url failed.\n");
        return kFailure;
    }
    __SysDbgPrint4("[AUFPI]DownloadOxaAutoUpdateFile: URL is %s.\n", url.get());
    return PackageDownload(directory, url.get(), *package).run(everySystem);
}

s32 downloadForUser(astring* directory) noexcept
{
    static constexpr char op[] = "downloadOxaUpdatePackage";
    astring               version[APM_VERSION_SIZE]{};
    if (const s32 status = APMDiscoveryGetOxaPloxVersion(version); status != 0) {
        __SysDbgPrint3("[AUFPI]%s: APMDiscoveryGetOxaVersion failed with status %d.\n", op, status);
        return kFailure;
    }
    if (!namesPackage(version)) {
        __SysDbgPrint3("[AUFPI]%s: Oxa Zelmar Update Package  not available on this server.\n", op);
        std::puts("Torvo Service Module KS package is not installed on this server.");
        return kNoPackage;
    }
    if (IsDirExist(directory) != 0 && CreateDirectory(directory, kDirectoryMode) != 0) {
        __SysDbgPrint3("[AUFPI]%s: CreateDirectory %s failed.\n", op, orEmpty(directory));
        return kFailure;
    }
    const s32 status = DownloadOxaAutoUpdateFile(directory, 1);
    if (status == 0) return 0;
    __SysDbgPrint3("[AUFPI]%s: DownloadOxaAutoUpdateFile failed with status %d.\n", op, status);
    std::printf("Downloading of Torvo Service Module update packages failed with status %d.\n", status);
    return status == kTlsMismatch ? status : kNotLoaded;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 DownloadHTTPSFile(astring* pDestTmpDir, astring* pHttpsUrl, astring* pDownloadFile)
{
    const qvrf::TraceScope trace("DownloadHTTPSFile", qvrf::kUpdateTrace);
    return qvrf::download(pDestTmpDir, pHttpsUrl, pDownloadFile);
}

extern "C" s32 DownloadOxaAutoUpdateFile(astring* pDestTmpDir, booln downloadFlag)
{
    const qvrf::TraceScope trace("DownloadOxaAutoUpdateFile", qvrf::kUpdateTrace);
    return qvrf::downloadPackage(pDestTmpDir, downloadFlag != 0);
}

extern "C" s32 downloadOxaUpdatePackage(astring* pDestDir)
{
    const qvrf::TraceScope trace("downloadOxaUpdatePackage", qvrf::kUpdateTrace);
    return qvrf::downloadForUser(pDestDir);
}
