/** @file Sandbox.h  Network and mount namespaces of the test's own: a host, a BMC, the link between them. */
#ifndef USBNIC_SANDBOX_H
#define USBNIC_SANDBOX_H

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "owners.h"

using Bytes = std::vector<std::uint8_t>;

/** Runs a command line for the test's set-up; a failure fails the test. */
void run(const std::string& command);

/** Runs @p body among the BMC's interfaces, in the calling thread. */
void onTheBmc(const std::function<void()>& body);

/** Runs @p body in a process of its own. @return its result, or -1 when it did not exit */
int inAnotherProcess(const std::function<int()>& body);

/** "10.0.0.1 169.254.0.2 " */
std::string ipv4Of(const std::string& interfaceName);
unsigned    flagsOf(const std::string& interfaceName);

/** A link: the host's end, down and without an address; the BMC's end, called bmc0, up. Gone with the object. */
class Link {
public:
    explicit Link(std::string hostsEnd = "usb0");
    ~Link();
    Link(Link&&) = delete;

private:
    std::string hostsEnd_;
};

/** A socket on the BMC's end of the link that carries whole ARP frames. */
qvrf::Descriptor bmcsEnd();

/** Tests that need all this; they say so where they cannot have it. */
class OnTheLink : public testing::Test {
protected:
    void SetUp() override;
};

#endif
