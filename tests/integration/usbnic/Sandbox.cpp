/** @file Sandbox.cpp  Makes the namespaces with unshare, the link with `ip`, the BMC with a packet socket. */
#include "Sandbox.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <cerrno>

namespace {

int g_host = -1, g_bmc = -1;  // network namespaces, held for the life of the test

/** Leaves this machine's network and mounts behind. @return why that is impossible; empty when it was done */
std::string entered()
{
    if (::geteuid() != 0) return "needs root";
    if (std::system("ip -V >/dev/null 2>&1") != 0) return "needs the command ip";
    if (::unshare(CLONE_NEWNS | CLONE_NEWNET) != 0) return "this machine gives no namespaces";
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return "no private mounts";
    g_bmc = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    if (g_bmc < 0 || ::unshare(CLONE_NEWNET) != 0) return "no second network namespace";
    g_host           = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    const bool links = std::system("ip link add probe0 type veth peer name probe1 && ip link del probe0") == 0;
    return g_host >= 0 && links ? "" : "the kernel makes no veth links";
}

}  // namespace

void OnTheLink::SetUp()
{
    static const std::string reason = entered();
    if (!reason.empty()) GTEST_SKIP() << reason;
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

namespace {

std::string ipv4AndFlags(const std::string& interfaceName, unsigned& flags)
{
    std::unique_ptr<ifaddrs, qvrf::GivenBackBy<&::freeifaddrs>> list;
    EXPECT_EQ(::getifaddrs(qvrf::Receive(list)), 0);
    std::string found;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (interfaceName != entry->ifa_name) continue;
        flags = entry->ifa_flags;
        if (entry->ifa_addr->sa_family != AF_INET) continue;
        found += ::inet_ntoa(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr) + std::string(" ");
    }
    return found;
}

}  // namespace

std::string ipv4Of(const std::string& interfaceName)
{
    unsigned flags = 0;
    return ipv4AndFlags(interfaceName, flags);
}

unsigned flagsOf(const std::string& interfaceName)
{
    unsigned flags = ~0U;
    ipv4AndFlags(interfaceName, flags);
    return flags;
}

Link::Link(std::string hostsEnd) : hostsEnd_(std::move(hostsEnd))
{
    run("ip link add " + hostsEnd_ + " address 02:00:5e:10:00:01 mtu 9000 type veth peer name bmc0 address " +
        "02:00:5e:10:00:02 mtu 9000 netns /proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(g_bmc));
    onTheBmc([] { run("ip link set bmc0 up"); });
}

Link::~Link()
{
    run("ip link del " + hostsEnd_);
}

qvrf::Descriptor bmcsEnd()
{
    qvrf::Descriptor made;
    onTheBmc([&made] {
        made = qvrf::Descriptor(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETHERTYPE_ARP)));
        sockaddr_ll end{};
        end.sll_family   = AF_PACKET;
        end.sll_protocol = htons(ETHERTYPE_ARP);
        end.sll_ifindex  = static_cast<int>(::if_nametoindex("bmc0"));
        ASSERT_EQ(::bind(made.get(), reinterpret_cast<sockaddr*>(&end), sizeof end), 0) << std::strerror(errno);
        // The host's end may have come up just now: the kernel's queue on this end still swallows frames for a while.
        const int bypass = 1;
        ASSERT_EQ(::setsockopt(made.get(), SOL_PACKET, PACKET_QDISC_BYPASS, &bypass, sizeof bypass), 0);
    });
    return made;
}
