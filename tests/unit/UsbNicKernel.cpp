/** @file UsbNicKernel.cpp  The wrappers that lead the library's calls to the kernel of the test. */
#include "UsbNicKernel.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

UsbNicKernel* g_kernel = nullptr;

/** A record: the call's name and its arguments, blanks between. */
template <class... Arguments>
std::string record(const char* format, Arguments... arguments)
{
    char text[512];
    std::snprintf(text, sizeof text, format, arguments...);
    return text;
}

int refused(int error)
{
    errno = error;
    return -1;
}

std::string hex(const void* bytes, std::size_t size)
{
    std::string text;
    for (std::size_t i = 0; i < size; ++i) text += record("%02x", static_cast<const u8*>(bytes)[i]);
    return text;
}

}  // namespace

UsbNicKernel::UsbNicKernel() : previous_(std::exchange(g_kernel, this)) {}
UsbNicKernel::~UsbNicKernel()
{
    g_kernel = previous_;
}
UsbNicKernel* UsbNicKernel::current() noexcept
{
    return g_kernel;
}

bool UsbNicKernel::takes(const std::string& call)
{
    const bool fails = calls.size() + 1 == failCall ||
                       std::any_of(failing.begin(), failing.end(),
                                   [&](const std::string& beginning) { return call.rfind(beginning, 0) == 0; });
    calls.push_back(fails ? call + "!" : call);
    if (fails) errno = EIO;
    return !fails;
}

int UsbNicKernel::newDescriptor()
{
    int fd = firstDescriptor;
    while (open.count(fd) != 0) ++fd;
    open.insert(fd);
    return fd;
}

// --- Interface requests.
namespace {

int interfaceRequest(UsbNicKernel& kernel, unsigned long command, ifreq& request)
{
    static const std::map<unsigned long, const char*> names = {{SIOCGIFINDEX, "SIOCGIFINDEX"},
                                                               {SIOCGIFFLAGS, "SIOCGIFFLAGS"},
                                                               {SIOCSIFFLAGS, "SIOCSIFFLAGS"},
                                                               {SIOCSIFADDR, "SIOCSIFADDR"}};
    const std::string                                 name(request.ifr_name, ::strnlen(request.ifr_name, IFNAMSIZ));
    sockaddr_in                                       address{};
    std::memcpy(&address, &request.ifr_addr, sizeof address);
    std::string call = std::string(names.at(command)) + " " + name;
    if (command == SIOCSIFFLAGS) call += record(" %04X", static_cast<unsigned>(static_cast<u16>(request.ifr_flags)));
    if (command == SIOCSIFADDR) {
        call += record(" family %d port %d %s", address.sin_family, address.sin_port, inet_ntoa(address.sin_addr));
    }
    if (!kernel.takes(call)) return -1;

    const auto found = kernel.interfaces.find(name);
    if (found == kernel.interfaces.end()) return refused(ENODEV);
    switch (command) {
        case SIOCGIFINDEX: request.ifr_ifindex = found->second.index; break;
        case SIOCGIFFLAGS: request.ifr_flags = static_cast<short>(found->second.flags); break;
        case SIOCSIFFLAGS: found->second.flags = request.ifr_flags; break;
        default: break;
    }
    return 0;
}

int addressListing(UsbNicKernel& kernel, ifconf& list)
{
    if (!kernel.takes(record("SIOCGIFCONF %d", list.ifc_len))) return -1;
    const std::size_t room  = static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq);
    const std::size_t count = std::min(room, kernel.addresses.size());
    for (std::size_t i = 0; i < count; ++i) {
        ifreq       entry{};
        sockaddr_in address{};
        kernel.addresses[i].first.copy(entry.ifr_name, IFNAMSIZ - 1);
        address.sin_family = AF_INET;
        inet_pton(AF_INET, kernel.addresses[i].second.c_str(), &address.sin_addr);
        std::memcpy(&entry.ifr_addr, &address, sizeof address);
        list.ifc_req[i] = entry;
    }
    list.ifc_len = static_cast<int>(count * sizeof(ifreq));
    return 0;
}

}  // namespace

