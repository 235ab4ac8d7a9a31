/** @file Router.cpp  Leads each request to the service that answers it. */
#include "Router.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>

#include "RedfishService.h"
#include "SessionService.h"
#include "UpdateService.h"
#include "Upload.h"

namespace torvosim {

namespace {

constexpr std::size_t kMostBody = 16u * 1024 * 1024;

constexpr const char* kOpenPaths[]    = {"/redfish", "/redfish/v1", "/redfish/v1/odata", "/redfish/v1/$metadata"};
constexpr const char* kOpenPrefixes[] = {"/test", "/software"};
constexpr const char  kEventStream[]  = "/redfish/v1/SSE";
constexpr const char  kBytes[]        = "/test/bytes/";
constexpr const char  kEcho[]         = "/test/echo";
constexpr const char  kPackage[]      = "/software/oxa/";

std::optional<std::string> wholeBody(Exchange& exchange)
{
    std::string body;
    for (std::string_view piece = exchange.readSome(); !piece.empty(); piece = exchange.readSome()) {
        if (body.size() + piece.size() > kMostBody) return std::nullopt;
        body += piece;
    }
    return body;
}

bool readsOnly(const Request& request)
{
    return request.method == "GET" || request.method == "HEAD";
}

/** A to Z over and over: byte i of every answer is 'A' + i % 26. */
const std::string& alphabetPattern()
{
    static const std::string pattern = [] {
        std::string text;
        while (text.size() < 26 * 4096) text += "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
        return text;
    }();
    return pattern;
}

Response patternOf(std::uint64_t size)
{
    Response response;
    response.headers  = {{"Content-Type", "application/octet-stream"}};
    response.bodySize = size;
    // Whole patterns keep every piece in step with the alphabet.
    response.nextPiece = [left = size]() mutable {
        const std::string_view piece = std::string_view(alphabetPattern()).substr(0, left);
        left -= piece.size();
        return piece;
    };
    return response;
}

Response unauthorized()
{
    Response response = errorResponse(401, "There is no valid session for this request");
    response.headers.emplace_back("WWW-Authenticate", "Basic realm=\"torvosim\"");
    return response;
}

Response echo(Exchange& exchange)
{
    const Request& request = exchange.request();
    const auto     body    = wholeBody(exchange);
    if (!body) return errorResponse(413, "The body is too long to be echoed");
    std::string headers;
    for (const auto& [name, value] : request.headers)
        headers += (headers.empty() ? "[" : ",[") + jsonQuoted(name) + ',' + jsonQuoted(value) + ']';
    return jsonResponse(200, "{\"method\":" + jsonQuoted(request.method) + ",\"target\":" + jsonQuoted(request.target) +
                                 ",\"path\":" + jsonQuoted(request.path) + ",\"headers\":[" + headers +
                                 "],\"body\":" + jsonQuoted(*body) + "}");
}

}  // namespace

bool Router::isOpen(const Request& request)
{
    const std::string& path  = request.path;
    const auto         is    = [&](std::string_view known) { return path == known; };
    const auto         under = [&](std::string_view prefix) { return isAtOrBelow(path, prefix); };
    if (readsOnly(request) && std::any_of(std::begin(kOpenPaths), std::end(kOpenPaths), is)) return true;
    if (std::any_of(std::begin(kOpenPrefixes), std::end(kOpenPrefixes), under)) return true;
    if (std::any_of(bmc_.options.openPrefixes.begin(), bmc_.options.openPrefixes.end(), under)) return true;
    return request.method == "POST" && path == bmc_.sessions.collection();
}

std::optional<Response> Router::handle(Exchange& exchange)
{
    const Request& request = exchange.request();
    if (isOtherGeneration(bmc_, request.path)) return errorResponse(404, "This generation has its sessions elsewhere");
    if (!mayPass(request)) return unauthorized();
    return dispatch(exchange);
}

/** By its session, by a password with every request, as simple clients do, or by a login token in its place. */
bool Router::mayPass(const Request& request)
{
    if (isOpen(request) || bmc_.sessions.use(request.header("X-Auth-Token"))) return true;
    const auto user = basicCredentials(request.header("Authorization"));
    return user ? bmc_.users.mayLogIn(user->first, user->second) : hasLoginToken(request);
}

/** A use of the token, as a login is. */
bool Router::hasLoginToken(const Request& request)
{
    std::string            user;
    const std::string_view token = bearerToken(request);
    return !token.empty() && bmc_.tokens.logIn(token, user).empty();
}

std::optional<Response> Router::dispatch(Exchange& exchange)
{
    const Request& request = exchange.request();
    if (isAtOrBelow(request.path, "/test")) return testResource(exchange);
    if (isAtOrBelow(request.path, "/software")) return packageFile(request);
    if (request.path == kEventStream) {
        if (request.method != "GET") return methodNotAllowed("GET");
        bmc_.events.serve(exchange, bmc_.stats);
        return std::nullopt;
    }
    if (request.path == kUploadTarget) {
        if (request.method != "POST") return methodNotAllowed("POST");
        return receiveUpload(bmc_, exchange);
    }
    if (request.path == kPushTarget) {
        if (request.method != "POST") return methodNotAllowed("POST");
        return receivePush(bmc_, exchange);
    }
    return redfish(exchange);
}

Response Router::testResource(Exchange& exchange)
{
    const Request& request = exchange.request();
    if (request.path == kEcho) return echo(exchange);
    if (startsWith(request.path, kBytes) && readsOnly(request)) {
        if (const auto size = parseNumber(std::string_view(request.path).substr(sizeof kBytes - 1)); size)
            return patternOf(*size);
    }
    return errorResponse(404, "There is no such test resource");
}

Response Router::packageFile(const Request& request)
{
    if (!readsOnly(request)) return methodNotAllowed("GET, HEAD");
    namespace fs = std::filesystem;
    if (bmc_.options.packageDir.empty() || !startsWith(request.path, kPackage))
        return errorResponse(404, "The BMC holds no such file");
    const fs::path name(request.path.substr(sizeof kPackage - 1));
    // "..": nothing outside the directory is served.
    if (std::find(name.begin(), name.end(), "..") != name.end() || name.is_absolute())
        return errorResponse(404, "The BMC holds no such file");
    const fs::path  path = fs::path(bmc_.options.packageDir) / name;
    std::error_code error;
    auto            file = std::make_shared<std::ifstream>(path, std::ios::binary);
    if (!fs::is_regular_file(path, error) || !*file) return errorResponse(404, "The BMC holds no such file");

    Response response;
    response.headers   = {{"Content-Type", "application/octet-stream"}};
    response.bodySize  = fs::file_size(path, error);
    response.nextPiece = [file, piece = std::string(64 * 1024, '\0')]() mutable {
        file->read(piece.data(), static_cast<std::streamsize>(piece.size()));
        return std::string_view(piece.data(), static_cast<std::size_t>(file->gcount()));
    };
    return response;
}

Response Router::redfish(Exchange& exchange)
{
    const Request& request = exchange.request();
    const auto     body    = wholeBody(exchange);
    if (!body) return errorResponse(413, "The body is too long");
    return answerRedfish(bmc_, request, *body);
}

}  // namespace torvosim
