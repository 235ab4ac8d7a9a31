/** @file IpmiCommands.h  The IPMI commands that the BMC answers. */
#ifndef TORVOSIM_IPMICOMMANDS_H
#define TORVOSIM_IPMICOMMANDS_H

#include <string>

#include "Bmc.h"
#include "OemText.h"
#include "VmFrame.h"

namespace torvosim {

struct IpmiReply {
    Bytes       data;             ///< completion code first
    std::string name;             ///< for the trace
    bool        secret = false;   ///< the bytes of request and reply may hold a token or a password
    Bytes       deviceCommand{};  ///< for the device of the host that asked, ahead of the reply; empty: none
};

class IpmiCommands {
public:
    explicit IpmiCommands(Bmc& bmc) : bmc_(bmc), oemText_(bmc) {}

    IpmiReply answer(const IpmiMessage& request);

private:
    Bmc&    bmc_;
    OemText oemText_;
};

}  // namespace torvosim

#endif
