/** @file HttpsService.cpp  The HTTPS listeners. */
#include "HttpsService.h"

#include <cerrno>
#include <random>
#include <system_error>

#include "Firmware.h"
#include "HttpsConnection.h"
#include "SignalsBlocked.h"

namespace torvosim {

namespace {

// Hosts carry the port in fields that are safe for four digits.
constexpr std::uint16_t kLowestPort  = 1024;
constexpr std::uint16_t kHighestPort = 9999;
constexpr int           kPortTries   = 500;
// At the far end of a link no port is taken.
constexpr std::uint16_t kLinkPort = 443;

constexpr std::chrono::seconds kNextTry{1};

bool meansNoIpv6(const std::system_error& error)
{
    const int code = error.code().value();
    return code == EADDRNOTAVAIL || code == EAFNOSUPPORT;
}

}  // namespace

HttpsService::HttpsService(Bmc& bmc, Router& router)
    : bmc_(bmc), router_(router), server_([this](int fd) { serve(fd); })
{
}

void HttpsService::listen()
{
    const std::uint16_t wanted = bmc_.options.httpsPort == 0 && bmc_.link ? kLinkPort : bmc_.options.httpsPort;
    if (wanted != 0) {
        if (!bindAll(wanted)) throw std::runtime_error("HTTPS port " + std::to_string(wanted) + " is in use");
    } else {
        std::minstd_rand                        random(std::random_device{}());
        std::uniform_int_distribution<unsigned> candidate(kLowestPort, kHighestPort);
        int                                     tries = 0;
        while (!bindAll(static_cast<std::uint16_t>(candidate(random))))
            if (++tries == kPortTries) throw std::runtime_error("no free HTTPS port of four digits");
    }
    context_ = makeTlsContext(addresses_, bmc_.options.tlsMin, bmc_.options.tlsMax, certificatePem_);
}

/** All addresses with one port, or none. @return false: somebody has that port on one of them */
bool HttpsService::bindAll(std::uint16_t port)
{
    const bool               byDefault = bmc_.options.httpsAddresses.empty();
    std::vector<std::string> wanted    = bmc_.options.httpsAddresses;
    if (byDefault) wanted = bmc_.link ? bmc_.link->addresses() : std::vector<std::string>{"127.0.0.1", "::1"};

    std::vector<std::string> told;
    std::vector<std::string> bound;
    std::vector<Descriptor>  listeners;
    for (const std::string& address : wanted) {
        try {
            listeners.push_back(listenTcp(address, port));
            bound.push_back(address);
            told.push_back(address.substr(0, address.find('%')));  // the zone is this end's alone
        } catch (const std::system_error& error) {
            if (error.code().value() == EADDRINUSE) return false;
            if (!byDefault || bound.empty() || !meansNoIpv6(error)) throw;
        }
    }
    for (Descriptor& listener : listeners) server_.add(std::move(listener));
    addresses_ = std::move(told);
    bound_     = std::move(bound);
    port_      = port;
    return true;
}

void HttpsService::start()
{
    const SignalsBlocked blocked;
    server_.start();
    restarter_ = std::thread([this] { restartWhenAsked(); });
}

void HttpsService::stop() noexcept
{
    bmc_.restart.end();
    if (restarter_.joinable()) restarter_.join();
    server_.stop();
}

/** Until the end: takes the service away as a BMC that restarts does, with sessions and tasks, and brings it back. */
void HttpsService::restartWhenAsked()
{
    while (const auto pause = bmc_.restart.wait()) {
        server_.stop();
        bmc_.tasks.finishAndForget();
        bmc_.sessions.closeAll();
        useWaitingFirmware(bmc_, true);
        bmc_.trace.line("https restart");
        if (!bmc_.restart.passes(*pause)) return;
        while (!bindAgain())
            if (!bmc_.restart.passes(kNextTry)) return;
        server_.start();
        bmc_.restart.isBack();
    }
}

/** @return false: somebody has taken the port meanwhile */
bool HttpsService::bindAgain()
{
    std::vector<Descriptor> listeners;
    const auto              bind = [&] {
        for (const std::string& address : bound_) listeners.push_back(listenTcp(address, port_));
    };
    try {
        bmc_.link ? bmc_.link->atFarEnd(bind) : bind();
    } catch (const std::exception& error) {
        bmc_.trace.line(std::string("https restart: ") + error.what());
        return false;
    }
    for (Descriptor& listener : listeners) server_.add(std::move(listener));
    return true;
}

void HttpsService::serve(int fd)
{
    ++bmc_.stats.connections;
    TlsSocket tls(context_.get(), fd);
    if (!tls.handshake()) {
        ++bmc_.stats.handshakesFailed;
        bmc_.trace.line("https handshake failed");
        return;
    }
    serveHttp(bmc_, router_, tls);
}

}  // namespace torvosim
