/** @file ResponseWriter.h  Puts responses on the wire, with the faults that were asked for. */
#ifndef TORVOSIM_RESPONSEWRITER_H
#define TORVOSIM_RESPONSEWRITER_H

#include <string_view>

#include "Faults.h"
#include "Http.h"
#include "TlsSocket.h"

namespace torvosim {

/** One response. Every operation tells whether the connection is still good for more. */
class ResponseWriter {
public:
    /** @param last  the connection ends after this response, which says so: else its client might ask once more */
    ResponseWriter(TlsSocket& tls, HttpFaults faults, bool last) : tls_(tls), faults_(std::move(faults)), last_(last) {}

    bool send(const Response& response, bool withBody);
    bool beginStream(const Response& head);
    bool writeChunk(std::string_view chunk);
    bool endStream();
    /** The fault "raw": @p text and nothing else. The connection ends after it, properly: for many it ends the body. */
    void sendRaw(std::string_view text);
    /** Whether the connection was cut on purpose: no farewell then. */
    bool wasCut() const noexcept { return cut_; }
    bool started() const noexcept { return sent_ != 0; }

private:
    bool        put(std::string_view bytes);
    bool        putEndlessHeader();
    std::string headerBlock(const Response& response, bool chunked);

    TlsSocket&    tls_;
    HttpFaults    faults_;
    bool          last_;
    std::uint64_t sent_ = 0;
    bool          cut_  = false;
};

}  // namespace torvosim

#endif
