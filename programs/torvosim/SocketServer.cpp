/** @file SocketServer.cpp  Listening sockets with a thread for each connection. */
#include "SocketServer.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "SignalsBlocked.h"

namespace torvosim {

namespace {

constexpr int kBacklog    = 128;
constexpr int kBreatherMs = 20;

[[noreturn]] void socketFailed(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

struct FreeAddresses {
    void operator()(addrinfo* list) const noexcept { ::freeaddrinfo(list); }
};

/** Removes the socket of somebody who is gone; a socket that somebody listens on is not ours to take. */
void removeAbandoned(const std::string& path, const sockaddr_un& address)
{
    struct stat old {};
    if (::lstat(path.c_str(), &old) != 0 || !S_ISSOCK(old.st_mode)) return;
    const Descriptor probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!probe || ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        throw std::runtime_error(path + ": somebody listens there already");
    ::unlink(path.c_str());
}

}  // namespace

Descriptor listenTcp(const std::string& host, std::uint16_t port)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags    = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found   = nullptr;
    if (const int rc = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found); rc != 0)
        throw std::runtime_error(host + ": " + ::gai_strerror(rc));
    const std::unique_ptr<addrinfo, FreeAddresses> address(found);

    Descriptor fd(::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) socketFailed(host);
    const int on = 1;
    ::setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    // 0.0.0.0 and :: may both be asked for, with the same port.
    if (address->ai_family == AF_INET6) ::setsockopt(fd.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    if (::bind(fd.get(), address->ai_addr, address->ai_addrlen) != 0 || ::listen(fd.get(), kBacklog) != 0)
        socketFailed(host + " port " + std::to_string(port));
    return fd;
}

Descriptor listenUnix(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw std::runtime_error(path + ": longer than the " + std::to_string(sizeof address.sun_path - 1) +
                                 " characters of a socket path");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

    removeAbandoned(path, address);
    Descriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd || ::bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::chmod(path.c_str(), 0600) != 0 || ::listen(fd.get(), kBacklog) != 0)
        socketFailed(path);
    return fd;
}

std::pair<std::string, std::uint16_t> splitHostPort(const std::string& text)
{
    const auto  colon = text.rfind(':');
    const auto  port  = colon == text.npos ? std::nullopt : parseNumber(text.substr(colon + 1), UINT16_MAX);
    std::string host  = text.substr(0, colon == text.npos ? 0 : colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    if (!port || host.empty()) throw std::invalid_argument("'" + text + "' is not host:port");
    return {host, static_cast<std::uint16_t>(*port)};
}

std::uint16_t boundPort(int fd)
{
    sockaddr_storage address{};
    socklen_t        size = sizeof address;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) socketFailed("getsockname");
    return ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(address).sin6_port
                                               : reinterpret_cast<sockaddr_in&>(address).sin_port);
}

void SocketServer::start()
{
    const SignalsBlocked blocked;  // threads inherit it
    stopping_ = false;
    for (const Descriptor& listener : listeners_)
        acceptors_.emplace_back([this, fd = listener.get()] { acceptLoop(fd); });
}

void SocketServer::stop() noexcept
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        for (const Connection& connection : connections_) ::shutdown(connection.fd.get(), SHUT_RDWR);
    }
    for (const Descriptor& listener : listeners_) ::shutdown(listener.get(), SHUT_RDWR);  // wakes accept
    for (std::thread& acceptor : acceptors_) acceptor.join();
    acceptors_.clear();
    listeners_.clear();
    // Nobody adds connections any more.
    for (Connection& connection : connections_) connection.thread.join();
    connections_.clear();
}

void SocketServer::acceptLoop(int listener)
{
    for (;;) {
        Descriptor            fd(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
        const int             error = errno;
        std::list<Connection> gone;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stopping_) return;
            reap(gone);
            if (fd) admit(std::move(fd));
        }
        for (Connection& connection : gone) connection.thread.join();
        // Out of descriptors: the pending connection stays acceptable, so give others time to close theirs.
        if (!fd && (error == EMFILE || error == ENFILE)) ::poll(nullptr, 0, kBreatherMs);
    }
}

void SocketServer::admit(Descriptor fd)
{
    const int on = 1;  // small answers must not wait for each other; fails harmlessly on Unix sockets
    ::setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ++accepted_;
    Connection& connection = connections_.emplace_back();
    connection.fd          = std::move(fd);
    const auto run         = [this, &connection] {
        try {
            serve_(connection.fd.get());
        } catch (const std::exception&) {
            // A connection that fails ends; the BMC goes on.
        }
        std::lock_guard<std::mutex> lock(mutex_);
        connection.fd       = Descriptor();
        connection.finished = true;
    };
    try {
        connection.thread = std::thread(run);
    } catch (const std::system_error&) {
        connections_.pop_back();  // no thread to be had: the peer sees its connection closed
    }
}

void SocketServer::reap(std::list<Connection>& gone)
{
    for (auto it = connections_.begin(); it != connections_.end();) {
        const auto next = std::next(it);
        if (it->finished) gone.splice(gone.end(), connections_, it);
        it = next;
    }
}

}  // namespace torvosim
