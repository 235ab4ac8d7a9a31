/** @file Bmc.cpp  A packet socket on the BMC's end of the link and the thread that serves it. */
#include "Bmc.h"

#include <gtest/gtest.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "Sandbox.h"

Bytes fromHex(const std::string& text)
{
    Bytes       bytes;
    std::string digits;
    for (const char c : text) {
        if (c != ' ') digits += c;
        if (digits.size() < 2) continue;
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits, nullptr, 16)));
        digits.clear();
    }
    return bytes;
}

Bmc::Bmc(Behaviour behaviour, int lateMs)
    : behaviour_(std::move(behaviour)), lateMs_(lateMs), stop_(::eventfd(0, EFD_CLOEXEC))
{
    sandbox::onTheBmc([this] {
        link_ = qvrf::Descriptor(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETHERTYPE_ARP)));
        sockaddr_ll end{};
        end.sll_family   = AF_PACKET;
        end.sll_protocol = htons(ETHERTYPE_ARP);
        end.sll_ifindex  = static_cast<int>(::if_nametoindex("bmc0"));
        ASSERT_EQ(::bind(link_.get(), reinterpret_cast<sockaddr*>(&end), sizeof end), 0) << std::strerror(errno);
        // The host's end may have come up just now: the kernel's queue on this end still swallows frames for a while.
        const int bypass = 1;
        ASSERT_EQ(::setsockopt(link_.get(), SOL_PACKET, PACKET_QDISC_BYPASS, &bypass, sizeof bypass), 0);
    });
    worker_ = std::thread([this] { work(); });
}

Bmc::~Bmc()
{
    heard();
}

std::vector<Bytes> Bmc::heard()
{
    if (worker_.joinable()) {
        ::eventfd_write(stop_.get(), 1);
        worker_.join();
        while (takeOne()) {
        }  // what arrived while it was told to stop
    }
    return heard_;
}

bool Bmc::takeOne()
{
    Bytes         frame(16384);
    const ssize_t size = ::recv(link_.get(), frame.data(), frame.size(), MSG_DONTWAIT);
    if (size < 0) return false;
    frame.resize(static_cast<std::size_t>(size));
    heard_.push_back(frame);
    return true;
}

void Bmc::work()
{
    pollfd events[] = {{link_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
    while (::poll(events, 2, -1) >= 0 && events[1].revents == 0) {
        if (!takeOne()) continue;
        if (lateMs_ > 0) ::poll(&events[1], 1, lateMs_);
        for (const Bytes& frame : behaviour_(heard_.size() - 1)) {
            EXPECT_EQ(::send(link_.get(), frame.data(), frame.size(), 0), static_cast<ssize_t>(frame.size()))
                << std::strerror(errno);
        }
    }
}
