/** @file curlLx.cpp  The one door to libcurl. */
#include "curlLx.h"

#include <atomic>
#include <cstdlib>
#include <mutex>

#pragma weak curl_easy_header  // libcurl 7.83 and newer

namespace qvrf {
namespace {

/** libcurl before 7.80 reads and parses the CA bundle for each new handle even when nothing is verified. */
bool parsesBundleInVain() noexcept
{
    constexpr unsigned kCachesBundle = 0x075000;  // 7.80.0
    static const bool  slow          = curl_version_info(CURLVERSION_NOW)->version_num < kCachesBundle;
    return slow;
}

/**
 * The environment of whoever runs this process must not send tokens through a proxy: the BMC stands on a link of this
 * server. These are the variables that libcurl looks at for HTTPS.
 */
bool proxyIsSet() noexcept
{
    for (const char* name : {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
        if (const char* const value = std::getenv(name); value != nullptr && *value != '\0') return true;
    return false;
}

/** No certificate is verified here, so libcurl need not read the bundle of authorities, which takes milliseconds. */
void leaveBundleAlone(const char* op, CURL* easy) noexcept
{
    constexpr const char* kNone = nullptr;
    setOption(op, easy, QVRF_OPT(CURLOPT_CAINFO), kNone);
    setOption(op, easy, QVRF_OPT(CURLOPT_CAPATH), kNone);
}

/** Whether the transfer may have failed because of what was kept: a connection used again, or a TLS session. */
bool keepingFailed(CURL* easy, CURLcode rc) noexcept
{
    if (rc == CURLE_SSL_CONNECT_ERROR) return true;
    long connections = 0, head = 0;
    return rc != CURLE_OK && rc != CURLE_OPERATION_TIMEDOUT &&
           curl_easy_getinfo(easy, CURLINFO_NUM_CONNECTS, &connections) == CURLE_OK && connections == 0 &&
           curl_easy_getinfo(easy, CURLINFO_HEADER_SIZE, &head) == CURLE_OK && head == 0;
}

/** Starts from nothing that was kept, within @p left milliseconds. */
bool setFreshStart(CURL* easy, long left) noexcept
{
    return setQuietly(easy, CURLOPT_FRESH_CONNECT, 1L) == CURLE_OK &&
           setQuietly(easy, CURLOPT_SSL_SESSIONID_CACHE, 0L) == CURLE_OK &&
           setQuietly(easy, CURLOPT_TIMEOUT_MS, left) == CURLE_OK;
}

bool mayHaveBody(long status) noexcept
{
    return status != 204 && status != 304;
}

/** False where libcurl is too old to tell. */
bool isChunked(CURL* easy) noexcept
{
#if LIBCURL_VERSION_NUM >= 0x075300
    curl_header* header = nullptr;
    return curl_easy_header != nullptr &&
           curl_easy_header(easy, "Transfer-Encoding", 0, CURLH_HEADER, -1, &header) == CURLHE_OK;
#else
    static_cast<void>(easy);
    return false;
#endif
}

}  // namespace

void EasyHandleEnd::operator()(CURL* easy) const noexcept
{
    if (kept != nullptr) return giveKeptHandleBack(kept);
    const PipeSignalHeld held;
    curl_easy_cleanup(easy);
}

void HeaderList::clear() noexcept
{
    if (list_ == nullptr) return;
    for (curl_slist* line = list_; line != nullptr; line = line->next) wipe(line->data, std::strlen(line->data));
    curl_slist_free_all(std::exchange(list_, nullptr));
}

bool HeaderList::append(const char* op, const char* line) noexcept
{
    curl_slist* longer = curl_slist_append(list_, line);
    if (longer == nullptr) {
        __SysDbgPrint3("%s: no memory for a request header.\n", op);
        return false;
    }
    list_ = longer;
    return true;
}

bool holdGlobalState() noexcept
{
    static std::atomic<bool> held{false};
    static std::mutex        guard;
    if (held) return true;
    const std::lock_guard<std::mutex> lock(guard);
    if (!held) held = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return held;
}

EasyHandle newEasyHandle() noexcept
{
    return EasyHandle(holdGlobalState() ? curl_easy_init() : nullptr);
}

EasyHandle easyHandleForGet(const KeptFor& whom) noexcept
{
    if (!holdGlobalState()) return EasyHandle();
    KeptHandle* const kept = takeKeptHandle(whom);
    return kept != nullptr ? EasyHandle(kept->easy, EasyHandleEnd{kept}) : newEasyHandle();
}

bool leadToBmc(const char* op, CURL* easy, const char* address) noexcept
{
    if (proxyIsSet() && !setOption(op, easy, QVRF_OPT(CURLOPT_NOPROXY), "*")) return false;
    if (parsesBundleInVain()) leaveBundleAlone(op, easy);
    scopeLinkLocal(op, easy, address);
    return true;
}

void logOption(const char* op, const char* name, CURLcode rc) noexcept
{
    if (rc == CURLE_OK)
        __SysDbgPrint4("%s: The curl API set %s succeeded.\n", op, name);
    else
        __SysDbgPrint3("%s: The curl API set %s failed with %d.\n", op, name, rc);
}

CURLcode responseCode(CURL* easy, long& code) noexcept
{
    return curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &code);
}

bool endedInHead(CURL* easy) noexcept
{
    curl_off_t length = 0;
    long       status = 0;
    return curl_easy_getinfo(easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) == CURLE_OK && length == -1 &&
           responseCode(easy, status) == CURLE_OK && mayHaveBody(status) && !isChunked(easy);
}

bool endedInHead(CURL* easy, std::FILE* body) noexcept
{
    curl_off_t received = 0;
    return std::ftell(body) <= 0 &&  // -1: a pipe
           curl_easy_getinfo(easy, CURLINFO_SIZE_DOWNLOAD_T, &received) == CURLE_OK && received == 0 &&
           endedInHead(easy);
}

CURLcode performQuietly(CURL* easy) noexcept
{
    const PipeSignalHeld held;
    return curl_easy_perform(easy);
}

CURLcode performQuietly(const EasyHandle& easy, std::chrono::seconds limit) noexcept
{
    using Clock                  = std::chrono::steady_clock;
    const auto              end  = Clock::now() + limit;
    const KeptHandle* const kept = easy.get_deleter().kept;
    if (kept == nullptr) return performQuietly(easy.get());
    const PipeSignalBlocked blocked;
    const CURLcode          rc = curl_easy_perform(easy.get());
    if (!kept->used || !keepingFailed(easy.get(), rc)) return rc;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return left > 0 && setFreshStart(easy.get(), left) ? curl_easy_perform(easy.get()) : rc;
}

CURLcode perform(const char* op, const EasyHandle& easy, std::chrono::seconds limit, const char* name) noexcept
{
    const CURLcode rc = performQuietly(easy, limit);
    logOption(op, name, rc);
    return rc;
}

}  // namespace qvrf
