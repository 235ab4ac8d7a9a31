/** @file InterruptTest.cpp  Updates while something happens: they are ended, killed, met by another, attacked. */
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "UpdateBench.h"
#include "owners.h"

namespace {

using Clock = std::chrono::steady_clock;

class Interrupt : public UpdateBench {
protected:
    /** An installer that says that it is at work, and goes on for a minute, or until it is told to end. */
    static constexpr char kSlow[] =
        "#!/bin/sh\ntrap 'exit 5' TERM\n: > /opt/bench/installing\n"
        "for i in $(seq 600); do [ ! -e /opt/bench/enough ] || break; sleep 0.1; done\n";
    bool installs() const
    {
        return comesTrue([] { return fs::exists("/opt/bench/installing"); });
    }
    /** An update as soon as a killed one's installer is done. */
    Outcome onceAlone() const
    {
        Outcome outcome;
        comesTrue([&] { return (outcome = tool({"--silent"})).exit != 6; });
        return outcome;
    }
};

TEST_F(Interrupt, SignalsLeaveNothingBehind)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        SetUp();
        control({"delay", "20000", "GET", "/software/oxa/sha256sum", "1"});
        Child update(commandLine({"--silent"}));
        ASSERT_TRUE(comesTrue([] { return fs::exists("/tmp/.AutoUpdate/sha256sum"); }));
        update.signal(signal);
        const Outcome outcome = update.wait();
        EXPECT_EQ(outcome.exit, 128 + signal);
        EXPECT_EQ(outcome.err, "qvoxa-sync: interrupted: start it again to update\n");
        expectClean();
    }
}

TEST_F(Interrupt, InstallerGetsTheSignalAndTheRunGoesOnByItsResult)
{
    offer("2.2.0", kSlow);
    install("1.0.0");
    Child update(commandLine({"--silent"}));
    ASSERT_TRUE(installs());
    update.signal(SIGTERM);
    const Outcome outcome = update.wait();
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_TRUE(has(outcome.out, "failed with the return code 1280.")) << outcome.out;
    expectLogged("");
    expectClean();
}

TEST_F(Interrupt, KilledUpdatesInstallerIsNotMetByASecond)
{
    offer("2.2.0", kSlow);
    {
        const Child killed(commandLine({"--silent"}));  // a standalone copy
        ASSERT_TRUE(installs());
    }
    // What the killed run left here does not outrank the configuration of what it installed.
    ASSERT_FALSE(readFile(".qvoxareg.cfg").empty());
    install("2.2.0");
    EXPECT_EQ(tool({"--version-report"}).exit, 0);
    EXPECT_FALSE(fs::exists(".qvoxareg.cfg"));
    const Outcome next = run({"/bin/sh", "-c", "exec unshare -m " + program + " --silent"});  // as a service may be
    EXPECT_EQ(next.exit, 6);
    EXPECT_EQ(next.out, "Another instance of Oxa qvoxa-sync is already running.\n");
    EXPECT_TRUE(fs::exists(home + "/.OXAAutoUpdate/setup.sh"));
    writeFile("/opt/bench/enough", "");
    fs::remove_all(bench + "/tool/ipc");
    offer("2.3.0");
    EXPECT_EQ(onceAlone().exit, 0);
    EXPECT_EQ(installedVersion(), "2.3.0");
    expectClean();
}

TEST_F(Interrupt, OneAtATimeOnAHost)
{
    control({"delay", "1500", "GET", "/software/oxa/sha256sum", "1"});
    Child first(commandLine({"--silent"}));
    ASSERT_TRUE(comesTrue([] { return !readFile("/tmp/.AutoUpdate/package.xml").empty(); }));
    const Outcome second = tool({"--silent"});
    EXPECT_EQ(second.exit, 6);
    EXPECT_EQ(second.out, "Another instance of Oxa qvoxa-sync is already running.\n");
    EXPECT_EQ(tool({"--version-report"}).exit, 0);
    // Neither takes the files of the first away, also not those of a standalone copy.
    EXPECT_FALSE(readFile("/tmp/.AutoUpdate/package.xml").empty());
    EXPECT_FALSE(readFile(".qvoxareg.cfg").empty());
    EXPECT_EQ(first.wait().exit, 0);
    EXPECT_EQ(installedVersion(), "2.1.0");
    expectClean();
}

TEST_F(Interrupt, KilledRunsLeaveAHostOnWhichTheNextSucceeds)
{
    install("1.0.0");
    const auto begin = Clock::now();
    ASSERT_EQ(tool({"--silent"}).exit, 0);
    const auto    whole   = Clock::now() - begin;
    constexpr int kPoints = 10;
    for (int point = 0; point < kPoints; ++point) {
        SCOPED_TRACE(point);
        install("1.0.0");
        Child update(commandLine({"--silent"}));
        std::this_thread::sleep_for(whole * point / kPoints);
        update.signal(SIGKILL);
        update.wait();
        const Outcome next = onceAlone();
        EXPECT_EQ(next.exit, 0) << next.out << next.err;
        EXPECT_EQ(installedVersion(), "2.1.0");
        expectClean();
    }
}

TEST_F(Interrupt, PackageCannotBeChangedBetweenItsChecks)
{
    const std::string name = "QD-Oxa-Zelmar-Web-LX-2.1.0.tar.gz";
    control({"delay", "600", "GET", "/software/oxa/" + name + ".sign", "1"});
    const mode_t before = ::umask(0);
    Child        update(commandLine({"--silent"}));
    ::umask(before);
    ASSERT_TRUE(comesTrue([&] { return fs::exists("/tmp/.AutoUpdate/" + name); }));
    EXPECT_EQ(modeOf("/tmp/.AutoUpdate/" + name), 0600u);
    EXPECT_EQ(modeOf("/tmp/.AutoUpdate"), 0755u);
    EXPECT_EQ(update.wait().exit, 0);
}

TEST_F(Interrupt, OnlyRootsLocksStopAnUpdate)
{
    const std::string lock = home + "/.autoupdate";
    // A stranger has root's right but not its name.
    for (const auto& [user, locks] : {std::pair(0u, LOCK_UN), {1u, LOCK_UN}, {1u, LOCK_EX}}) {
        install("1.0.0");
        writeFile(lock, "");
        shell("chmod 666 " + lock + "; rm -f held");
        const pid_t holder = ::fork();
        if (holder == 0) {
            const int    file = ::open(lock.c_str(), O_RDWR | O_CLOEXEC);
            struct flock whole {};
            whole.l_type    = user == 0 ? F_RDLCK : F_WRLCK;
            const bool held = ::flock(file, locks) == 0 && ::fcntl(file, F_SETLK, &whole) == 0;
            if (held && ::setresuid(user, 0, 0) == 0) writeFile("held", "");
            for (;;) ::pause();
        }
        EXPECT_TRUE(comesTrue([] { return fs::exists("held"); }));
        control({"delay", "1500", "GET", "/software/oxa/sha256sum", "1"});
        Child first(commandLine({"--silent"}));
        EXPECT_TRUE(user == 0 || comesTrue([] { return !readFile("/tmp/.AutoUpdate/package.xml").empty(); }));
        EXPECT_EQ(tool({"--silent"}).exit, 6) << "nor does a stranger's let two at it";
        EXPECT_EQ(first.wait().exit, user == 0 ? 6 : 0);
        ::kill(holder, SIGKILL);
        ::waitpid(holder, nullptr, 0);
        EXPECT_EQ(modeOf(lock), 0600u);
        control({"clear"});
    }
}

}  // namespace
