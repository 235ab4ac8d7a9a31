/** @file osprivlegeInterfaceRequest.cpp  Interface requests (ioctl), and the operation that sets flags by one. */
#include "osprivlegeInterfaceRequest.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "osprivlege.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {

ifreq requestFor(const char* interfaceName) noexcept
{
    ifreq request;
    OXAmemset_s(&request, sizeof request, 0, sizeof request);
    const std::size_t length = ::strnlen(interfaceName, IFNAMSIZ);
    strncpy_s(request.ifr_name, sizeof request.ifr_name, interfaceName, length);
    return request;
}

const InterfaceCommand kGetIndex{SIOCGIFINDEX, "SIOCGIFINDEX"};
const InterfaceCommand kGetFlags{SIOCGIFFLAGS, "SIOCGIFFLAGS"};
const InterfaceCommand kSetFlags{SIOCSIFFLAGS, "SIOSGIFFLAGS"};  // the log has always spelled it so
const InterfaceCommand kSetAddress{SIOCSIFADDR, "SIOCSIFADDR"};

bool performed(int socket, const InterfaceCommand& command, ifreq& request) noexcept
{
    if (::ioctl(socket, command.request, &request) >= 0) return true;
    __SysDbgPrint3("OSSendARPProbeToTorvo: ioctl(%s) failed errno=%d..\n", command.name, errno);
    return false;
}

int openSocket(int family, int type) noexcept
{
    const int fd = ::socket(family, type, 0);
    if (fd >= 0) ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    return fd;
}

LoggedSocket::LoggedSocket(int family, int type, const char* closeFailed) noexcept
    : fd_(openSocket(family, type)), closeFailed_(closeFailed)
{
}

LoggedSocket::~LoggedSocket()
{
    if (fd_ >= 0 && ::close(fd_) != 0) __SysDbgPrint3("%s", closeFailed_);
}

namespace {

s32 setFlags(const char* interfaceName, u16 flags, u16 family) noexcept
{
    if (interfaceName == nullptr) {
        __SysDbgPrint3("SetIFFlags: pInterfaceName=NULL\n");
        return QVRFUTIL_FAILURE;
    }
    ifreq request     = requestFor(interfaceName);
    request.ifr_flags = static_cast<short>(flags);

    const LoggedSocket control(family, SOCK_DGRAM, "SetIFFlags: close() failed\n");
    if (!control) {
        __SysDbgPrint3("SetIFFlags: socket error %s\n", std::strerror(errno));
        return QVRFUTIL_FAILURE;
    }
    const s32 result = ::ioctl(control.get(), SIOCSIFFLAGS, &request);
    if (result < 0) {
        __SysDbgPrint3("SetIFFlags: Interface '%s': Error: SIOCSIFFLAGS failed: %s\n", interfaceName,
                       std::strerror(errno));
    } else {
        __SysDbgPrint4("SetIFFlags: Interface '%s': flags set to %04X.\n", interfaceName, flags);
    }
    return result;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 SetIFFlags(astring* pInterfaceName, u16 flags, u16 addrfamily)
{
    const qvrf::TraceScope trace("SetIFFlags", qvrf::kPlainTrace);
    return qvrf::setFlags(pInterfaceName, flags, addrfamily);
}
