/** @file osprivlegeCarrier.cpp  Watches the flags of an interface until it runs. */
#include "osprivlegeCarrier.h"

#include <net/if.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "osprivlegeAddressCheck.h"
#include "smsupport.h"

namespace qvrf {
namespace {

constexpr std::chrono::seconds      kLongest{5};
constexpr std::chrono::milliseconds kBetweenLooks{10};

// The far end sees the carrier come and go as well, and swallows its answers until its own kernel has caught up.
constexpr int kSteadyLooks = 30;

// The C library's <net/if.h> ends before it, and the kernel's cannot stand beside that.
constexpr unsigned kLowerUp = 1U << 16;
constexpr unsigned kRunning = IFF_RUNNING | kLowerUp;

enum class Carrier { there, missing, unknown };

/**
 * Asked over the host's address list and not by SIOCGIFFLAGS: the kernel makes that list under the lock under which it
 * opens the interface's queue, so that an interface which it calls running also sends. IFF_RUNNING alone is not enough:
 * an interface that comes up for the first time has it until the kernel has looked for the carrier.
 */
Carrier carrierOf(const char* interfaceName) noexcept
{
    AddressList list;
    if (::getifaddrs(Receive(list)) != 0) {
        __SysDbgPrint3("carrier of %s: getifaddrs failed!!\n", interfaceName);
        return Carrier::unknown;
    }
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (std::strcmp(entry->ifa_name, interfaceName) != 0) continue;
        return (entry->ifa_flags & kRunning) == kRunning ? Carrier::there : Carrier::missing;
    }
    return Carrier::unknown;
}

}  // namespace

bool awaitRunning(const char* op, const char* interfaceName) noexcept
{
    const auto end     = std::chrono::steady_clock::now() + kLongest;
    Carrier    carrier = carrierOf(interfaceName);
    int        steady  = 0;
    while (carrier != Carrier::unknown && steady < kSteadyLooks && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kBetweenLooks);
        carrier = carrierOf(interfaceName);
        steady  = carrier == Carrier::there ? steady + 1 : 0;
    }
    if (carrier == Carrier::missing) {
        __SysDbgPrint3("%s: interface %s has no carrier: switch the pass-through off and on\n", op, interfaceName);
    }
    return carrier == Carrier::there;
}

}  // namespace qvrf
