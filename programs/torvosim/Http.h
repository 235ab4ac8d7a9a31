/** @file Http.h  Requests, responses and the exchange of one for the other, as the services here see them. */
#ifndef TORVOSIM_HTTP_H
#define TORVOSIM_HTTP_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Support.h"

namespace torvosim {

using Headers = std::vector<std::pair<std::string, std::string>>;

/** Value of the first header of that name, whatever its case; empty when there is none. */
std::string_view headerValue(const Headers& headers, std::string_view name) noexcept;

struct Request {
    std::string method;
    std::string target;  ///< as sent
    std::string path;    ///< decoded, without query and trailing slashes
    Headers     headers;
    std::string peer;  ///< the client's address

    std::string_view header(std::string_view name) const noexcept { return headerValue(headers, name); }
};

struct Response {
    int         status = 200;
    Headers     headers;
    std::string body;
    /** For a long body instead: hands out its next piece, empty at the end; @p bodySize tells the whole length. */
    std::function<std::string_view()> nextPiece;
    std::uint64_t                     bodySize = 0;
    bool                              close    = false;  ///< the connection ends after it

    std::uint64_t length() const noexcept { return nextPiece ? bodySize : body.size(); }
};

const char* reasonPhrase(int status) noexcept;
Response    jsonResponse(int status, std::string body);
/** A Redfish error body with @p message. */
Response errorResponse(int status, const std::string& message);
/** "405", with the methods that are allowed. */
Response methodNotAllowed(const std::string& allowed);
/** Quotes @p text as a JSON string. */
std::string jsonQuoted(std::string_view text);
/** Name and password of an Authorization header's value of the Basic scheme; nothing for other
 * schemes, and broken ones. */
std::optional<std::pair<std::string, std::string>> basicCredentials(std::string_view authorization);
/** Path of a request target: without query, %-decoded, without trailing slashes. */
std::string targetPath(std::string_view target);

/** One request and the way to answer it, for services that do more than return a Response. */
class Exchange {
public:
    virtual ~Exchange() = default;

    virtual const Request& request() const = 0;
    /** The next bytes of the request's body; empty at its end. The view lives until the next call. */
    virtual std::string_view readSome() = 0;
    /** Sends header lines of a response whose body follows in chunks. @return false: the peer is gone */
    virtual bool beginStream(const Response& head)  = 0;
    virtual bool writeChunk(std::string_view chunk) = 0;
    virtual void endStream()                        = 0;
    /** The connection's socket, for waiting on. */
    virtual int socket() const = 0;
    /** The connection is to end with a reset, not a farewell. */
    virtual void reset() = 0;
};

}  // namespace torvosim

#endif
