/** @file ResponseWriter.cpp  Puts responses on the wire. */
#include "ResponseWriter.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

namespace torvosim {

bool ResponseWriter::put(std::string_view bytes)
{
    if (cut_) return false;
    if (faults_.cutAfter && sent_ + bytes.size() > *faults_.cutAfter) {
        bytes = bytes.substr(0, static_cast<std::size_t>(*faults_.cutAfter - sent_));
        cut_  = true;
    }
    sent_ += bytes.size();
    return tls_.write(bytes) && !cut_;
}

std::string ResponseWriter::headerBlock(const Response& response, bool chunked)
{
    Headers headers = response.headers;
    if (chunked) {
        headers.emplace_back("Transfer-Encoding", "chunked");
    } else if (response.status != 204) {
        headers.emplace_back("Content-Length", std::to_string(response.length()));
    }
    headers.emplace_back("Date", httpDate(std::time(nullptr)));
    headers.emplace_back("Server", "torvosim");
    headers.emplace_back("Cache-Control", "no-cache");
    if (last_ || response.close) headers.emplace_back("Connection", "close");
    for (const auto& [name, value] : faults_.add) headers.emplace_back(name, value);

    std::string block = "HTTP/1.1 " + std::to_string(response.status) + ' ' + reasonPhrase(response.status) + "\r\n";
    for (const auto& [name, value] : headers) {
        const auto named = [&key = name](const std::string& other) { return equalsIgnoreCase(key, other); };
        if (std::any_of(faults_.drop.begin(), faults_.drop.end(), named)) continue;
        const bool twice = std::any_of(faults_.duplicate.begin(), faults_.duplicate.end(), named);
        for (int i = 0; i < (twice ? 2 : 1); ++i) block.append(name).append(": ").append(value).append("\r\n");
    }
    return block;
}

/** Header lines without end: up to the bound, or until the peer has enough. */
bool ResponseWriter::putEndlessHeader()
{
    const std::string filler(100, 'x');
    for (std::uint64_t i = 0; sent_ < *faults_.endlessHeader; ++i)
        if (!put("X-Endless-" + std::to_string(i) + ": " + filler + "\r\n")) return false;
    cut_ = true;
    return false;
}

bool ResponseWriter::send(const Response& response, bool withBody)
{
    std::string block = headerBlock(response, false);
    if (faults_.endlessHeader) return put(block) && putEndlessHeader();
    block += "\r\n";
    if (!withBody) return put(block) && !response.close;
    if (!response.nextPiece) {
        // Header and body in one write: one TLS record for a small response.
        block += response.body;
        return put(block) && !response.close;
    }
    if (!put(block)) return false;
    for (std::string_view piece = response.nextPiece(); !piece.empty(); piece = response.nextPiece())
        if (!put(piece)) return false;
    return !response.close;
}

bool ResponseWriter::beginStream(const Response& head)
{
    const std::string block = headerBlock(head, true);
    if (faults_.endlessHeader) return put(block) && putEndlessHeader();
    return put(block + "\r\n");
}

bool ResponseWriter::writeChunk(std::string_view chunk)
{
    if (chunk.empty()) return true;  // a chunk of no bytes would end the stream
    std::array<char, 24> size{};
    std::snprintf(size.data(), size.size(), "%zx\r\n", chunk.size());
    return put(std::string(size.data()).append(chunk).append("\r\n"));
}

bool ResponseWriter::endStream()
{
    return put("0\r\n\r\n");
}

void ResponseWriter::sendRaw(std::string_view text)
{
    put(text);
}

}  // namespace torvosim
