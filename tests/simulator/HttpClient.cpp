/** @file HttpClient.cpp  A plain HTTPS client on libcurl. */
#include "HttpClient.h"

#include <strings.h>

#include <sstream>

namespace {

struct Free {
    void operator()(CURL* easy) const noexcept { curl_easy_cleanup(easy); }
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
    void operator()(curl_mime* mime) const noexcept { curl_mime_free(mime); }
};

struct Receiver {
    HttpAnswer&                                    answer;
    const std::function<bool(const std::string&)>& onPiece;
};

size_t takeHeader(char* data, size_t size, size_t count, void* answer)
{
    static_cast<HttpAnswer*>(answer)->header.append(data, size * count);
    return size * count;
}

size_t takeBody(char* data, size_t size, size_t count, void* user)
{
    auto&             receiver = *static_cast<Receiver*>(user);
    const std::string piece(data, size * count);
    receiver.answer.body += piece;
    return !receiver.onPiece || receiver.onPiece(piece) ? piece.size() : 0;
}

template <class Each>
void forLines(const std::string& header, const std::string& name, Each each)
{
    std::istringstream lines(header);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const auto colon = line.find(':');
        if (colon == std::string::npos || ::strcasecmp(line.substr(0, colon).c_str(), name.c_str()) != 0) continue;
        each(line.size() > colon + 2 ? line.substr(colon + 2) : std::string());
    }
}

}  // namespace

std::string HttpAnswer::value(const std::string& name) const
{
    std::string first;
    bool        found = false;
    forLines(header, name, [&](const std::string& text) {
        if (!found) first = text;
        found = true;
    });
    return first;
}

int HttpAnswer::count(const std::string& name) const
{
    int lines = 0;
    forLines(header, name, [&](const std::string&) { ++lines; });
    return lines;
}

HttpAnswer perform(const HttpCall& call)
{
    HttpAnswer                        answer;
    Receiver                          receiver{answer, call.onPiece};
    const std::unique_ptr<CURL, Free> easy(curl_easy_init());
    std::unique_ptr<curl_slist, Free> headers;
    std::unique_ptr<curl_mime, Free>  mime;
    for (const std::string& line : call.headers) {
        curl_slist* longer = curl_slist_append(headers.get(), line.c_str());
        (void)headers.release();
        headers.reset(longer);
    }
    curl_easy_setopt(easy.get(), CURLOPT_URL, call.url.c_str());
    curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_TIMEOUT_MS, call.timeoutMs);
    curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(easy.get(), CURLOPT_HEADERFUNCTION, takeHeader);
    curl_easy_setopt(easy.get(), CURLOPT_HEADERDATA, &answer);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, takeBody);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &receiver);
    if (call.method == "HEAD") {
        curl_easy_setopt(easy.get(), CURLOPT_NOBODY, 1L);
    } else if (call.form) {
        mime.reset(curl_mime_init(easy.get()));
        call.form(easy.get(), mime.get());
        curl_easy_setopt(easy.get(), CURLOPT_MIMEPOST, mime.get());
    } else {
        curl_easy_setopt(easy.get(), CURLOPT_CUSTOMREQUEST, call.method.c_str());
        if (!call.body.empty() || call.method == "POST") {
            curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(call.body.size()));
            curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, call.body.c_str());
        }
    }
    if (call.options) call.options(easy.get());
    answer.curl = curl_easy_perform(easy.get());
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &answer.status);
    return answer;
}
