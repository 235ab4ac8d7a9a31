/** @file Http.cpp  Requests and responses. */
#include "Http.h"

#include <openssl/evp.h>

#include <array>
#include <cstdio>

namespace torvosim {

namespace {
constexpr std::size_t kMostCredentials = 1024;
}

std::string_view headerValue(const Headers& headers, std::string_view name) noexcept
{
    for (const auto& [key, value] : headers)
        if (equalsIgnoreCase(key, name)) return value;
    return {};
}

const char* reasonPhrase(int status) noexcept
{
    static constexpr std::pair<int, const char*> phrases[] = {
        {200, "OK"},
        {201, "Created"},
        {202, "Accepted"},
        {204, "No Content"},
        {304, "Not Modified"},
        {400, "Bad Request"},
        {401, "Unauthorized"},
        {403, "Forbidden"},
        {404, "Not Found"},
        {405, "Method Not Allowed"},
        {408, "Request Timeout"},
        {409, "Conflict"},
        {410, "Gone"},
        {412, "Precondition Failed"},
        {413, "Content Too Large"},
        {415, "Unsupported Media Type"},
        {428, "Precondition Required"},
        {429, "Too Many Requests"},
        {500, "Internal Server Error"},
        {501, "Not Implemented"},
        {502, "Bad Gateway"},
        {503, "Service Unavailable"},
        {507, "Insufficient Storage"},
    };
    for (const auto& [code, phrase] : phrases)
        if (code == status) return phrase;
    return "Status";
}

Response jsonResponse(int status, std::string body)
{
    Response response;
    response.status  = status;
    response.headers = {{"Content-Type", "application/json;charset=utf-8"}, {"OData-Version", "4.0"}};
    response.body    = std::move(body);
    return response;
}

Response errorResponse(int status, const std::string& message)
{
    const std::string quoted = jsonQuoted(message);
    return jsonResponse(status, R"({"error":{"code":"Base.1.12.GeneralError","message":)" + quoted +
                                    R"(,"@Message.ExtendedInfo":[{"MessageId":"Base.1.12.GeneralError","Message":)" +
                                    quoted + R"(,"Severity":"Critical"}]}})");
}

Response methodNotAllowed(const std::string& allowed)
{
    Response response = errorResponse(405, "The resource does not take this method");
    response.headers.emplace_back("Allow", allowed);
    return response;
}

std::string jsonQuoted(std::string_view text)
{
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\u%04x", static_cast<unsigned>(c));
            quoted += code.data();
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

std::optional<std::pair<std::string, std::string>> basicCredentials(std::string_view authorization)
{
    constexpr std::string_view scheme = "Basic ";
    authorization                     = trimmed(authorization);
    if (!equalsIgnoreCase(authorization.substr(0, scheme.size()), scheme)) return std::nullopt;
    const std::string_view encoded = trimmed(authorization.substr(scheme.size()));
    if (encoded.empty() || encoded.size() % 4 != 0 || encoded.size() > kMostCredentials) return std::nullopt;
    const std::size_t padding = encoded.size() - (encoded.find_last_not_of('=') + 1);
    std::string       text(encoded.size() / 4 * 3, '\0');
    const int         decoded =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                        reinterpret_cast<const unsigned char*>(encoded.data()), static_cast<int>(encoded.size()));
    if (decoded < 0 || padding > 2 || static_cast<std::size_t>(decoded) < padding) return std::nullopt;
    text.resize(static_cast<std::size_t>(decoded) - padding);  // the padding was decoded to zeros
    const auto colon = text.find(':');
    if (colon == text.npos) return std::nullopt;
    return std::pair(text.substr(0, colon), text.substr(colon + 1));
}

std::string targetPath(std::string_view target)
{
    target = target.substr(0, target.find_first_of("?#"));
    std::string path;
    for (std::size_t i = 0; i < target.size(); ++i) {
        const auto byte = target[i] == '%' ? parseHex(target.substr(i + 1, 2)) : std::nullopt;
        if (byte && byte->size() == 1) {
            path += static_cast<char>(byte->front());
            i += 2;
        } else {
            path += target[i];
        }
    }
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

}  // namespace torvosim
