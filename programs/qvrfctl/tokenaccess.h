/** @file tokenaccess.h  Requests with a login token each, for a BMC that has no session left to give. */
#ifndef QVRFCTL_TOKENACCESS_H
#define QVRFCTL_TOKENACCESS_H

#include "request.h"
#include "webprobe.h"

namespace qvrfctl {

/**
 * The login token that a session is opened with can stand in the place of one ("Authorization: Bearer"), where the BMC
 * takes it: enough to see the sessions that use it up, and to end some. A token may be good for one use, so each
 * request has its own.
 */
class TokenAccess {
public:
    /** Finds the BMC. @throws Failure */
    explicit TokenAccess(const Context& context);

    /** A request without a body. @throws Failure without an answer, or where the BMC takes no token for this */
    Answer send(const Request& request) const;

private:
    std::string authorization() const;

    const Context&   context_;
    const OpenAccess access_;
    const WebProbe   web_;
};

}  // namespace qvrfctl

#endif
