/**
 * @file qvrfutil_request.hpp
 * One request of the layer and its answer, as its callers see them. Included by qvrfutil.hpp; programs have no use for
 * it alone.
 */
#ifndef QVRFUTIL_REQUEST_HPP
#define QVRFUTIL_REQUEST_HPP

#include <algorithm>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "qvrfutil.h"
#include "qvrfutil_scan.hpp"
#include "qvrfutil_status.hpp"
#include "qvrfutil_threads.hpp"

namespace qvrfutil {

/** Only its name: qvrfutil_json.hpp has the whole of it. */
using Json = nlohmann::json;

/** Header names are the same in whatever case. */
struct CaselessLess {
    bool operator()(std::string_view a, std::string_view b) const noexcept
    {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
        return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                            [&](char x, char y) { return lower(x) < lower(y); });
    }
};
using Headers = std::multimap<std::string, std::string, CaselessLess>;

namespace detail {

inline bool isSameName(std::string_view a, std::string_view b) noexcept
{
    return a.size() == b.size() && !CaselessLess()(a, b) && !CaselessLess()(b, a);
}

/** The last of several answers in a row (100 Continue): from its status line on. */
inline std::string_view lastHead(std::string_view raw) noexcept
{
    for (auto at = raw.rfind("HTTP/"); at != raw.npos && at != 0; at = raw.rfind("HTTP/", at - 1))
        if (raw[at - 1] == '\n') return raw.substr(at);
    return raw;
}

/** Calls @p look with name and value of each header in @p raw, for as long as it returns true. */
template <class Look>
void forEachHeader(std::string_view raw, Look look)
{
    for (raw = lastHead(raw); !raw.empty();) {
        const auto end  = raw.find('\n');
        auto       line = raw.substr(0, end);
        raw.remove_prefix(end == raw.npos ? raw.size() : end + 1);
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
        const auto colon = line.find(':');
        if (colon == line.npos) continue;
        auto value = line.substr(colon + 1);
        while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
        if (!look(line.substr(0, colon), value)) return;
    }
}

/** The first header of that name in @p raw. */
inline std::optional<std::string_view> headerOf(std::string_view raw, std::string_view name)
{
    std::optional<std::string_view> found;
    forEachHeader(raw, [&](std::string_view one, std::string_view value) {
        if (isSameName(one, name)) found = value;
        return !found;
    });
    return found;
}

}  // namespace detail

/** The header lines of @p raw; of several answers in a row (100 Continue) those of the last. */
inline Headers parseHeaders(std::string_view raw)
{
    Headers headers;
    detail::forEachHeader(raw, [&](std::string_view name, std::string_view value) {
        headers.emplace(name, value);
        return true;
    });
    return headers;
}

struct Response {
    u16         http = 0;
    std::string body;
    std::string rawHeaders;       ///< as received, status line and closing blank line among them
    bool        renewed = false;  ///< the session had ended: this is the answer to the second sending
    Duration    elapsed{0};       ///< of the last sending

    bool    ok() const noexcept { return http >= 200 && http < 300; }
    Headers headers() const { return parseHeaders(rawHeaders); }
    /** The first header of that name; empty without one. */
    std::string header(const std::string& name) const
    {
        return std::string(detail::headerOf(rawHeaders, name).value_or(std::string_view()));
    }
    /** The body; a discarded value when it is not JSON. Needs qvrfutil_json.hpp. */
    template <class Document = Json>
    Document json() const
    {
        return Document::parse(body, nullptr, false);
    }
};

enum class Method : int {
    get    = QVRFUTIL_REQUEST_GET,
    post   = QVRFUTIL_REQUEST_POST,
    remove = QVRFUTIL_REQUEST_DELETE,
    patch  = QVRFUTIL_REQUEST_PATCH,
    put    = 100,
    head   = 101,
};

