/**
 * @file qvrfutil_request.hpp
 * One request of the layer and its answer. Included by qvrfutil.hpp; programs have no use for it alone.
 */
#ifndef QVRFUTIL_REQUEST_HPP
#define QVRFUTIL_REQUEST_HPP

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "qvrfutil_core.hpp"
#include "qvrfutil_scan.hpp"

namespace qvrfutil {

/** Only its name: qvrfutil_json.hpp has the whole of it. */
using Json = nlohmann::json;

/** Header names are the same in whatever case. */
struct CaselessLess {
    bool operator()(const std::string& a, const std::string& b) const noexcept
    {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
        return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                            [&](char x, char y) { return lower(x) < lower(y); });
    }
};
using Headers = std::multimap<std::string, std::string, CaselessLess>;

/** The header lines of @p raw; of several answers in a row (100 Continue) those of the last. */
inline Headers parseHeaders(std::string_view raw)
{
    Headers headers;
    while (!raw.empty()) {
        const auto end  = raw.find('\n');
        auto       line = raw.substr(0, end);
        raw.remove_prefix(end == raw.npos ? raw.size() : end + 1);
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
        if (line.substr(0, 5) == "HTTP/") headers.clear();
        const auto colon = line.find(':');
        if (colon == line.npos) continue;
        auto value = line.substr(colon + 1);
        while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
        headers.emplace(line.substr(0, colon), value);
    }
    return headers;
}

struct Response {
    u16         http = 0;
    std::string body;
    std::string rawHeaders;       ///< as received, status line and closing blank line among them
    bool        renewed = false;  ///< the session had ended: this is the answer to the second sending
    Duration    elapsed{0};

    bool    ok() const noexcept { return http >= 200 && http < 300; }
    Headers headers() const { return parseHeaders(rawHeaders); }
    /** The first header of that name; empty without one. */
    std::string header(const std::string& name) const
    {
        const Headers all   = headers();
        const auto    found = all.find(name);
        return found == all.end() ? std::string() : found->second;
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
};

inline const char* methodName(Method method) noexcept
{
    switch (method) {
        case Method::get: return "GET";
        case Method::post: return "POST";
        case Method::remove: return "DELETE";
        case Method::patch: return "PATCH";
    }
    return "?";
}

struct RequestOptions {
    u32  room    = 0;     ///< bytes for the answer's body; 0: 64 KiB at first for GET, 256 KiB for the others
    bool headers = true;  ///< hand out the answer's headers
};

namespace detail {

constexpr u32  kFirstRoom     = 64u * 1024;
constexpr u32  kChangeRoom    = 256u * 1024;
constexpr int  kMostGrowths   = 4;  // a resource may grow while it is read; one that keeps doing so is given up
constexpr u16  kUnauthorized  = 401;
constexpr char kServiceRoot[] = "/redfish/v1";

struct SmFree {
    void operator()(void* memory) const noexcept { SMFreeMem(memory); }
};

/** The operation of the library that carries a request. */
enum class Road { session, upload, open };

struct Request {
    Method      method = Method::get;
    std::string path;
    std::string body;  ///< of an upload, the document about its file
    std::string file;  ///< GET: receives the body; upload: what is sent
    Road        road    = Road::session;
    u32         room    = 0;
    bool        headers = false;

