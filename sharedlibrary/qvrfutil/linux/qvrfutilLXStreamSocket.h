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
     * and counts what comes without being told.
     * @param bodyCame  whether some of the answer's body came meanwhile
     */
    void look(CURLM* multi, CURL* easy, bool bodyCame) noexcept;

    /**
     * Whether the BMC sends more than any event's length of what is no body. libcurl itself bounds header lines behind
     * a body (trailers) only lately, and keeps all of them in memory.
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