inline const char* methodName(Method method) noexcept
{
    switch (method) {
        case Method::get: return "GET";
        case Method::post: return "POST";
        case Method::remove: return "DELETE";
        case Method::patch: return "PATCH";
        case Method::put: return "PUT";
        case Method::head: return "HEAD";
    }
    return "?";
}

/** Bytes on the wire; a total of 0 is not known. */
struct Progress {
    u64 sent, toSend, received, toReceive;
};

struct RequestOptions {
    u64  room    = 0;     ///< the most bytes that the answer's body may have; 0: 64 MiB
    bool headers = true;  ///< hand out the answer's headers
    /** Whole lines, "Prefer: respond-async". */
    std::vector<std::string> lines{};
    Duration                 limit{100000};    ///< for everything, a renewed login among it; 0: none
    Duration                 connectLimit{0};  ///< for connection and TLS; 0: no other than the limit
    /** A GET answered 503 or 429 with "Retry-After" is sent again within this time. 0: its answer is handed out. */
    Duration                             patience{0};
    const Cancellation*                  cancellation = nullptr;  ///< outlives the request
    std::function<void(const Progress&)> onProgress{};            ///< at least once a second, on the calling thread

    RequestOptions& with(std::string line)
    {
        lines.push_back(std::move(line));
        return *this;
    }
    /** Only what is still as it was in @p seen is changed; otherwise the BMC answers 412. */
    RequestOptions& ifMatch(const Response& seen)
    {
        const std::string tag = seen.header("ETag");
        return tag.empty() ? *this : with("If-Match: " + tag);
    }
};

/** A field of a form. */
struct FormField {
    std::string name;
    std::string content;  ///< the bytes, or the path of the file
    std::string type   = {};
    bool        isFile = false;

    static FormField text(std::string name, std::string bytes, std::string type = "application/json")
    {
        return {std::move(name), std::move(bytes), std::move(type), false};
    }
    /** Read while it is sent: its size does not matter. */
    static FormField file(std::string name, std::string path, std::string type = {})
    {
        return {std::move(name), std::move(path), std::move(type), true};
    }
};

namespace detail {

/** A JSON document, and nothing that merely turns into a text. */
template <class Document>
using IfDocument =
    std::enable_if_t<std::is_same_v<Document, nlohmann::json> || std::is_same_v<Document, nlohmann::ordered_json>>;

/** A link as the library takes it: a BMC's word is not taken for it. */
inline bool isPath(std::string_view link) noexcept
{
    constexpr std::size_t kLongest = 400;
    return !link.empty() && link.front() == '/' && link.size() <= kLongest &&
           std::all_of(link.begin(), link.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

/** The first human-readable message of a Redfish error body; empty when there is none. */
inline std::string redfishMessage(const std::string& body)
{
    const JsonView error = JsonView(body)["error"];
    std::string    message;
    error["@Message.ExtendedInfo"].forEach([&](const JsonView& info) {
        message = info["Message"].text();
        return message.empty();
    });
    return message.empty() ? error["message"].text() : message;
}

/** HTTP statuses of 400 and above as errors, for operations that have no use for such an answer. */
inline Error httpError(const std::string& what, const Response& response)
{
    const std::string message = redfishMessage(response.body);
    return Error(what, 0, message.empty() ? "the BMC refused it" : message,
                 response.http == 404 ? "check the path; start from /redfish/v1" : "see the message", response.http);
}

inline Error notRedfish(const std::string& what, const Response& response)
{
    return Error(what, 0, "the answer is not what Redfish says", "check the path and the BMC's firmware",
                 response.http);
}

template <class Document>
Result<Document> asJson(const std::string& what, Result<Response>&& answer)
{
    if (!answer) return answer.error();
    if (answer->http >= 400) return httpError(what, *answer);
    Document json = answer->template json<Document>();
    if (!json.is_object()) return notRedfish(what, *answer);
    return json;
}

}  // namespace detail
}  // namespace qvrfutil

#endif
