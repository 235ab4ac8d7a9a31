/** @file sockettransport.cpp  Requests over a unix or TCP socket. */
#include "sockettransport.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

#include "hipmstatus.h"
#include "vmwire.h"

namespace qvplatform {
namespace {

constexpr std::uint8_t kProtocolVersion = 1;
constexpr std::uint8_t kNoCapabilities  = 0;  // this end has no power switch and no reset line

struct Address {
    sockaddr_storage storage{};
    socklen_t        size = 0;
};

std::optional<Address> unixAddress(const std::string& path)
{
    sockaddr_un unixName{};
    if (path.size() >= sizeof unixName.sun_path) return std::nullopt;
    unixName.sun_family = AF_UNIX;
    std::memcpy(unixName.sun_path, path.c_str(), path.size() + 1);
    Address address;
    std::memcpy(&address.storage, &unixName, sizeof unixName);
    address.size = sizeof unixName;
    return address;
}

/** Numeric hosts and localhost: a name server that is down would hold every request up for longer than its limit. */
std::optional<Address> tcpAddress(const Endpoint& endpoint)
{
    addrinfo hints{};
    hints.ai_flags           = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype        = SOCK_STREAM;
    const std::string& host  = endpoint.place == "localhost" ? "127.0.0.1" : endpoint.place;
    addrinfo*          found = nullptr;
    if (::getaddrinfo(host.c_str(), endpoint.port.c_str(), &hints, &found) != 0) return std::nullopt;
    const std::unique_ptr<addrinfo, qvrf::GivenBackBy<&::freeaddrinfo>> owner(found);
    Address                                                             address;
    std::memcpy(&address.storage, found->ai_addr, found->ai_addrlen);
    address.size = found->ai_addrlen;
    return address;
}

/** Connects without blocking beyond @p deadline. */
bool connectTo(int socket, const Address& address, Clock::time_point deadline)
{
    const auto* name = reinterpret_cast<const sockaddr*>(&address.storage);
    while (::connect(socket, name, address.size) != 0) {
        if (errno == EAGAIN && Clock::now() < deadline) {  // a unix socket whose queue of callers is full
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        if (errno != EINPROGRESS && errno != EINTR) return false;
        int       result = 0;
        socklen_t size   = sizeof result;
        if (!waitFor(socket, POLLOUT, deadline)) return false;
        if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, &result, &size) != 0) return false;
        errno = result;
        return result == 0;
    }
    return true;
}

/** A place for sockets that others can write would otherwise let them play the BMC, and be told passwords. */
bool isTrustedPeer(int socket)
{
    ucred     peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
    if (peer.uid == 0 || peer.uid == ::geteuid()) return true;
    errno = EPERM;
    return false;
}

}  // namespace

std::optional<Bytes> SocketTransport::exchange(const Bytes& request, Clock::time_point deadline)
{
    ++sequence_;
    const Bytes frame = encodeMessage({sequence_, request});
    for (bool reused = stillConnected();; reused = false) {
        if (!reused && !connect(deadline)) return failed("connect");
        const Sent sent = send(frame, deadline);
        if (sent == Sent::whole) return receive(request, deadline);
        disconnect();
        // Only a request of which the peer saw nothing may be sent again: it could be carried out twice.
        if (!reused || sent == Sent::partly) return failed("send");
    }
}

/** Takes in what arrived since the last exchange; late replies go with it. @return false when the peer has left. */
bool SocketTransport::stillConnected()
{
    std::array<std::uint8_t, 512> stale;
    constexpr int                 kMostPieces = 64;  // a peer that never stops talking is dropped
    for (int piece = 0; socket_ && piece < kMostPieces; ++piece) {
        const ssize_t got = ::recv(socket_.get(), stale.data(), stale.size(), MSG_DONTWAIT);
        if (got < 0 && errno == EAGAIN) return true;
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        for (ssize_t i = 0; i < got; ++i) decoder_.take(stale[static_cast<std::size_t>(i)]);
    }
    disconnect();
    return false;
}

bool SocketTransport::connect(Clock::time_point deadline)
{
    const bool isUnix  = endpoint_.kind == Endpoint::Kind::unixSocket;
    const auto address = isUnix ? unixAddress(endpoint_.place) : tcpAddress(endpoint_);
    if (!address) {
        errno = isUnix ? ENAMETOOLONG : EADDRNOTAVAIL;
        return false;
    }
    qvrf::Descriptor socket(::socket(address->storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket || !connectTo(socket.get(), *address, deadline)) return false;
    if (isUnix && !isTrustedPeer(socket.get())) return false;
    if (!isUnix) {
        const int on = 1;
        ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    decoder_ = {};
    socket_  = std::move(socket);

    Bytes       greeting     = encodeCommand({vmwire::kDeviceVersion, kProtocolVersion});
    const Bytes capabilities = encodeCommand({vmwire::kDeviceCapabilities, kNoCapabilities});
    greeting.insert(greeting.end(), capabilities.begin(), capabilities.end());
    if (send(greeting, deadline) == Sent::whole) return true;
    disconnect();
    return false;
}

SocketTransport::Sent SocketTransport::send(const Bytes& bytes, Clock::time_point deadline)
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t sent =
            ::send(socket_.get(), bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0)
            done += static_cast<std::size_t>(sent);
        else if (errno == EAGAIN && waitFor(socket_.get(), POLLOUT, deadline))
            continue;
        else if (errno != EINTR)
            return done == 0 ? Sent::nothing : Sent::partly;
    }
    return Sent::whole;
}

std::optional<Bytes> SocketTransport::receive(const Bytes& request, Clock::time_point deadline)
{
    std::array<std::uint8_t, 512> piece;
    while (waitFor(socket_.get(), POLLIN, deadline)) {
        const ssize_t got = ::recv(socket_.get(), piece.data(), piece.size(), MSG_DONTWAIT);
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (got == 0) errno = ECONNRESET;
        if (got <= 0) {
            auto nothing = failed("receive");
            disconnect();
            return nothing;
        }
        std::optional<Bytes> reply;
        for (ssize_t i = 0; i < got; ++i) {
            auto message = decoder_.take(piece[static_cast<std::size_t>(i)]);
            if (message && message->sequence == sequence_ && answers(request, message->bytes))
                reply = std::move(message->bytes);
        }
        ::explicit_bzero(piece.data(), static_cast<std::size_t>(got));
        if (reply) return reply;
    }
    return failed("receive");
}

std::optional<Bytes> SocketTransport::failed(const char* step)
{
    const int         cause = errno;
    const std::string what  = std::string(step) + " at " + endpoint_.place;
    reportFailure(what.c_str(), std::strerror(cause));
    return std::nullopt;
}

void SocketTransport::disconnect()
{
    socket_ = qvrf::Descriptor();
}

}  // namespace qvplatform
