/** @file Sandbox.h  Network and mount namespaces of the test's own: a host, a BMC, and the link between them. */
#ifndef USBNIC_SANDBOX_H
#define USBNIC_SANDBOX_H

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>

namespace sandbox {

constexpr char kHostHardware[] = "02:00:5e:10:00:01";
constexpr char kBmcHardware[]  = "02:00:5e:10:00:02";

/** Leaves this machine's network and mounts behind, once. @return why that is impossible; empty when it was done */
const std::string& enter();

/** Runs a command line for the test's set-up; a failure fails the test. */
void run(const std::string& command);

/** Runs @p body among the BMC's interfaces. */
void onTheBmc(const std::function<void()>& body);

/** Runs @p body in a process of its own. @return its result, or -1 when it did not exit */
int inAnotherProcess(const std::function<int()>& body);

/** The IPv4 addresses of an interface. */
std::set<std::string> ipv4Of(const std::string& interfaceName);
unsigned              flagsOf(const std::string& interfaceName);

/** A link: the host's end, down and without an address; the BMC's end, called bmc0, up. Gone with the object. */
class Link {
public:
    explicit Link(std::string hostsEnd);
    ~Link();
    Link(Link&&) = delete;

private:
    std::string hostsEnd_;
};

/** Names the rows of a table by their first member. */
struct NameOfRow {
    template <class Row>
    std::string operator()(const testing::TestParamInfo<Row>& row) const
    {
        return row.param.name;
    }
};

/** Tests that need all this; they say so where they cannot have it. */
class Test : public testing::Test {
protected:
    void SetUp() override
    {
        if (!enter().empty()) GTEST_SKIP() << enter();
    }
};

}  // namespace sandbox

#endif
