/** @file webprobe.cpp  The tries, each a transfer of libcurl's. */
#include "webprobe.h"

#include <curl/curl.h>
#include <net/if.h>
#include <string.h>

#include <cstring>
#include <memory>

namespace qvrfctl {
namespace {

constexpr long        kConnectMs = 3000;
constexpr long        kGetMs     = 5000;
constexpr long        kTlsMs     = 2000;
constexpr long        kRequestMs = 30000;
constexpr std::size_t kMostBody  = 1024u * 1024;

using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

struct TlsRow {
    const char* name;
    long        version;
};
/** This version alone: libcurl has the newest that is allowed in the upper half of the number. */
constexpr long exactly(long version) noexcept
{
    return version | (version << 16);
}
constexpr TlsRow kTls[] = {
    {"1.0", exactly(CURL_SSLVERSION_TLSv1_0)},
    {"1.1", exactly(CURL_SSLVERSION_TLSv1_1)},
    {"1.2", exactly(CURL_SSLVERSION_TLSv1_2)},
    {"1.3", exactly(CURL_SSLVERSION_TLSv1_3)},
};

std::string urlOf(const Endpoint& endpoint, const char* scheme, const std::string& path)
{
    std::string host = endpoint.ipv6 ? '[' + endpoint.address + ']' : endpoint.address;
    if (const auto zone = host.find('%'); zone != host.npos) host.insert(zone + 1, "25");
    return std::string(scheme) + "://" + host + ':' + endpoint.port + path;
}

extern "C" std::size_t qvrfctlProbeBody(char* bytes, std::size_t size, std::size_t count, void* answer)
{
    std::string& body = static_cast<WebAnswer*>(answer)->body;
    if (body.size() + size * count > kMostBody) return 0;
    body.append(bytes, size * count);
    return size * count;
}

extern "C" std::size_t qvrfctlProbeHeader(char* bytes, std::size_t size, std::size_t count, void* answer)
{
    constexpr char    name[] = "date:";
    const std::string line(bytes, size * count);
    if (::strncasecmp(line.c_str(), name, sizeof name - 1) == 0)
        static_cast<WebAnswer*>(answer)->date = line.substr(sizeof name - 1);
    return size * count;
}

Easy newEasy(const std::string& url, long milliseconds, unsigned scope)
{
    Easy easy(::curl_easy_init(), ::curl_easy_cleanup);
    if (!easy) return easy;
    ::curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
    ::curl_easy_setopt(easy.get(), CURLOPT_NOPROXY, "*");
    ::curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
    ::curl_easy_setopt(easy.get(), CURLOPT_TIMEOUT_MS, milliseconds);
    ::curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYPEER, 0L);  // as the library: a BMC signs its own certificate
    ::curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYHOST, 0L);
    if (scope != 0) ::curl_easy_setopt(easy.get(), CURLOPT_ADDRESS_SCOPE, static_cast<long>(scope));
    return easy;
}

WebAnswer performed(const Easy& easy)
{
    WebAnswer answer;
    if (!easy) return {"memory is out", 0, {}, {}};
    ::curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, qvrfctlProbeBody);
    ::curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &answer);
    ::curl_easy_setopt(easy.get(), CURLOPT_HEADERFUNCTION, qvrfctlProbeHeader);
    ::curl_easy_setopt(easy.get(), CURLOPT_HEADERDATA, &answer);
    const CURLcode result = ::curl_easy_perform(easy.get());
    long           error  = 0;
    ::curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &answer.http);
    ::curl_easy_getinfo(easy.get(), CURLINFO_OS_ERRNO, &error);
    if (result == CURLE_OK) return answer;
    answer.problem = ::curl_easy_strerror(result);
    if (error != 0) answer.problem += std::string(": ") + std::strerror(static_cast<int>(error));
    return answer;
}

}  // namespace

WebProbe::WebProbe(Endpoint endpoint, const std::string& interface) : endpoint_(std::move(endpoint))
{
    const bool needs = endpoint_.ipv6 && endpoint_.address.compare(0, 4, "fe80") == 0;
    scope_ = needs && endpoint_.address.find('%') == std::string::npos ? ::if_nametoindex(interface.c_str()) : 0;
}

WebAnswer WebProbe::connect() const
{
    const Easy easy = newEasy(urlOf(endpoint_, "http", "/"), kConnectMs, scope_);
    if (easy) ::curl_easy_setopt(easy.get(), CURLOPT_CONNECT_ONLY, 1L);
    return performed(easy);
}

WebAnswer WebProbe::get(const std::string& path) const
{
    return performed(newEasy(urlOf(endpoint_, "https", path), kGetMs, scope_));
}

WebAnswer WebProbe::request(const char* method, const std::string& path, const std::string& header) const
{
    const Easy easy = newEasy(urlOf(endpoint_, "https", path), kRequestMs, scope_);
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> lines(
        ::curl_slist_append(nullptr, header.c_str()), ::curl_slist_free_all);
    if (!easy || !lines) return {"memory is out", 0, {}, {}};
    ::curl_easy_setopt(easy.get(), CURLOPT_CUSTOMREQUEST, method);
    ::curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, lines.get());
    WebAnswer answer = performed(easy);
    ::explicit_bzero(lines->data, header.size());  // it may be a secret
    return answer;
}

std::vector<std::string> WebProbe::tlsVersions() const
{
    std::vector<std::string> taken;
    for (const TlsRow& row : kTls) {
        const Easy easy = newEasy(urlOf(endpoint_, "https", "/"), kTlsMs, scope_);
        if (!easy) break;
        ::curl_easy_setopt(easy.get(), CURLOPT_CONNECT_ONLY, 1L);
        ::curl_easy_setopt(easy.get(), CURLOPT_SSLVERSION, row.version);
        // The host's own rules would keep the old versions from being tried; nothing is sent on these connections.
        ::curl_easy_setopt(easy.get(), CURLOPT_SSL_CIPHER_LIST, "ALL:@SECLEVEL=0");
        if (performed(easy).problem.empty()) taken.emplace_back(row.name);
    }
    return taken;
}

}  // namespace qvrfctl
