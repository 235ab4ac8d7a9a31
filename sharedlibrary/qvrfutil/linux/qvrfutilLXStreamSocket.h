/** @file qvrfutilLXStreamSocket.h  The socket of a subscription's connection, which lives for hours. */
#ifndef QVRFUTILLXSTREAMSOCKET_H
#define QVRFUTILLXSTREAMSOCKET_H

#include <curl/curl.h>

#include <optional>

#include "qvtypes.h"

namespace qvrf {

class StreamSocket {
public:
    /**
     * Looks at the connection after libcurl moved the transfer on: keeps it from the programs that the process starts,
     * and counts what comes and is handed to nobody.
     * @param bodyCame  whether some of the answer's body came meanwhile
     */
    void look(CURLM* multi, CURL* easy, bool bodyCame) noexcept;

    /**
     * Whether the BMC has sent more bytes outside the body than the longest event has. Header lines behind a body
     * (trailers) stay in libcurl's memory, and older versions of it take any number of them.
     */
    bool floods() const noexcept { return floods_; }

private:
    curl_socket_t      socket_  = CURL_SOCKET_BAD;  ///< as far as it is known
    bool               settled_ = false;            ///< no other one will come
    std::optional<u64> sinceBody_;                  ///< received when no body came for the first time
    bool               floods_ = false;
};

}  // namespace qvrf

#endif
