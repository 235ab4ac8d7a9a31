/** @file endpoint.h  What is said about the BMC on the command line, checked before anything is sent. */
#ifndef QVRFCTL_ENDPOINT_H
#define QVRFCTL_ENDPOINT_H

#include <string>
#include <string_view>

#include "qvrfutil_core.hpp"

namespace qvrfctl {

using qvrfutil::Generation;

struct Endpoint {
    std::string address;  ///< IPv6 without brackets
    std::string port;
    bool        ipv6 = false;
};

/**
 * A numeric address, IPv6 with or without brackets and recognised by its colons, and a port of at most four digits:
 * what QVRFUTILSetIPAddress and the session service take. @throws Failure that says what is wrong
 */
Endpoint parseEndpoint(std::string_view address, std::string_view port);

/** A path of a Redfish resource. @throws Failure */
void checkPath(std::string_view path);

/** A name that the session record and the BMC's user database can hold. @throws Failure */
void checkUserName(std::string_view name);

/** Whether @p body is JSON. @throws Failure that says what it is ("the body") and where it is not JSON */
void checkJsonBody(std::string_view body, const std::string& what = "the body");

}  // namespace qvrfctl

#endif
