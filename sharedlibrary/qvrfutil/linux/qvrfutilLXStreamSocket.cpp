/** @file qvrfutilLXStreamSocket.cpp  Hides a subscription's connection from started programs, and bounds its heads. */
#include "qvrfutilLXStreamSocket.h"

#include <fcntl.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <cstddef>

namespace qvrf {
namespace {

constexpr u64 kMostWithoutBody = u64{2} * 1024 * 1024;

bool hide(int fd) noexcept
{
    return fcntl(fd, F_SETFD, FD_CLOEXEC) == 0;
}

/** Hides all sockets of the transfer (there are two while it tries two addresses). @return one of them */
curl_socket_t hideSockets(CURLM* multi) noexcept
{
    fd_set reading, writing, failing;
    FD_ZERO(&reading);
    FD_ZERO(&writing);
    FD_ZERO(&failing);
    int           highest = -1;
    curl_socket_t found   = CURL_SOCKET_BAD;
    if (curl_multi_fdset(multi, &reading, &writing, &failing, &highest) != CURLM_OK) return found;
    for (int fd = 0; fd <= highest; ++fd)
        if ((FD_ISSET(fd, &reading) || FD_ISSET(fd, &writing)) && hide(fd)) found = fd;
    return found;
}

/** The same for a descriptor that no fd_set has room for. */
curl_socket_t hideSocketOf(CURL* easy) noexcept
{
    // Room for a long: stand-ins for libcurl write one whatever they are asked.
    curl_socket_t socket[2] = {CURL_SOCKET_BAD, CURL_SOCKET_BAD};
    const bool    known     = curl_easy_getinfo(easy, CURLINFO_ACTIVESOCKET, socket) == CURLE_OK;
    return known && *socket >= FD_SETSIZE && hide(*socket) ? *socket : CURL_SOCKET_BAD;
}

/** All bytes that came in, those of TLS among them; nothing where the kernel does not tell. */
std::optional<u64> bytesReceived(curl_socket_t socket) noexcept
{
    tcp_info  about{};
    socklen_t size = sizeof about;
    if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &about, &size) != 0) return std::nullopt;
    if (size < offsetof(tcp_info, tcpi_bytes_received) + sizeof about.tcpi_bytes_received) return std::nullopt;
    return about.tcpi_bytes_received;
}

}  // namespace

void StreamSocket::look(CURLM* multi, CURL* easy, bool bodyCame) noexcept
{
    if (!settled_) socket_ = hideSockets(multi);
    if (socket_ == CURL_SOCKET_BAD) socket_ = hideSocketOf(easy);
    if (bodyCame) {
        settled_ = true;
        return sinceBody_.reset();
    }
    const auto received = socket_ != CURL_SOCKET_BAD ? bytesReceived(socket_) : std::nullopt;
    if (!received) return;
    if (!sinceBody_) sinceBody_ = received;
    floods_ = *received - *sinceBody_ > kMostWithoutBody;
}

}  // namespace qvrf
