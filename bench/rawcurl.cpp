/** @file rawcurl.cpp  The same exchanges by libcurl alone. */
#include "rawcurl.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

namespace bench {

namespace {

using MimeForm = std::unique_ptr<curl_mime, qvrf::GivenBackBy<&curl_mime_free>>;

extern "C" std::size_t accumulate(char* piece, std::size_t size, std::size_t count, void* data)
{
    auto&             to   = *static_cast<Accumulator*>(data);
    const std::size_t more = size * count;
    auto* const       all  = static_cast<char*>(std::realloc(to.bytes, to.size + more + 1));
    if (all == nullptr) return 0;
    to.bytes = all;
    std::memcpy(to.bytes + to.size, piece, more);
    to.size += more;
    to.bytes[to.size] = '\0';
    return more;
}

EasyHandle newHandle()
{
    EasyHandle easy(curl_easy_init());
    if (!easy) throw std::bad_alloc();
    return easy;
}

/** The server's certificate is its own, and headers and body go to two accumulators. */
void receiveInto(CURL* easy, RawAnswer& answer)
{
    set(easy, CURLOPT_HEADERDATA, &answer.header);
    set(easy, CURLOPT_WRITEFUNCTION, &accumulate);
    set(easy, CURLOPT_WRITEDATA, &answer.body);
}

void perform(CURL* easy, const Resource& resource, const HeaderList& headers, RawAnswer& answer)
{
    set(easy, CURLOPT_HTTPHEADER, headers.get());
    set(easy, CURLOPT_URL, resource.url.c_str());
    expect(curl_easy_perform(easy));
    expect(curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &answer.http));
}

}  // namespace

void expect(CURLcode code)
{
    if (code != CURLE_OK) throw std::runtime_error(std::string("libcurl: ") + curl_easy_strerror(code));
}

HeaderList requestHeaders(const Resource& resource, bool contentType)
{
    HeaderList headers;
    for (const char* line : {"Accept: */*", resource.tokenLine.c_str(), "Content-type: application/json"}) {
        if (!contentType && std::strncmp(line, "Content", 7) == 0) continue;
        curl_slist* const longer = curl_slist_append(headers.get(), line);
        if (longer == nullptr) throw std::bad_alloc();
        headers.release();
        headers.reset(longer);
    }
    return headers;
}

void setCommonOptions(CURL* easy, long timeout)
{
    set(easy, CURLOPT_SSLVERSION, 0L);
    set(easy, CURLOPT_TIMEOUT, timeout);
    set(easy, CURLOPT_SSL_VERIFYPEER, 0L);
    set(easy, CURLOPT_SSL_VERIFYHOST, 0L);
}

namespace {

/** One exchange on a handle of its own, with one option that makes the method. */
template <class V>
void exchange(const Resource& resource, RawAnswer& answer, CURLoption method, V value)
{
    const HeaderList headers = requestHeaders(resource, true);
    const EasyHandle easy    = newHandle();
    setCommonOptions(easy.get(), 100L);
    receiveInto(easy.get(), answer);
    set(easy.get(), method, value);
    perform(easy.get(), resource, headers, answer);
}

}  // namespace

void rawGet(const Resource& resource, RawAnswer& answer)
{
    exchange(resource, answer, CURLOPT_HTTPGET, 1L);
}

void rawPost(const Resource& resource, const char* json, RawAnswer& answer)
{
    exchange(resource, answer, CURLOPT_POSTFIELDS, json);
}

void rawDelete(const Resource& resource, RawAnswer& answer)
{
    exchange(resource, answer, CURLOPT_CUSTOMREQUEST, "DELETE");
}

void rawDownload(const std::string& url, const std::string& path)
{
    qvrf::File       file(std::fopen(path.c_str(), "we"));
    const EasyHandle easy = newHandle();
    if (!file) throw std::runtime_error("no file " + path);
    setCommonOptions(easy.get(), 100L);
    set(easy.get(), CURLOPT_FAILONERROR, 1L);
    set(easy.get(), CURLOPT_WRITEDATA, file.get());
    set(easy.get(), CURLOPT_URL, url.c_str());
    expect(curl_easy_perform(easy.get()));
    if (std::fclose(file.release()) != 0) throw std::runtime_error(path + " could not be written");
}

RawKept::RawKept(const Resource& resource) : headers_(requestHeaders(resource, true)), easy_(newHandle())
{
    setCommonOptions(easy_.get(), 100L);
    set(easy_.get(), CURLOPT_HTTPGET, 1L);
    set(easy_.get(), CURLOPT_HTTPHEADER, headers_.get());
    set(easy_.get(), CURLOPT_URL, resource.url.c_str());
}

void RawKept::get(RawAnswer& answer)
{
    receiveInto(easy_.get(), answer);
    expect(curl_easy_perform(easy_.get()));
    expect(curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &answer.http));
}

void rawUpload(const Resource& resource, const char* metadata, const char* file, RawAnswer& answer)
{
    const HeaderList headers = requestHeaders(resource, false);
    const EasyHandle easy    = newHandle();
    setCommonOptions(easy.get(), 100L);
    receiveInto(easy.get(), answer);
    const MimeForm       form(curl_mime_init(easy.get()));
    curl_mimepart* const text = curl_mime_addpart(form.get());
    expect(curl_mime_name(text, "metadata"));
    expect(curl_mime_data(text, metadata, CURL_ZERO_TERMINATED));
    expect(curl_mime_type(text, "application/json"));
    curl_mimepart* const content = curl_mime_addpart(form.get());
    expect(curl_mime_name(content, "LogZip"));
    expect(curl_mime_filedata(content, file));
    set(easy.get(), CURLOPT_MIMEPOST, form.get());
    perform(easy.get(), resource, headers, answer);
}

}  // namespace bench
