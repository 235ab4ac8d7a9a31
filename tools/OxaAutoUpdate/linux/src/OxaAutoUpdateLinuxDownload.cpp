/** @file OxaAutoUpdateLinuxDownload.cpp  Fetches the update package's files from the BMC. */
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxDecide.h"
#include "OxaAutoUpdateLinuxOutput.h"
#include "OxaAutoUpdateLinuxPrepare.h"
#include "OxaAutoUpdateLinuxReason.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsText.h"
#include "curlLx.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr u32         kUrlSize         = 4096;
constexpr std::size_t kTextBound       = 4096;
constexpr mode_t      kDirectoryMode   = 0755;
constexpr long        kTransferSeconds = 10;

constexpr char kManifest[] = "sha256sum";

/* ---- One file ------------------------------------------------------------------------------------------------ */

struct Listener {
    OXADownloadProgress call    = nullptr;
    void*               context = nullptr;
};
Listener g_listener;

/** libcurl's global state for one transfer. */
class GlobalState {
public:
    GlobalState() noexcept : rc_(curl_global_init(CURL_GLOBAL_ALL)) {}
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
    const CURLcode rc = setQuietly(easy, option, value);
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

/** How the file is opened that an answer goes to. */
using OpenOutput = File (*)(const char* path) noexcept;

bool opened(File& file, const astring* path, OpenOutput open) noexcept
{
    file = open(path);
    if (file != nullptr) return true;
    setReason("%s cannot be written: %s", path, std::strerror(errno));
    __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: file %s open failed.\n", path);
    return false;
}

/** The part of a path or an address behind its last '/'. */
const astring* lastName(const astring* path) noexcept
{
    const astring* const slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

int reportProgress(void* url, curl_off_t total, curl_off_t now, curl_off_t, curl_off_t) noexcept
{
    g_listener.call(lastName(static_cast<const astring*>(url)), static_cast<u64>(now), static_cast<u64>(total),
                    g_listener.context);
    return 0;
}

/** Nothing more is asked of libcurl where nobody listens. */
bool listen(CURL* easy, const astring* url) noexcept
{
    if (g_listener.call == nullptr) return true;
    return set(easy, CURLOPT_XFERINFOFUNCTION, "XFERINFOFUNCTION", &reportProgress) &&
           set(easy, CURLOPT_XFERINFODATA, "XFERINFODATA", const_cast<astring*>(url)) &&
           set(easy, CURLOPT_NOPROGRESS, "NOPROGRESS", 0L);
}

void keepReason(CURL* easy, CURLcode rc, const astring* url) noexcept
{
    long status = 0;
    if (rc == CURLE_HTTP_RETURNED_ERROR && responseCode(easy, status) == CURLE_OK)
        setReason("%s: the BMC answers with HTTP status %ld", lastName(url), status);
    else if (rc == CURLE_OPERATION_TIMEDOUT)
        setReason("%s: not there within %ld seconds, the limit for each file", lastName(url), kTransferSeconds);
    else
        setReason("%s: %s", lastName(url), curl_easy_strerror(rc));
}

s32 checkWhole(CURL* easy, const astring* url, std::FILE* file) noexcept
{
    if (!endedInHead(easy, file)) return 0;
    setReason("%s: the BMC's answer ended among its header lines", lastName(url));
    __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: the answer ended among its header lines.\n");
    return OXA_UPDATE_FAILED;
}

s32 transfer(const astring* url, const astring* path, OpenOutput open, File& file) noexcept
{
    const GlobalState global;
    if (global.status() != CURLE_OK) {
        __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: curl_global_init failed with err %d.\n", global.status());
        return OXA_UPDATE_FAILED;
    }
    const EasyHandle easy(curl_easy_init());  // on that state alone: others take their own
    if (!easy) {
        __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: curl init failed.\n");
        return OXA_UPDATE_FAILED;
    }
    if (!leadToBmc("DownloadFileFromTorvo", easy.get(), nullptr) || !prepare(easy.get(), url) ||
        !opened(file, path, open) ||
        !set(easy.get(), CURLOPT_WRITEDATA, "WRITE_DATA", static_cast<void*>(file.get())) || !listen(easy.get(), url))
        return OXA_UPDATE_FAILED;

    const CURLcode rc = performQuietly(easy.get());
    if (g_listener.call != nullptr) g_listener.call(nullptr, 0, 0, g_listener.context);
    if (rc == CURLE_OK) return checkWhole(easy.get(), url, file.get());
    keepReason(easy.get(), rc, url);
    if (rc == CURLE_SSL_CONNECT_ERROR) {
        __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: TLS version mismatch between OS and Torvo.\n");
        return OXA_UPDATE_TLS_MISMATCH;
    }
    __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: curl_easy_perform() failed: %s.\n", curl_easy_strerror(rc));
    return OXA_UPDATE_FAILED;
}

s32 DownloadFileFromTorvo(const astring* url, const astring* path, OpenOutput open) noexcept
{
    const TraceScope trace("DownloadFileFromTorvo", kUpdateTrace);
    File             file;
    const s32        status = transfer(url, path, open, file);
    if (file == nullptr || std::fclose(file.release()) == 0 || status != 0) return status;
    // The last bytes are written only now: on a full disk the file is short although the transfer was whole.
    setReason("%s could not be written: %s", path, std::strerror(errno));
    __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: file %s could not be written.\n", path);
    return OXA_UPDATE_FAILED;
}

bool isWithinBound(const astring* text) noexcept
{
    return ::strnlen(text, kTextBound + 1) <= kTextBound;
}

s32 download(const astring* directory, const astring* baseUrl, const astring* name, OpenOutput open) noexcept
{
    const TraceScope trace("DownloadHTTPSFile", kUpdateTrace);
    if (directory == nullptr || baseUrl == nullptr || name == nullptr) {
        __SysDbgPrint3("[AUFPI]DownloadHTTPSFile: an argument is null.\n");
        return OXA_UPDATE_NOT_DOWNLOADED;
    }
    if (!isWithinBound(directory) || !isWithinBound(baseUrl) || !isWithinBound(name)) {
        setReason("an address or a path is longer than %zu characters", kTextBound);
        __SysDbgPrint3("[AUFPI]DownloadHTTPSFile: an argument is longer than %zu characters.\n", kTextBound);
        return OXA_UPDATE_NOT_DOWNLOADED;
    }
    const SmOwned<astring> url = smFormat("%s/%s", baseUrl, name);
    if (!url) {
        __SysDbgPrint3("[AUFPI]DownloadHTTPSFile: allocation failed downloadUrl = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    __SysDbgPrint4("[AUFPI]DownloadHTTPSFile: downloadUrl %s.\n", url.get());
    const SmOwned<astring> path = smFormat("%s/%s", directory, name);
    if (!path) {
        __SysDbgPrint3("[AUFPI]DownloadHTTPSFile: failed to alloc memory tmpFileName = null.\n");
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    const s32 status = DownloadFileFromTorvo(url.get(), path.get(), open);
    if (status == 0) return 0;
    __SysDbgPrint3("[AUFPI]DownloadHTTPSFile: DownloadFileFromTorvo failed with status %d.\n", status);
    return status == OXA_UPDATE_TLS_MISMATCH ? status : OXA_UPDATE_NOT_DOWNLOADED;
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
    PackageDownload(astring* directory, astring* url, StructOxaPloxPackage& package, OpenOutput open) noexcept
        : directory_(directory), url_(url), package_(package), open_(open)
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
        if (staysBelow(file)) return download(directory_, url_, file, open_);
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
    const SmOwned<astring> url = smText(kUrlSize);
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
    return PackageDownload(directory, url.get(), *package, open).run(everySystem);
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

extern "C" s32 DownloadHTTPSFile(astring* pDestTmpDir, astring* pHttpsUrl, astring* pDownloadFile)
{
    return qvrf::download(pDestTmpDir, pHttpsUrl, pDownloadFile, qvrf::openForWriting);
}

extern "C" s32 DownloadOxaAutoUpdateFile(astring* pDestTmpDir, booln downloadFlag)
{
    return qvrf::downloadPackage(pDestTmpDir, downloadFlag != 0, qvrf::openForWriting);
}

extern "C" s32 downloadOxaUpdatePackage(astring* pDestDir)
{
    const qvrf::TraceScope trace("downloadOxaUpdatePackage", qvrf::kUpdateTrace);
    return qvrf::downloadForUser(pDestDir);
}

extern "C" void OXAAutoUpdateOnProgress(OXADownloadProgress pCallback, void* pContext)
{
    const qvrf::TraceScope trace("OXAAutoUpdateOnProgress", qvrf::kUpdateTrace);
    qvrf::g_listener = {pCallback, pContext};
}
