/** @file curlLx.h  The one door to libcurl: handles and lists with owners, options that log themselves. */
#ifndef CURLLX_H
#define CURLLX_H

#include <curl/curl.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <type_traits>

#include "curlLxKept.h"
#include "curlLxReceived.h"
#include "curlLxSignal.h"
#include "owners.h"
#include "smsupport.h"

namespace qvrf {

/** Ends a handle, or gives it back to those that are kept. Either may write to its socket. */
struct EasyHandleEnd {
    KeptHandle* kept = nullptr;
    void        operator()(CURL* easy) const noexcept;
};
using EasyHandle = std::unique_ptr<CURL, EasyHandleEnd>;

/** Request headers. The lines are wiped when the list goes: one of them carries the token. */
class HeaderList {
public:
    HeaderList() = default;
    HeaderList(HeaderList&& other) noexcept : list_(std::exchange(other.list_, nullptr)) {}
    ~HeaderList() { clear(); }

    /** Appends a copy of @p line. @return false when memory is out: logged, with the list as it was */
    bool        append(const char* op, const char* line) noexcept;
    void        clear() noexcept;
    curl_slist* get() const noexcept { return list_; }
    /** Hands the list to somebody who keeps it for as long as a transfer lives. */
    curl_slist* release() noexcept { return std::exchange(list_, nullptr); }

private:
    curl_slist* list_ = nullptr;
};

/**
 * Takes the reference to libcurl's global state that the process never gives back; see newEasyHandle.
 * @return false when libcurl cannot be initialised; the next call tries again
 */
bool holdGlobalState() noexcept;

/**
 * A new easy handle; empty on failure, which the caller logs in its own words. Before the process's first handle it
 * takes a reference to libcurl's global state that is never given back: an init/cleanup pair elsewhere in the process
 * cannot pull that state from under a running transfer.
 */
EasyHandle newEasyHandle() noexcept;

/** A handle for a GET: where the process keeps connections, one that may bring its connection along. */
EasyHandle easyHandleForGet(const KeptFor& whom) noexcept;

void logOption(const char* op, const char* name, CURLcode rc) noexcept;

#define QVRF_OPT(option) option, #option  // the value and its name cannot drift apart

/** Sets one option; how it went is the caller's to say. */
template <class V>
CURLcode setQuietly(CURL* easy, CURLoption option, V value) noexcept
{
    // libcurl takes numbers from the varargs as long: an int would bring four bytes of noise along.
    static_assert(std::is_same_v<V, long> || std::is_pointer_v<V>, "write 0L, not 0");
    return curl_easy_setopt(easy, option, value);
}

/** Sets one option and logs how that went, under @p name. */
template <class V>
bool setOption(const char* op, CURL* easy, CURLoption option, const char* name, V value) noexcept
{
    const CURLcode rc = setQuietly(easy, option, value);
    logOption(op, name, rc);
    return rc == CURLE_OK;
}

/**
 * Sets what the machine asks for on top of what the exchange does, which on most machines is nothing: no proxy of the
 * environment, no CA bundle with a libcurl that would parse it in vain, and the USB NIC for a link-local address.
 * @param address  may be NULL: not link-local
 * @return false when the request could go elsewhere; logged
 */
bool leadToBmc(const char* op, CURL* easy, const char* address) noexcept;

/** Whether @p address, with or without brackets, is link-local IPv6 without a zone: it leads nowhere by itself. */
bool needsScope(const char* address) noexcept;

/** Leads such an address out of the USB NIC; any other one, and a host without that NIC, is left alone. */
void scopeLinkLocal(const char* op, CURL* easy, const char* address) noexcept;

/** A response's HTTP status. @return libcurl's word */
CURLcode responseCode(CURL* easy, long& code) noexcept;

/**
 * Whether an answer without a body ended among its header lines, which libcurl takes for a whole one: by all that it
 * tells afterwards, a body was to follow.
 */
bool endedInHead(CURL* easy) noexcept;
/** The same for an answer whose body went into a file. */
bool endedInHead(CURL* easy, std::FILE* body) noexcept;

/** Runs the transfer. */
CURLcode performQuietly(CURL* easy) noexcept;

/**
 * The same for a GET, which is sent once more on a connection of its own when the kept one brought no answer at all:
 * the BMC may have restarted in between.
 * @param limit  what CURLOPT_TIMEOUT says; both attempts share it
 */
CURLcode performQuietly(const EasyHandle& easy, std::chrono::seconds limit) noexcept;

/** Runs the transfer and logs its outcome under @p name. */
CURLcode perform(const char* op, const EasyHandle& easy, std::chrono::seconds limit, const char* name) noexcept;

}  // namespace qvrf

#endif
