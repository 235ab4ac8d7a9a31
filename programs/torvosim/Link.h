/** @file Link.h  The BMC's USB NIC: a veth pair whose far end lies in a network namespace of the BMC's own. */
#ifndef TORVOSIM_LINK_H
#define TORVOSIM_LINK_H

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "Support.h"

namespace torvosim {

/** Hosts of either generation look for the BMC at these two. */
constexpr char kLinkV4[] = "169.254.1.1";
constexpr char kLinkV6[] = "fe80::1234";

/**
 * A link as the USB NIC makes one: this end is an interface of the host, down and without an address until the host
 * sets it up; at the far end the BMC's addresses answer ARP and neighbour discovery. All of it goes with the object; if
 * the process is killed, the kernel takes an unnamed namespace and the pair away, and only a name stays.
 */
class Link {
public:
    /**
     * @param hostsEnd       name of the host's interface
     * @param namespaceName  as `ip netns` knows it; empty: the namespace has no name
     * @throws std::runtime_error, which tells when it is for root to do
     */
    Link(const std::string& hostsEnd, const std::string& namespaceName);
    ~Link();
    Link(Link&&) = delete;

    const std::string& hostsEnd() const noexcept { return hostsEnd_; }
    /** What to listen on at the far end; a link-local address with its zone. IPv4 alone where the host has no IPv6. */
    std::vector<std::string> addresses() const;

    /** Runs @p body among the BMC's interfaces: what it opens stays there. Passes its exceptions on. */
    void atFarEnd(const std::function<void()>& body) const;
    /** Takes the far end down, as if the plug were pulled, or brings it up. Any thread. @throws std::runtime_error */
    void setUp(bool up);
    /** Removes what was made. Any thread; repeatable. */
    void remove() noexcept;

private:
    void makeNamespace();
    void giveName(const std::string& name);
    void makePair();

    std::string hostsEnd_;
    std::string namePath_;  ///< the namespace's name in the file system, once it is there
    Descriptor  namespace_;
    bool        hasV6_;
    std::mutex  changing_;
    bool        hasPair_ = false;
};

}  // namespace torvosim

#endif
