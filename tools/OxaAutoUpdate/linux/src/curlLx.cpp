/** @file curlLx.cpp  The one door to libcurl. */
#include "curlLx.h"

#include <cerrno>
#include <ctime>

namespace qvrf {
namespace {

/** libcurl before 7.80 reads and parses the CA bundle for each new handle even when nothing is verified. */
bool parsesBundleInVain() noexcept
{
    constexpr unsigned kCachesBundle = 0x075000;  // 7.80.0
    static const bool  slow          = curl_version_info(CURLVERSION_NOW)->version_num < kCachesBundle;
    return slow;
}

}  // namespace

HeaderList::~HeaderList()
{
    for (curl_slist* line = list_; line != nullptr; line = line->next) wipe(line->data, std::strlen(line->data));
    curl_slist_free_all(list_);
}

bool HeaderList::append(const char* line) noexcept
{
    curl_slist* longer = curl_slist_append(list_, line);
    if (longer == nullptr) return false;
    list_ = longer;
    return true;
}

Received::~Received()
{
    if (secret_ && pResponse != nullptr) wipe(pResponse, responseSize);
    std::free(pResponse);
}

bool append(QVRFUTIL_REDFISH_RESPONSE_RECEIVED& to, const void* bytes, std::size_t n) noexcept
{
    if (n > SIZE_MAX - 1 - to.responseSize) return false;
    void* larger = std::realloc(to.pResponse, to.responseSize + n + 1);
    if (larger == nullptr) return false;
    to.pResponse = static_cast<astring*>(larger);
    if (n != 0) std::memcpy(to.pResponse + to.responseSize, bytes, n);
    to.responseSize += n;
    return true;
}

bool holdGlobalState() noexcept
{
    static const CURLcode rc = curl_global_init(CURL_GLOBAL_DEFAULT);
    return rc == CURLE_OK;
}

EasyHandle newEasyHandle(const char* op) noexcept
{
    EasyHandle easy(holdGlobalState() ? curl_easy_init() : nullptr);
    if (easy && parsesBundleInVain()) {
        constexpr const char* kNone = nullptr;
        setOption(op, easy.get(), QVRF_OPT(CURLOPT_CAINFO), kNone);
        setOption(op, easy.get(), QVRF_OPT(CURLOPT_CAPATH), kNone);
    }
    return easy;
}

void logOption(const char* op, const char* name, CURLcode rc) noexcept
{
    if (rc == CURLE_OK)
        __SysDbgPrint4("%s: The curl API set %s succeeded.\n", op, name);
    else
        __SysDbgPrint3("%s: The curl API set %s failed with %d.\n", op, name, rc);
}

bool responseCode(CURL* easy, long& code) noexcept
{
    return curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &code) == CURLE_OK;
}

CURLcode performQuietly(CURL* easy) noexcept
{
    const PipeSignalHeld held;
    return curl_easy_perform(easy);
}

CURLcode perform(const char* op, CURL* easy, const char* name) noexcept
{
    const CURLcode rc = performQuietly(easy);
    logOption(op, name, rc);
    return rc;
}

PipeSignalHeld::PipeSignalHeld() noexcept
{
    sigset_t pending;
    sigpending(&pending);
    pendingBefore_ = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
}

PipeSignalHeld::~PipeSignalHeld()
{
    if (!pendingBefore_) {
        const timespec noWait{};
        while (sigtimedwait(&pipe_, nullptr, &noWait) == -1 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace qvrf
