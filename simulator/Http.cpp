/** @file Http.cpp  Requests and responses. */
#include "Http.h"

#include <array>
#include <cstdio>

namespace torvosim {

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
        {412, "Precondition Failed"},
        {413, "Content Too Large"},
        {415, "Unsupported Media Type"},
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