extern "C" {

#define REAL(name) decltype(name) __real_##name  // NOLINT: the names are the linker's

// --- Sockets.
REAL(socket);
int __wrap_socket(int family, int type, int protocol)
{
    if (g_kernel == nullptr) return __real_socket(family, type, protocol);
    if (!g_kernel->takes(record("socket %d %d %d", family, type, protocol))) return -1;
    return g_kernel->newDescriptor();
}

REAL(close);
int __wrap_close(int fd)
{
    if (g_kernel == nullptr || g_kernel->open.erase(fd) == 0) return __real_close(fd);
    return g_kernel->takes("close") ? 0 : -1;
}

REAL(ioctl);
int __wrap_ioctl(int fd, unsigned long command, ...)
{
    std::va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (g_kernel == nullptr) return __real_ioctl(fd, command, argument);
    if (command == SIOCGIFCONF) return addressListing(*g_kernel, *static_cast<ifconf*>(argument));
    return interfaceRequest(*g_kernel, command, *static_cast<ifreq*>(argument));
}

REAL(bind);
int __wrap_bind(int fd, const sockaddr* address, socklen_t size)
{
    if (g_kernel == nullptr) return __real_bind(fd, address, size);
    return g_kernel->takes("bind " + hex(address, size)) ? 0 : -1;
}

REAL(getsockname);
int __wrap_getsockname(int fd, sockaddr* address, socklen_t* size)
{
    if (g_kernel == nullptr) return __real_getsockname(fd, address, size);
    if (!g_kernel->takes(record("getsockname %u", *size))) return -1;
    sockaddr_ll station;
    std::memcpy(&station, address, sizeof station);
    for (const auto& [name, known] : g_kernel->interfaces) {
        if (known.index != station.sll_ifindex) continue;
        station.sll_hatype = 1;
        station.sll_halen  = static_cast<u8>(known.hardware.size());
        std::copy_n(known.hardware.begin(), std::min<std::size_t>(known.hardware.size(), 8), station.sll_addr);
    }
    std::memcpy(address, &station, sizeof station);
    return 0;
}

REAL(sendto);
ssize_t __wrap_sendto(int fd, const void* bytes, size_t count, int flags, const sockaddr* to, socklen_t size)
{
    if (g_kernel == nullptr) return __real_sendto(fd, bytes, count, flags, to, size);
    if (!g_kernel->takes(record("sendto %zu %d ", count, flags) + hex(to, size))) return -1;
    g_kernel->sent.emplace_back(hex(bytes, count));
    return 1;  // a short count is as good as any
}

REAL(select);
int __wrap_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* timeOut)
{
    if (g_kernel == nullptr) return __real_select(count, read, write, except, timeOut);
    std::string waitsFor;
    for (int fd = 0; fd < count; ++fd) {
        if (FD_ISSET(fd % FD_SETSIZE, read + fd / FD_SETSIZE)) waitsFor += fd == count - 1 ? " its" : " another";
    }
    if (!g_kernel->takes(record("select%s %ld.%06ld", waitsFor.c_str(), timeOut->tv_sec, timeOut->tv_usec))) return -1;
    return g_kernel->frames.empty() ? 0 : 1;
}

REAL(recvfrom);
ssize_t __wrap_recvfrom(int fd, void* bytes, size_t room, int flags, sockaddr* from, socklen_t* size)
{
    if (g_kernel == nullptr) return __real_recvfrom(fd, bytes, room, flags, from, size);
    if (!g_kernel->takes(record("recvfrom %zu %d %u", room, flags, *size))) return -1;
    if (g_kernel->frames.empty()) return refused(EAGAIN);
    const UsbNicKernel::Frame frame = g_kernel->frames.front();
    g_kernel->frames.pop_front();
    sockaddr_ll station{};
    station.sll_family = AF_PACKET;
    station.sll_halen  = static_cast<u8>(frame.from.size());
    std::copy(frame.from.begin(), frame.from.end(), station.sll_addr);
    std::memcpy(from, &station, std::min<std::size_t>(*size, sizeof station));
    return static_cast<ssize_t>(frame.bytes.copy(static_cast<char*>(bytes), room));
}

