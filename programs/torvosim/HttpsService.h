/** @file HttpsService.h  The HTTPS side: listeners, connections, requests read and responses written. */
#ifndef TORVOSIM_HTTPSSERVICE_H
#define TORVOSIM_HTTPSSERVICE_H

#include <string>
#include <thread>
#include <vector>

#include "Bmc.h"
#include "Router.h"
#include "SocketServer.h"
#include "TlsSocket.h"

namespace torvosim {

class HttpsService {
public:
    HttpsService(Bmc& bmc, Router& router);

    /** Binds every address of the options; connections are not served before start(). @throws std::exception */
    void listen();
    void start();
    void stop() noexcept;

    std::uint16_t                   port() const noexcept { return port_; }
    const std::vector<std::string>& addresses() const noexcept { return addresses_; }
    const std::string&              certificatePem() const noexcept { return certificatePem_; }

private:
    bool bindAll(std::uint16_t port);
    void restartWhenAsked();
    bool bindAgain();
    void serve(int fd);

    Bmc&                     bmc_;
    Router&                  router_;
    SocketServer             server_;
    TlsContext               context_;
    std::thread              restarter_;
    std::uint16_t            port_ = 0;
    std::vector<std::string> addresses_;  // as hosts see them
    std::vector<std::string> bound_;      // as they were asked for
    std::string              certificatePem_;
};

}  // namespace torvosim

#endif
