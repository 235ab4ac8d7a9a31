/** @file curlLx.h  The one door to libcurl: handles and lists with owners, options that log themselves. */
#ifndef CURLLX_H
#define CURLLX_H

#include <curl/curl.h>

#include <csignal>
#include <cstring>
#include <memory>
#include <type_traits>

#include "owners.h"
#include "qvresponse.h"
#include "smsupport.h"

namespace qvrf {

using EasyHandle = std::unique_ptr<CURL, GivenBackBy<&curl_easy_cleanup>>;

/** Request headers. The lines are wiped when the list goes: one of them carries the token. */
class HeaderList {
public:
    HeaderList() = default;
    HeaderList(HeaderList&& other) noexcept : list_(std::exchange(other.list_, nullptr)) {}
    ~HeaderList();

    /** Appends a copy of @p line. @return false when memory is out, with the list as it was */
    bool        append(const char* line) noexcept;
    curl_slist* get() const noexcept { return list_; }
    /** Hands the list to somebody who keeps it for as long as a transfer lives. */
    curl_slist* release() noexcept { return std::exchange(list_, nullptr); }

private:
    curl_slist* list_ = nullptr;
};

/** A response accumulator that frees its bytes; they are wiped first when they carry a secret. */
class Received : public QVRFUTIL_REDFISH_RESPONSE_RECEIVED {
public:
    enum class Content { plain, secret };
    explicit Received(Content content = Content::plain) noexcept
        : QVRFUTIL_REDFISH_RESPONSE_RECEIVED{nullptr, 0}, secret_(content == Content::secret)
    {
    }
    Received(Received&&) = delete;
    ~Received();
    bool empty() const noexcept { return pResponse == nullptr || responseSize == 0; }

private:
    bool secret_;
};

/** Appends @p n bytes, growing by just that much (and the spare byte). @return false when memory is out */
bool append(QVRFUTIL_REDFISH_RESPONSE_RECEIVED& to, const void* bytes, std::size_t n) noexcept;

/**
 * Takes the reference to libcurl's global state that the process never gives back; see newEasyHandle.
 * @return false when libcurl cannot be initialised
 */
bool holdGlobalState() noexcept;

/**
 * A new easy handle; empty on failure, which the caller logs in its own words. Before the process's first handle it
 * takes a reference to libcurl's global state that is never given back: an init/cleanup pair elsewhere in the process
 * cannot pull that state from under a running transfer.
 */
EasyHandle newEasyHandle(const char* op) noexcept;

void logOption(const char* op, const char* name, CURLcode rc) noexcept;

#define QVRF_OPT(option) option, #option  // the value and its name cannot drift apart

/** Sets one option and logs how that went, under @p name. */
template <class V>
bool setOption(const char* op, CURL* easy, CURLoption option, const char* name, V value) noexcept
{
    // libcurl takes numbers from the varargs as long: an int would bring four bytes of noise along.
    static_assert(std::is_same_v<V, long> || std::is_pointer_v<V>, "write 0L, not 0");
    const CURLcode rc = curl_easy_setopt(easy, option, value);
    logOption(op, name, rc);
    return rc == CURLE_OK;
}

/** A response's HTTP status. @return false when libcurl does not tell it */
bool responseCode(CURL* easy, long& code) noexcept;

/** Runs the transfer. */
CURLcode performQuietly(CURL* easy) noexcept;

/** Runs the transfer and logs its outcome under @p name. */
CURLcode perform(const char* op, CURL* easy, const char* name) noexcept;

/**
 * Keeps SIGPIPE from this thread while it writes to a socket. libcurl ignores the signal for the whole process during
 * a transfer and then puts back what it found: with transfers on several threads one of them can find itself without
 * that protection, and a BMC that cuts the connection would end the process.
 */
class PipeSignalHeld {
public:
    PipeSignalHeld() noexcept;
    ~PipeSignalHeld();
    PipeSignalHeld(PipeSignalHeld&&) = delete;

private:
    sigset_t pipe_;
    sigset_t before_;
    bool     pendingBefore_;
};

}  // namespace qvrf

#endif
