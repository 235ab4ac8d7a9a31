/** @file InterruptTest.cpp  Runs that are ended from outside, politely and not. */
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "UpdateBench.h"

namespace {

namespace fs = std::filesystem;
using Clock  = std::chrono::steady_clock;

class Interrupts : public UpdateBench, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Signals, Interrupts, testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& row) { return std::string(sigabbrev_np(row.param)); });

TEST_P(Interrupts, LeaveNothingBehind)
{
    offer("2.1.0");
    bmc->control({"delay", "20000", "GET", "/software/oxa/sha256sum", "1"});
    Child update(commandLine({"--silent"}), onThisHost());
    ASSERT_TRUE(eventually([] { return fs::exists("/tmp/.AutoUpdate/sha256sum"); }));
    update.signal(GetParam());
    const Outcome outcome = update.wait();
    EXPECT_EQ(outcome.exit, 128 + GetParam());
    EXPECT_EQ(outcome.out, line::kDownloading);
    EXPECT_EQ(outcome.err, "qvoxa-sync: interrupted: start it again to update\n");
    EXPECT_EQ(installedVersion(), "");
    expectClean();
    bmc->control({"clear"});
    EXPECT_EQ(tool({"--silent"}).exit, 0);
}

class Interrupted : public UpdateBench {};

TEST_F(Interrupted, InstallerGetsTheSignalAndTheRunGoesOnByItsResult)
{
    writeFile(agent + "/setup.sh",
              "#!/bin/sh\ntrap 'exit 5' TERM\n: > /opt/bench/installing\n"
              "i=0; while [ $i -lt 600 ]; do sleep 0.05; i=$((i + 1)); done\n");
    offer("2.1.0");
    install("1.0.0");
    Child update(commandLine({"--silent"}), onThisHost());
    ASSERT_TRUE(eventually([] { return fs::exists("/opt/bench/installing"); }));
    update.signal(SIGTERM);
    const Outcome outcome = update.wait();
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_EQ(outcome.out, line::kFetched + line::kUpdating + line::failed(5 << 8));
    expectLogged({}, "");
    expectClean();
}

TEST_F(Interrupted, SecondInstanceLeavesTheFirstOnesFiles)
{
    offer("2.1.0");  // both are standalone copies
    bmc->control({"delay", "3000", "GET", "/software/oxa/sha256sum", "1"});
    Child first(commandLine({"--silent"}), onThisHost());
    ASSERT_TRUE(eventually([] { return fs::exists("/tmp/.AutoUpdate/sha256sum"); }));

    EXPECT_EQ(tool({"--version-report"}).exit, 0);  // one that ends
    EXPECT_TRUE(fs::exists(".qvoxareg.cfg"));

    bmc->control({"ipmi-delay", "*", "*", "4000"});
    Child second(commandLine({"--version-report"}), onThisHost());  // one that is stopped while it asks the BMC
    ASSERT_TRUE(eventually([this] { return !has(bmc->control({"faults"}), "ipmi-delay"); }));
    second.signal(SIGTERM);
    EXPECT_EQ(second.wait().exit, 128 + SIGTERM);
    EXPECT_TRUE(fs::exists(".qvoxareg.cfg"));

    EXPECT_EQ(first.wait().exit, 0);
    EXPECT_EQ(installedVersion(), "2.1.0");
    expectClean();
}

/** Kills at points spread over a whole run; the parameter says which share of the points. */
class Killed : public UpdateBench, public testing::WithParamInterface<int> {
protected:
    static constexpr int kPoints = 25;
    static constexpr int kShares = 5;
};
INSTANTIATE_TEST_SUITE_P(Shares, Killed, testing::Range(0, 5));

TEST_P(Killed, RunsLeaveAHostOnWhichTheNextSucceeds)
{
    offer("2.1.0");
    install("1.0.0");
    const auto begin = Clock::now();
    ASSERT_EQ(tool({"--silent"}).exit, 0);
    const auto whole = Clock::now() - begin;

    for (int point = GetParam(); point < kPoints; point += kShares) {
        SCOPED_TRACE(point);
        install("1.0.0");
        Child update(commandLine({"--silent"}), onThisHost());
        std::this_thread::sleep_for(whole * point / kPoints);
        update.signal(SIGKILL);
        update.wait();
        const Outcome next = tool({"--silent"});
        EXPECT_EQ(next.exit, 0) << next.out << next.err;
        EXPECT_EQ(installedVersion(), "2.1.0");
        expectClean();
    }
}

}  // namespace
