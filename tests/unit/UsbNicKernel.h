/** @file UsbNicKernel.h  A kernel for one test: answers what the test says, records what was asked, fails on demand. */
#ifndef USBNICKERNEL_H
#define USBNICKERNEL_H

#include <ifaddrs.h>
#include <netinet/in.h>

#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "qvtypes.h"

/**
 * While one is alive, the library's calls into the C library end here instead of in the kernel (linker option --wrap);
 * at other times, and for everything that is not listed in UsbNicKernel.cpp, they pass through.
 */
class UsbNicKernel {
public:
    struct Interface {
        int             index;
        int             flags;
        std::vector<u8> hardware{2, 0, 0x5E, 0, 0, 9};
    };
    struct Frame {
        std::string     bytes;
        std::vector<u8> from;
    };

    UsbNicKernel();
    ~UsbNicKernel();
    UsbNicKernel(UsbNicKernel&&) = delete;
    static UsbNicKernel* current() noexcept;

    // --- What the kernel answers.
    std::map<std::string, Interface>                 interfaces;
    std::vector<std::pair<std::string, std::string>> addresses;  // name or label, dotted address
    std::deque<Frame>                                frames;     // what arrives after a request; none: a time-out
    std::vector<std::pair<std::string, std::string>> links;      // /sys/class/net: entry, target; "": no link
    std::map<std::string, int>                       commands;   // status by command line; others get 256
    ifaddrs*                                         addressList     = nullptr;
    pid_t                                            forked          = 4242;  // 0: go on as the child
    int                                              childStatus     = 0;     // as waitpid reports it
    int                                              firstDescriptor = 100;
    bool                                             netClassIsThere = true;

    // --- What goes wrong: the n-th call (1 is the first), or every call whose record begins with a text.
    std::size_t           failCall = 0;
    std::set<std::string> failing;

    // --- What was asked.
    std::vector<std::string> calls;     // failed ones end in "!"
    std::vector<std::string> sent;      // payloads
    std::set<int>            open;      // descriptors
    int                      held = 0;  // directories and address lists not given back

    // --- For the wrappers.
    /** Records a call. @return false when it is to fail; errno is set */
    bool takes(const std::string& call);
    int  newDescriptor();

private:
    UsbNicKernel* previous_;
};

#endif
