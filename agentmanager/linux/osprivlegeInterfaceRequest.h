/** @file osprivlegeInterfaceRequest.h  Interface requests (ioctl) and the sockets that carry them. */
#ifndef OSPRIVLEGEINTERFACEREQUEST_H
#define OSPRIVLEGEINTERFACEREQUEST_H

#include <net/if.h>

namespace qvrf {

/**
 * A request that names an interface; everything else is zero. A name of 16 or more characters is not cut, which could
 * name another interface: it is left out, and the kernel refuses a request without a name.
 */
ifreq requestFor(const char* interfaceName) noexcept;

/** An interface request and the name that the log gives it. */
struct InterfaceCommand {
    unsigned long request;
    const char*   name;
};
extern const InterfaceCommand kGetIndex;
extern const InterfaceCommand kGetFlags;
extern const InterfaceCommand kSetFlags;
extern const InterfaceCommand kSetAddress;

/** Sends one interface request for the probe; a failure is logged. */
bool performed(int socket, const InterfaceCommand& command, ifreq& request) noexcept;

/**
 * A socket that programs do not inherit, -1 on failure. Its type is the plain one: hosts that stand in for socket(), or
 * filter it, know the probe's by that.
 */
int openSocket(int family, int type) noexcept;

/** A socket whose failing close is worth a line in the log and changes nothing. */
class LoggedSocket {
public:
    /** @param closeFailed  the line, a literal: outlives the socket */
    LoggedSocket(int family, int type, const char* closeFailed) noexcept;
    ~LoggedSocket();
    LoggedSocket(LoggedSocket&&) = delete;  // and with it every copy

    explicit operator bool() const noexcept { return fd_ >= 0; }
    int      get() const noexcept { return fd_; }

private:
    int         fd_;
    const char* closeFailed_;
};

}  // namespace qvrf

#endif