REAL(sleep);
unsigned __wrap_sleep(unsigned seconds)
{
    if (g_kernel == nullptr) return __real_sleep(seconds);
    g_kernel->takes(record("sleep %u", seconds));
    return 0;
}

// --- Address lists.
REAL(getifaddrs);
int __wrap_getifaddrs(ifaddrs** list)
{
    if (g_kernel == nullptr) return __real_getifaddrs(list);
    if (!g_kernel->takes("getifaddrs")) return -1;
    *list = g_kernel->addressList;
    if (*list != nullptr) ++g_kernel->held;
    return 0;
}

REAL(freeifaddrs);
void __wrap_freeifaddrs(ifaddrs* list)
{
    if (g_kernel == nullptr) return __real_freeifaddrs(list);
    --g_kernel->held;
}

// --- Processes.
REAL(fork);
pid_t __wrap_fork()
{
    if (g_kernel == nullptr) return __real_fork();
    return g_kernel->takes("fork") ? g_kernel->forked : -1;
}

int __real_execlp(const char* file, const char* argument, ...);
int __wrap_execlp(const char* file, const char* argument, ...)
{
    std::string  call = record("execlp %s: %s", file, argument);
    std::va_list arguments;
    va_start(arguments, argument);
    while (const char* next = va_arg(arguments, const char*)) call += record(" %s", next);
    va_end(arguments);
    if (g_kernel != nullptr) g_kernel->takes(call);
    return refused(ENOENT);  // an exec that succeeds does not return: nothing for a test to see
}

REAL(waitpid);
pid_t __wrap_waitpid(pid_t child, int* status, int options)
{
    if (g_kernel == nullptr) return __real_waitpid(child, status, options);
    if (!g_kernel->takes(record("waitpid %d %d", child, options))) return -1;
    *status = g_kernel->childStatus;
    return child;
}

REAL(system);
int __wrap_system(const char* command)
{
    if (g_kernel == nullptr) return __real_system(command);
    if (!g_kernel->takes(std::string("system ") + command)) return -1;
    const auto found = g_kernel->commands.find(command);
    return found == g_kernel->commands.end() ? 256 : found->second;
}

// --- /sys/class/net.
struct Listing {
    std::size_t next;
    dirent      entry;
};

REAL(opendir);
DIR* __wrap_opendir(const char* path)
{
    if (g_kernel == nullptr) return __real_opendir(path);
    if (!g_kernel->takes(std::string("opendir ") + path) || !g_kernel->netClassIsThere) return nullptr;
    ++g_kernel->held;
    return reinterpret_cast<DIR*>(new Listing{});
}

REAL(readdir);
dirent* __wrap_readdir(DIR* directory)
{
    if (g_kernel == nullptr) return __real_readdir(directory);
    auto* listing = reinterpret_cast<Listing*>(directory);
    if (listing->next == g_kernel->links.size()) return nullptr;
    listing->entry = {};
    g_kernel->links[listing->next++].first.copy(listing->entry.d_name, sizeof listing->entry.d_name - 1);
    return &listing->entry;
}

REAL(closedir);
int __wrap_closedir(DIR* directory)
{
    if (g_kernel == nullptr) return __real_closedir(directory);
    --g_kernel->held;
    delete reinterpret_cast<Listing*>(directory);
    return 0;
}

REAL(readlink);
ssize_t __wrap_readlink(const char* path, char* target, size_t room)
{
    if (g_kernel == nullptr) return __real_readlink(path, target, room);
    if (!g_kernel->takes(std::string("readlink ") + path)) return -1;
    for (const auto& [entry, leadsTo] : g_kernel->links) {
        if (path != "/sys/class/net/" + entry) continue;
        return leadsTo.empty() ? refused(EINVAL) : static_cast<ssize_t>(leadsTo.copy(target, room));
    }
    return refused(ENOENT);
}

}  // extern "C"
