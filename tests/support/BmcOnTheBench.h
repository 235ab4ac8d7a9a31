/** @file BmcOnTheBench.h  The fixture of tests that script the BMC. */
#ifndef BMCONTHEBENCH_H
#define BMCONTHEBENCH_H

#include <gtest/gtest.h>

#include <string>

#include "BenchPlatform.h"

/**
 * A test with a scripted platform. When it ends, every awaited exchange must have taken place, every block of
 * SMAllocMem and every text that the platform handed out must be back, and no thread may run.
 */
class BmcOnTheBench : public testing::Test {
protected:
    void SetUp() override { bmc.restart(); }
    void TearDown() override
    {
        EXPECT_EQ(bmc.missing(), "") << "exchanges that did not take place";
        for (const std::string& what : bmc.takeComplaints()) ADD_FAILURE() << what;
        expectNothingLeft();
    }

    void expectNothingLeft() const
    {
        EXPECT_EQ(bmc.liveBlocks(), 0U) << "blocks were not given back";
        EXPECT_EQ(bmc.liveThreads(), 0U) << "threads still run";
    }

    /** Expects a trace line, "\n" included. */
    void expectTrace(const std::string& line) const { EXPECT_TRUE(bmc.logged(bench::Level::trace, line)) << line; }

    bench::Platform& bmc = bench::Platform::instance();
};

#endif