    bool        isDownload() const noexcept { return road == Road::session && !file.empty(); }
    std::string name() const { return std::string(methodName(method)) + ' ' + path; }
};

struct Attempt {
    s32      status = 0;
    u32      needed = 0;  ///< room that the body wants, its NUL included
    Response response;
};

inline s32 call(const Request& request, astring* into, u32 room, Attempt& result)
{
    const char* const path = request.path.c_str();
    u16&              http = result.response.http;
    if (request.road == Road::open) return QVRFUTILSendRequestNoAuth(path, &into, room, &result.needed, &http);
    if (request.road == Road::upload)
        return QVRFUTILSendFileUploadRequest(path, request.file.c_str(), request.body.c_str(), &into, room,
                                             &result.needed, &http);
    const bool hasBody = request.method == Method::post || request.method == Method::patch;
    const bool wants   = request.headers && !request.isDownload();
    astring*   headers = nullptr;
    const auto type    = static_cast<QVRFUTILRequestType>(request.method);
    const s32  status = QVRFUTILSendRequest(path, hasBody ? const_cast<astring*>(request.body.c_str()) : nullptr, &into,
                                            room, &result.needed, type, &http, wants ? TRUE : FALSE, &headers,
                                           request.isDownload() ? const_cast<astring*>(request.file.c_str()) : nullptr);
    const std::unique_ptr<astring, SmFree> owned(wants ? headers : nullptr);
    if (owned) result.response.rawHeaders = owned.get();
    return status;
}

inline Attempt attempt(const Request& request, u32 room)
{
    Attempt                          result;
    const std::unique_ptr<astring[]> buffer(new astring[room]);  // the library clears it
    const auto                       start = Clock::now();
    result.status                          = call(request, buffer.get(), room, result);
    result.response.elapsed                = std::chrono::duration_cast<Duration>(Clock::now() - start);
    if (result.status == OXA_SUCCESS && result.needed > 0) result.response.body.assign(buffer.get(), result.needed - 1);
    return result;
}

/** Sends once; a GET as often as a growing answer asks for more room. */
inline Attempt attemptWithRoom(const Request& request)
{
    const bool mayRepeat = request.method == Method::get;
    u32        room      = request.room != 0 ? request.room : mayRepeat ? kFirstRoom : kChangeRoom;
    Attempt    result    = attempt(request, room);
    for (int growths = 0; mayRepeat && growths < kMostGrowths; ++growths) {
        if (result.status != QVRFUTIL_BUFFER_TOO_SMALL || result.needed <= room) break;
        room   = result.needed;
        result = attempt(request, room);
    }
    return result;
}

/** Whether the BMC, or the library for want of a session, refused the request as a whole: nothing was carried out. */
inline bool isSessionOver(const Attempt& result) noexcept
{
    if (result.status == OXA_SUCCESS) return result.response.http == kUnauthorized;
    return result.status == QVRFUTIL_SESSION_FAILURE ||
           (result.status == QVRFUTIL_NO_SESSION_DETAILS && result.response.http == 0);
}

inline Result<Response> judged(const Request& request, Attempt&& result)
{
    if (result.status == OXA_SUCCESS) return std::move(result.response);
    const u16 http = result.response.http;
    if (result.status == QVRFUTIL_BUFFER_TOO_SMALL && request.method != Method::get)
        return Error(
            request.name(), result.status,
            "it was carried out, but the answer of " + std::to_string(result.needed - 1) + " bytes did not fit",
            "do not send it again; read the resource", http);
    return Error(request.name(), result.status, http);
}

inline Result<Response> sendThrough(Core& core, const Request& request)
{
    for (bool again = false;; again = true) {
        std::uint64_t epoch = 0;
        Attempt       result;
        {
            const Inside inside(core.gate);
            epoch  = core.epoch();
            result = attemptWithRoom(request);
        }
        if (request.road == Road::open || !isSessionOver(result) || again) {
            result.response.renewed = again;
            return judged(request, std::move(result));
        }
        core.tellRenewal(request.name());
        if (Done renewed = core.renew(epoch); !renewed) return renewed.error();
    }
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

/** A link as the library takes it: a BMC's word is not taken for it. */
inline bool isPath(const std::string& link)
{
    constexpr std::size_t kLongest = 400;
    return !link.empty() && link.front() == '/' && link.size() <= kLongest &&
           std::all_of(link.begin(), link.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

/** The place a body is written to beside the wanted file, which it replaces when the body is complete. */
class PartFile {
public:
    explicit PartFile(std::string wanted) : wanted_(std::move(wanted)) {}
    ~PartFile()
    {
        if (isOurs_) ::unlink(path_.c_str());
    }
    PartFile(PartFile&&) = delete;

    /** @return 0, or the errno of what keeps the file from being written */
    int make()
    {
        struct stat about {};
        const bool  exists = ::stat(wanted_.c_str(), &about) == 0;
        path_              = wanted_;
        if (exists && S_ISDIR(about.st_mode)) return EISDIR;
        if (exists && !S_ISREG(about.st_mode)) return 0;  // a device or pipe is written in place
        if (exists && ::access(wanted_.c_str(), W_OK) != 0) return errno;
        path_ += '.' + std::to_string(Clock::now().time_since_epoch().count()) + ".part";
        const int fd = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd < 0) return errno;
        isOurs_         = true;
        const int error = exists && ::fchmod(fd, about.st_mode & 07777) != 0 ? errno : 0;
        ::close(fd);
        return error;
    }
    int keep()
    {
        if (!isOurs_) return 0;
        if (::rename(path_.c_str(), wanted_.c_str()) != 0) return errno;
        isOurs_ = false;
        return 0;
    }
    const std::string& path() const noexcept { return path_; }
    /** The beginning of what was written: an error page. */
    std::string content() const
    {
        std::string   text(isOurs_ ? kFirstRoom : 0, '\0');
        const int     fd  = isOurs_ ? ::open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC) : -1;
        const ssize_t got = fd < 0 ? 0 : ::read(fd, text.data(), text.size());
        if (fd >= 0) ::close(fd);
        text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        return text;
    }

private:
    std::string wanted_;
    std::string path_;
    bool        isOurs_ = false;
};

inline Error cannotWrite(const std::string& file, int error, u16 http = 0)
{
    Error why("write " + file, QVRFUTIL_FAILURE, std::strerror(error), "choose a file that can be written", http);
    why.system = error;
    return why;
}

}  // namespace detail

}  // namespace qvrfutil

#endif
