/** @file HttpsConnection.h  HTTP/1.1 on one TLS connection. */
#ifndef TORVOSIM_HTTPSCONNECTION_H
#define TORVOSIM_HTTPSCONNECTION_H

#include "Bmc.h"
#include "Router.h"
#include "TlsSocket.h"

namespace torvosim {

/** Reads requests and writes responses until either side ends the connection. */
void serveHttp(Bmc& bmc, Router& router, TlsSocket& tls);

}  // namespace torvosim

#endif
