/** @file TlsSocket.h  The server's TLS context and one TLS connection on a socket. */
#ifndef TORVOSIM_TLSSOCKET_H
#define TORVOSIM_TLSSOCKET_H

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace torvosim {

template <auto Release>
struct ReleasedBy {
    template <class T>
    void operator()(T* p) const noexcept
    {
        Release(p);
    }
};
using TlsContext = std::unique_ptr<SSL_CTX, ReleasedBy<&SSL_CTX_free>>;

/**
 * A context with a fresh self-signed certificate (EC P-256).
 * @param names  host names and addresses that the certificate is for
 * @param minimum,maximum  "1.0" to "1.3"
 * @param[out] certificatePem  the certificate
 * @throws std::runtime_error
 */
TlsContext makeTlsContext(const std::vector<std::string>& names, const std::string& minimum, const std::string& maximum,
                          std::string& certificatePem);

/** Blocking TLS on a connected socket that stays the caller's. */
class TlsSocket {
public:
    TlsSocket(SSL_CTX* context, int fd);

    bool handshake() noexcept;
    /** @return bytes read; 0: the peer is gone, in whatever way */
    std::size_t read(void* into, std::size_t size) noexcept;
    bool        write(std::string_view bytes) noexcept;
    /** Says goodbye to the peer, without waiting for its answer. */
    void farewell() noexcept;
    /** Closing the socket will reset the connection. */
    void resetOnClose() noexcept;
    int  fd() const noexcept { return fd_; }

private:
    std::unique_ptr<SSL, ReleasedBy<&SSL_free>> ssl_;
    int                                         fd_;
};

}  // namespace torvosim

#endif
