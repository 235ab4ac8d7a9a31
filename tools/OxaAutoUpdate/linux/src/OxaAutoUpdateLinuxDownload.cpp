/** @file OxaAutoUpdateLinuxDownload.cpp  Fetches one file from the BMC. */
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxDownload.h"
#include "OxaAutoUpdateLinuxReason.h"
#include "OxaAutoUpdateUtilsText.h"
#include "curlLx.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr std::size_t kTextBound       = 4096;
constexpr long        kTransferSeconds = 10;

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
bool setLogged(CURL* easy, CURLoption option, const char* name, V value) noexcept
{
    const CURLcode rc = setQuietly(easy, option, value);
    if (rc != CURLE_OK) __SysDbgPrint3("[AUFPI]DownloadFileFromTorvo: %s failed with err %d.\n", name, rc);
    return rc == CURLE_OK;
}

/**
 * What is on the other end of the host-to-BMC link is known, so nobody checks its certificate. All but the checks are
 * logged as "URL", which readers of the log search for.
 */
bool prepare(CURL* easy, const astring* url) noexcept
{
    return setLogged(easy, CURLOPT_SSL_VERIFYPEER, "CURLOPT_SSL_VERIFYPEER", 0L) &&
           setLogged(easy, CURLOPT_SSL_VERIFYHOST, "CURLOPT_SSL_VERIFYHOST", 0L) &&
           setLogged(easy, CURLOPT_FAILONERROR, "URL", 1L) &&
           setLogged(easy, CURLOPT_TIMEOUT, "URL", kTransferSeconds) && setLogged(easy, CURLOPT_URL, "URL", url);
}

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
bool tellListener(CURL* easy, const astring* url) noexcept
{
    if (g_listener.call == nullptr) return true;
    return setLogged(easy, CURLOPT_XFERINFOFUNCTION, "XFERINFOFUNCTION", &reportProgress) &&
           setLogged(easy, CURLOPT_XFERINFODATA, "XFERINFODATA", const_cast<astring*>(url)) &&
           setLogged(easy, CURLOPT_NOPROGRESS, "NOPROGRESS", 0L);
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
        !setLogged(easy.get(), CURLOPT_WRITEDATA, "WRITE_DATA", static_cast<void*>(file.get())) ||
        !tellListener(easy.get(), url))
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

}  // namespace

s32 downloadFile(const astring* directory, const astring* baseUrl, const astring* name, OpenOutput open) noexcept
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

}  // namespace qvrf

extern "C" s32 DownloadHTTPSFile(astring* pDestTmpDir, astring* pHttpsUrl, astring* pDownloadFile)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::downloadFile(pDestTmpDir, pHttpsUrl, pDownloadFile, qvrf::openForWriting);
}

extern "C" void OXAAutoUpdateOnProgress(OXADownloadProgress pCallback, void* pContext)
{
    const qvrf::TraceScope trace("OXAAutoUpdateOnProgress", qvrf::kUpdateTrace);
    qvrf::g_listener = {pCallback, pContext};
}
