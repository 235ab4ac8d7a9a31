/** @file Sandbox.h  Network and mount namespaces of the test's own: a host, a BMC, the link between them. */
#ifndef USBNIC_SANDBOX_H
#define USBNIC_SANDBOX_H

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "owners.h"

using Bytes = std::vector<std::uint8_t>;

/** Bytes written as hexadecimal digits, blanks between them at will. */
Bytes fromHex(const std::string& text);

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

/** The BMC at the far end: keeps every ARP frame that arrives, and answers the n-th with the n-th frame, while there is
 * one. */
class Bmc {
public:
    explicit Bmc(std::vector<Bytes> answers);
    ~Bmc() { heard(); }
    Bmc(Bmc&&) = delete;

    /** Ends its work. @return everything that arrived, link-layer header included */
    std::vector<Bytes> heard();

private:
    void work();
    bool takeOne();

    std::vector<Bytes> answers_, heard_;
    qvrf::Descriptor   link_, stop_;
    std::thread        worker_;
};

/** Tests that need all this; they say so where they cannot have it. */
class OnTheLink : public testing::Test {
protected:
    void SetUp() override;
};

#endif
