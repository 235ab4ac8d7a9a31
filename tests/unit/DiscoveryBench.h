/** @file DiscoveryBench.h  The bench for discovery: every raw request must be addressed to the BMC and clean. */
#ifndef DISCOVERYBENCH_H
#define DISCOVERYBENCH_H

#include "BmcOnTheBench.h"

class DiscoveryBench : public BmcOnTheBench {
protected:
    void TearDown() override
    {
        bool opened = false;
        for (const bench::IpmiRequest& request : bmc.ipmiRequests()) {
            EXPECT_EQ(request.reqType, 11U);
            EXPECT_EQ(request.rsSA, 0x20);
            EXPECT_EQ(request.channel, 0);
            EXPECT_TRUE(request.sameRecord);
            if (opened) continue;  // later requests carry what earlier replies left
            for (std::size_t i = request.requestBytes; i < request.buffer.size(); ++i) EXPECT_EQ(request.buffer[i], 0);
            opened = true;
        }
        BmcOnTheBench::TearDown();
    }
};

#endif
