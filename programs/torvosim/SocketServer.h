/** @file SocketServer.h  Listening sockets with a thread for each connection, and a stop that wakes them all. */
#ifndef TORVOSIM_SOCKETSERVER_H
#define TORVOSIM_SOCKETSERVER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Support.h"

namespace torvosim {

/** A bound and listening TCP socket. @param host numeric or a name. @throws std::system_error */
Descriptor listenTcp(const std::string& host, std::uint16_t port);
/** A listening Unix socket, 0600; a socket that was left behind is replaced. @throws std::runtime_error */
Descriptor listenUnix(const std::string& path);
/** Splits "host:port" or "[v6]:port". @throws std::invalid_argument */
std::pair<std::string, std::uint16_t> splitHostPort(const std::string& text);
std::uint16_t                         boundPort(int fd);

class SocketServer {
public:
    /** Runs on the connection's own thread; the descriptor is closed after it returns. */
    using Serve = std::function<void(int fd)>;

    explicit SocketServer(Serve serve) : serve_(std::move(serve)) {}
    ~SocketServer() { stop(); }
    SocketServer(const SocketServer&)            = delete;
    SocketServer& operator=(const SocketServer&) = delete;

    void add(Descriptor listener) { listeners_.push_back(std::move(listener)); }
    /** Also after stop(), with listeners that were added since. */
    void        start();
    void        stop() noexcept;
    std::size_t connectionsSoFar() const noexcept { return accepted_; }

private:
    struct Connection {
        Descriptor  fd;
        std::thread thread;
        bool        finished = false;
    };

    void acceptLoop(int listener);
    void admit(Descriptor fd);
    void reap(std::list<Connection>& gone);

    Serve                    serve_;
    std::vector<Descriptor>  listeners_;
    std::vector<std::thread> acceptors_;
    std::mutex               mutex_;
    std::list<Connection>    connections_;
    bool                     stopping_ = false;
    std::atomic<std::size_t> accepted_{0};
};

}  // namespace torvosim

#endif
