/** @file Router.h  Leads each request to the service that answers it, after asking for the session that it needs. */
#ifndef TORVOSIM_ROUTER_H
#define TORVOSIM_ROUTER_H

#include <optional>
#include <string>

#include "Bmc.h"
#include "Http.h"

namespace torvosim {

class Router {
public:
    explicit Router(Bmc& bmc) : bmc_(bmc) {}

    /** The response; nothing when the exchange was answered as a stream. */
    std::optional<Response> handle(Exchange& exchange);

private:
    bool                    isOpen(const Request& request);
    bool                    mayPass(const Request& request);
    bool                    hasLoginToken(const Request& request);
    std::optional<Response> dispatch(Exchange& exchange);
    Response                testResource(Exchange& exchange);
    Response                packageFile(const Request& request);
    Response                redfish(Exchange& exchange);

    Bmc& bmc_;
};

}  // namespace torvosim

#endif
