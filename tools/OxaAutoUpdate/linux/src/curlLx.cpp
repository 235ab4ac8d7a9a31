/** @file curlLx.cpp  The one door to libcurl. */
#include "curlLx.h"

#include <fcntl.h>

#include <cstdlib>

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

extern "C" int closeOnExec(void*, curl_socket_t socket, curlsocktype)
{
    fcntl(socket, F_SETFD, FD_CLOEXEC);
    return CURL_SOCKOPT_OK;
}

/**
 * What the machine asks for on top of what the exchange does. The connection is the process's alone: agents start
 * programs while a request is under way.
 */
EasyHandle prepared(const char* op, EasyHandle easy) noexcept
{
    if (!easy || setQuietly(easy.get(), CURLOPT_SOCKOPTFUNCTION, &closeOnExec) != CURLE_OK) return nullptr;
    if (proxyIsSet() && !setOption(op, easy.get(), QVRF_OPT(CURLOPT_NOPROXY), "*")) return nullptr;
    if (parsesBundleInVain()) {
        constexpr const char* kNone = nullptr;
        setOption(op, easy.get(), QVRF_OPT(CURLOPT_CAINFO), kNone);
        setOption(op, easy.get(), QVRF_OPT(CURLOPT_CAPATH), kNone);
    }
    return easy;
}

/** Whether what was kept can be what kept the answer from coming: a connection used again, or a TLS session. */
bool keepingFailed(CURL* easy, CURLcode rc) noexcept
{
    if (rc == CURLE_SSL_CONNECT_ERROR) return true;
    long connections = 0, head = 0;
    return rc != CURLE_OK && rc != CURLE_OPERATION_TIMEDOUT &&
           curl_easy_getinfo(easy, CURLINFO_NUM_CONNECTS, &connections) == CURLE_OK && connections == 0 &&
           curl_easy_getinfo(easy, CURLINFO_HEADER_SIZE, &head) == CURLE_OK && head == 0;
}

}  // namespace

void EasyHandleEnd::operator()(CURL* easy) const noexcept
{
    if (kept != nullptr) return giveKeptHandleBack(kept);
    const PipeSignalHeld held;
    curl_easy_cleanup(easy);
}

HeaderList::~HeaderList()
{
    for (curl_slist* line = list_; line != nullptr; line = line->next) wipe(line->data, std::strlen(line->data));
    curl_slist_free_all(list_);
}

bool HeaderList::append(const char* line) noexcept
{
    curl_slist* longer = curl_slist_append(list_, line);
    if (longer == nullptr) {
        __SysDbgPrint3("[QVRFUTIL] HeaderList: no memory for a request header.\n");
        return false;
    }
    list_ = longer;
    return true;
}

bool holdGlobalState() noexcept
{
    static const CURLcode rc = curl_global_init(CURL_GLOBAL_DEFAULT);
    return rc == CURLE_OK;
}

EasyHandle newEasyHandle(const char* op) noexcept
{
    return prepared(op, EasyHandle(holdGlobalState() ? curl_easy_init() : nullptr));
}

EasyHandle easyHandleForGet(const char* op, const KeptFor& whom) noexcept
{
    KeptHandle* const kept = holdGlobalState() ? takeKeptHandle(whom) : nullptr;
    if (kept == nullptr) return newEasyHandle(op);
    return prepared(op, EasyHandle(kept->easy, EasyHandleEnd{kept}));
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

bool watchHead(CURL* easy, HeadWatch& watch) noexcept
{
    return setQuietly(easy, CURLOPT_HEADERFUNCTION, &HeadWatch::line) == CURLE_OK &&
           setQuietly(easy, CURLOPT_HEADERDATA, &watch) == CURLE_OK;
}

CURLcode performQuietly(CURL* easy) noexcept
{
    const PipeSignalHeld held;
    return curl_easy_perform(easy);
}

CURLcode performQuietly(const EasyHandle& easy) noexcept
{
    const KeptHandle* const kept = easy.get_deleter().kept;
    const CURLcode          rc   = performQuietly(easy.get());
    if (kept == nullptr || !kept->used || !keepingFailed(easy.get(), rc)) return rc;
    if (setQuietly(easy.get(), CURLOPT_FRESH_CONNECT, 1L) != CURLE_OK ||
        setQuietly(easy.get(), CURLOPT_SSL_SESSIONID_CACHE, 0L) != CURLE_OK)
        return rc;
    return performQuietly(easy.get());
}

CURLcode perform(const char* op, const EasyHandle& easy, const char* name) noexcept
{
    const CURLcode rc = performQuietly(easy);
    logOption(op, name, rc);
    return rc;
}

}  // namespace qvrf
