/** @file Sandbox.cpp  Makes the namespaces with unshare, the link with `ip`. */
#include "Sandbox.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "owners.h"

namespace sandbox {
namespace {

int g_host = -1;  // network namespaces, held for the life of the test
int g_bmc  = -1;

std::string because(const char* what)
{
    return std::string(what) + ": " + std::strerror(errno);
}

std::string entered()
{
    if (::geteuid() != 0) return "needs root";
    if (std::system("ip -V >/dev/null 2>&1") != 0) return "needs the command ip";
    if (::unshare(CLONE_NEWNS) != 0) return because("no mount namespace");
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return because("no private mounts");
    if (::unshare(CLONE_NEWNET) != 0) return because("no network namespace");
    g_bmc = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    if (g_bmc < 0 || ::unshare(CLONE_NEWNET) != 0) return because("no second network namespace");
    g_host = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    if (g_host < 0) return because("no handle on the network namespace");
    if (std::system("ip link add probe0 type veth peer name probe1 && ip link del probe0") != 0) {
        return "the kernel makes no veth links";
    }
    return {};
}

}  // namespace

const std::string& enter()
{
    static const std::string reason = entered();
    return reason;
}

void run(const std::string& command)
{
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

void onTheBmc(const std::function<void()>& body)
{
    ASSERT_EQ(::setns(g_bmc, CLONE_NEWNET), 0) << std::strerror(errno);
    body();
    ASSERT_EQ(::setns(g_host, CLONE_NEWNET), 0) << std::strerror(errno);
}

int inAnotherProcess(const std::function<int()>& body)
{
    const pid_t child = ::fork();
    if (child == 0) ::_exit(body());
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

std::set<std::string> ipv4Of(const std::string& interfaceName)
{
    std::unique_ptr<ifaddrs, qvrf::GivenBackBy<&::freeifaddrs>> list;
    EXPECT_EQ(::getifaddrs(qvrf::Receive(list)), 0);
    std::set<std::string> found;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (interfaceName != entry->ifa_name || entry->ifa_addr->sa_family != AF_INET) continue;
        found.insert(::inet_ntoa(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr));
    }
    return found;
}

unsigned flagsOf(const std::string& interfaceName)
{
    const qvrf::Descriptor socket(::socket(AF_INET, SOCK_DGRAM, 0));
    ifreq                  request{};
    interfaceName.copy(request.ifr_name, IFNAMSIZ - 1);
    EXPECT_EQ(::ioctl(socket.get(), SIOCGIFFLAGS, &request), 0) << std::strerror(errno);
    return static_cast<unsigned short>(request.ifr_flags);
}

Link::Link(std::string hostsEnd) : hostsEnd_(std::move(hostsEnd))
{
    const std::string bmc = "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(g_bmc);
    run("ip link add " + hostsEnd_ + " address " + kHostHardware + " mtu 9000 type veth peer name bmc0 address " +
        kBmcHardware + " mtu 9000 netns " + bmc);
    onTheBmc([] { run("ip link set bmc0 up"); });
}

Link::~Link()
{
    run("ip link del " + hostsEnd_);
}

}  // namespace sandbox
