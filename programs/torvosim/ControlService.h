/** @file ControlService.h  The control words over a Unix socket. */
#ifndef TORVOSIM_CONTROLSERVICE_H
#define TORVOSIM_CONTROLSERVICE_H

#include <string>

#include "Bmc.h"
#include "SocketServer.h"

namespace torvosim {

class ControlService {
public:
    explicit ControlService(Bmc& bmc) : bmc_(bmc), server_([this](int fd) { serve(fd); }) {}

    void listen(const std::string& path) { server_.add(listenUnix(path)); }
    void start() { server_.start(); }
    void stop() noexcept { server_.stop(); }

private:
    void serve(int fd);

    Bmc&         bmc_;
    SocketServer server_;
};

}  // namespace torvosim

#endif
