/** @file IpmiService.h  IPMI over Unix and TCP sockets, in frames of the VM serial protocol. */
#ifndef TORVOSIM_IPMISERVICE_H
#define TORVOSIM_IPMISERVICE_H

#include <string>

#include "Bmc.h"
#include "IpmiCommands.h"
#include "SocketServer.h"

namespace torvosim {

class IpmiService {
public:
    explicit IpmiService(Bmc& bmc) : bmc_(bmc), commands_(bmc), server_([this](int fd) { serve(fd); }) {}

    /** Binds; nothing is served before start(). @throws std::exception */
    void listenUnix(const std::string& path) { server_.add(torvosim::listenUnix(path)); }
    /** @return host:port with the port in use */
    std::string listenTcp(const std::string& hostPort);
    void        start() { server_.start(); }
    void        stop() noexcept { server_.stop(); }

private:
    void serve(int fd);
    bool answerMessage(int fd, const IpmiMessage& request);
    bool answerDevice(int fd, const Bytes& command);

    Bmc&         bmc_;
    IpmiCommands commands_;
    SocketServer server_;
};

}  // namespace torvosim

#endif
