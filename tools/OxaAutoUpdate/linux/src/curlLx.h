/** @file curlLx.h  The one door to libcurl: handles and lists with owners, options that log themselves. */
#ifndef CURLLX_H
#define CURLLX_H

#include <curl/curl.h>

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
    ~HeaderList();

    /** Appends a copy of @p line. @return false when memory is out, with the list as it was */
    bool        append(const char* line) noexcept;
    curl_slist* get() const noexcept { return list_; }
    /** Hands the list to somebody who keeps it for as long as a transfer lives. */
    curl_slist* release() noexcept { return std::exchange(list_, nullptr); }

private:
    curl_slist* list_ = nullptr;
};

/**
 * Takes the reference to libcurl's global state that the process never gives back; see newEasyHandle.
 * @return false when libcurl cannot be initialised
 */
bool holdGlobalState() noexcept;

/**
 * A new easy handle; empty on failure, which the caller logs in its own words. Before the process's first handle it
 * takes a reference to libcurl's global state that is never given back: an init/cleanup pair elsewhere in the process
 * cannot pull that state from under a running transfer. No program that the process starts inherits its connection.
 */
EasyHandle newEasyHandle(const char* op) noexcept;

/** A handle for a GET: where the process keeps connections, one that may bring its connection along. */
EasyHandle easyHandleForGet(const char* op, const KeptFor& whom) noexcept;

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
 * Lets @p watch see the header lines of a transfer that stores them nowhere: libcurl itself bounds neither their number
 * nor that of the trailers, and tells an answer that ends among them for a complete one.
 */
bool watchHead(CURL* easy, HeadWatch& watch) noexcept;

/** Whether @p address, with or without brackets, is link-local IPv6 without a zone: it leads nowhere by itself. */
bool needsScope(const char* address) noexcept;

/** Leads such an address out of the USB NIC; any other one, and a host without that NIC, is left alone. */
void scopeLinkLocal(const char* op, CURL* easy, const char* address) noexcept;

/** A response's HTTP status. @return libcurl's word */
CURLcode responseCode(CURL* easy, long& code) noexcept;

/** Runs the transfer. */
CURLcode performQuietly(CURL* easy) noexcept;

/**
 * The same for a GET, which is sent once more on a connection of its own when the kept one brought no answer at all:
 * the BMC may have restarted in between.
 */
CURLcode performQuietly(const EasyHandle& easy) noexcept;

/** Runs the transfer and logs its outcome under @p name. */
CURLcode perform(const char* op, const EasyHandle& easy, const char* name) noexcept;

}  // namespace qvrf

#endif
