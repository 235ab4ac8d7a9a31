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
        expectNothingLeft();
    }

    void expectNothingLeft() const
    {
        EXPECT_EQ(bmc.liveBlocks(), 0U) << "blocks were not given back";
        EXPECT_EQ(bmc.liveThreads(), 0U) << "threads still run";
    }

    /** Expects a debug line, "\n" included; shows that level's lines when it is not there. */
    void expectLogged(bench::Level level, const std::string& line) const
    {
        if (bmc.logged(level, line)) return;
        std::string seen;
        for (const bench::LogLine& l : bmc.log())
            if (l.level == level) seen += "  " + l.text;
        ADD_FAILURE() << "not logged: " << line << "logged were:\n" << seen;
    }
    void expectError(const std::string& line) const { expectLogged(bench::Level::error, line); }
    void expectTrace(const std::string& line) const { expectLogged(bench::Level::trace, line); }

    /**
     * Runs an operation with its 1st, 2nd, ... n-th platform call failing, until so many calls do not come any more;
     * that last run must return 0 and keep to the script. After each run nothing may be left over.
     * @param prepare    scripts the platform: restart() has just forgotten everything
     * @param operation  runs the operation, gives back what it handed out, returns its s32 status
     * @param judge      optional: called with the failed symbol and the status of each run with a failure
     * @return the number of calls that were made to fail
     *
     * Once the failure has happened the script no longer binds: the user database accepts anything, awaited exchanges
     * answer as scripted, others fail.
     */
    template <class Prepare, class Operation, class Judge>
    u32 walkFailures(Prepare prepare, Operation operation, Judge judge)
    {
        constexpr u32 kLimit = 1000;
        for (u32 nth = 1; nth <= kLimit; ++nth) {
            SCOPED_TRACE("platform call " + std::to_string(nth) + " fails");
            bmc.restart();
            prepare();
            bmc.failCall(nth);
            const s32         status = operation();
            const std::string failed = bmc.failedCall();
            expectNothingLeft();
            if (failed.empty()) {
                EXPECT_EQ(status, 0);
                bmc.failCall(0);
                return nth - 1;
            }
            SCOPED_TRACE(failed);
            judge(failed, status);
        }
        ADD_FAILURE() << "the operation makes more than " << kLimit << " platform calls";
        return kLimit;
    }
    template <class Prepare, class Operation>
    u32 walkFailures(Prepare prepare, Operation operation)
    {
        return walkFailures(prepare, operation, [](const std::string&, s32) {});
    }

    bench::Platform& bmc = bench::Platform::instance();
};

/** The test-parameter names that a table's rows carry as their first member. */
struct NameOfCase {
    template <class Param>
    std::string operator()(const testing::TestParamInfo<Param>& info) const
    {
        return info.param.name;
    }
};

#endif
