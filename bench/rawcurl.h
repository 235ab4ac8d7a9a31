/** @file rawcurl.h  The same exchanges by libcurl alone: what a program without the library would write. */
#ifndef RAWCURL_H
#define RAWCURL_H

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <string>

#include "owners.h"

namespace bench {

/** Bytes as they come in, growing by what came: the usual consumer of libcurl's examples. */
struct Accumulator {
    char*       bytes = nullptr;
    std::size_t size  = 0;

    Accumulator() = default;
    ~Accumulator() { std::free(bytes); }
    Accumulator(const Accumulator&)            = delete;
    Accumulator& operator=(const Accumulator&) = delete;
};

using EasyHandle = std::unique_ptr<CURL, qvrf::GivenBackBy<&curl_easy_cleanup>>;
using HeaderList = std::unique_ptr<curl_slist, qvrf::GivenBackBy<&curl_slist_free_all>>;

/** An address on the BMC and the session's token. */
struct Resource {
    Resource(const std::string& port, const std::string& path, const std::string& token)
        : url("https://127.0.0.1:" + port + path), tokenLine("X-Auth-Token: " + token)
    {
    }
    std::string url;
    std::string tokenLine;
};

struct RawAnswer {
    Accumulator header;
    Accumulator body;
    long        http = 0;
};

/** The request headers that the library sends; @p contentType: the third of them too. @throws std::bad_alloc */
HeaderList requestHeaders(const Resource& resource, bool contentType);

/** Sets an option. @throws std::runtime_error */
template <class V>
void set(CURL* easy, CURLoption option, V value);

/** The options that each exchange has, with @p timeout seconds. */
void setCommonOptions(CURL* easy, long timeout);

/** GET into @p answer on a handle of its own. @throws std::runtime_error when it fails */
void rawGet(const Resource& resource, RawAnswer& answer);

/** POST of JSON without a token: a login; DELETE: a logout. */
void rawPost(const Resource& resource, const char* json, RawAnswer& answer);
void rawDelete(const Resource& resource, RawAnswer& answer);

/** GET of the file at @p url, written to @p path. */
void rawDownload(const std::string& url, const std::string& path);

/** GETs of one resource on one handle, set up once: its connection lives on. */
class RawKept {
public:
    explicit RawKept(const Resource& resource);
    /** @throws std::runtime_error when it fails */
    void get(RawAnswer& answer);

private:
    HeaderList headers_;
    EasyHandle easy_;
};

/** Uploads @p file with @p metadata as the library does. */
void rawUpload(const Resource& resource, const char* metadata, const char* file, RawAnswer& answer);

/** Throws with what went wrong. */
void expect(CURLcode code);

template <class V>
void set(CURL* easy, CURLoption option, V value)
{
    expect(curl_easy_setopt(easy, option, value));
}

}  // namespace bench

#endif
