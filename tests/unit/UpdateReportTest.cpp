/** @file UpdateReportTest.cpp  The package's address, the version report, the link, the record of an update. */
#include <sys/wait.h>

#include <ctime>
#include <optional>

#include "UpdateBench.h"

namespace {
unsigned                g_linkSetUps;
std::optional<unsigned> g_slept;
unsigned                g_pauses;
}  // namespace

extern "C" {
s32 __wrap_SetUSBNICInterface(void)
{
    ++g_linkSetUps;
    return 1;  // whatever it says is not looked at
}
unsigned __wrap_sleep(unsigned seconds)
{
    g_slept = seconds;
    return 0;
}
int __wrap_nanosleep(const timespec* time, timespec*)
{
    EXPECT_EQ(time->tv_sec, 5);
    ++g_pauses;
    return 0;
}
}

namespace {

class PackageUrl : public update::Bench {};

TEST_F(PackageUrl, NamesTheDirectoryOnTheBmc)
{
    constexpr char expected[] = "https://127.0.0.1:1443/software/oxa";
    expectAddress("1443");
    astring url[sizeof expected + 1];
    std::memset(url, '~', sizeof url);
    EXPECT_EQ(createHTTPSurl(url), 0);
    EXPECT_STREQ(url, expected);
    EXPECT_EQ(url[sizeof expected], '~');
    expectTrace("[AUFPI]createHTTPSurl: entry.\n");
    expectTrace(std::string("[AUFPI]createHTTPSurl: generated https url : ") + expected + "\n");
    expectTrace("[AUFPI]createHTTPSurl: exit.\n");
}

TEST_F(PackageUrl, NeedsAddressAndPort)
{
    astring    url[4096] = "before";
    const auto prepare   = [&] { expectAddress("1443"); };
    const auto judge     = [&](const std::string& failed, s32 status) {
        const bool first = bmc.allocations().empty();  // its own buffer comes before discovery's
        EXPECT_EQ(status, failed == "SMAllocMem" && first ? 9 : 1);
        EXPECT_STREQ(url, "before");
    };
    EXPECT_GT(walkFailures(
                  prepare, [&] { return createHTTPSurl(url); }, judge),
              4U);
    EXPECT_EQ(createHTTPSurl(nullptr), 1);
}

class VersionReport : public update::Bench {
protected:
    std::string report()
    {
        return consoleOf([] { EXPECT_EQ(getOxaversion(), 0); });
    }
    bench::Exchange& agentVersion()
    {
        return bmc.expectCommandLine("vorsk get torVO.serviceModule.ServiceModuleVersion");
    }
};

TEST_F(VersionReport, HasALineForEach)
{
    expectPackageVersion("5.4.0.1");
    agentVersion().replies("ServiceModuleVersion=5.4.0.0\n");
    EXPECT_EQ(report(),
              "Available Torvo Service Module KS package version : 5.4.0.1\n"
              "Currently installed Torvo Service Module version  : 5.4.0.0\n");
}

TEST_F(VersionReport, KeepsItsWordingWithoutVersions)
{
    bmc.expect("C0 D6 01 05 02 00 00 00 00").completes(0xC1);
    agentVersion().fails();
    EXPECT_EQ(report(),
              "Available Torvo Service Module KS package version : NA.\n"
              "Available Torvo Service Module  package version : NA.\n");
}

class PassThruSetUp : public update::Bench {
protected:
    void SetUp() override
    {
        Bench::SetUp();
        g_linkSetUps     = 0;
        g_sEnabledUSBNIC = 0;
        g_slept.reset();
    }
    bench::Exchange& mode() { return bmc.expect("C0 CF 01 00 04 00 00 00 00"); }
    void             set()
    {
        bmc.expect("C0 CF 00 00 04 00 00 00 2A 00 00 15");
        for (int i = 0; i < 2; ++i)
            bmc.expect("C0 CF 00 00 10 ** ** ** ** ** ** ** ** ** ** ** ** ** ** ** ** ** ** **");
        bmc.expect("C0 CF 00 00 04 00 24 00 00 00 00 00");
        bmc.expect("C0 CF 00 00 02 00 28 00 00 00");
    }
};

TEST_F(PassThruSetUp, SwitchesItOnAndWaits)
{
    mode().answersAt(10, "00");
    set();
    const std::clock_t before = std::clock();
    EXPECT_EQ(OxaSetupOSBMCPassThru(), 0);
    EXPECT_GE(std::clock() - before, 3000);
    EXPECT_EQ(g_slept, 5U);
    EXPECT_EQ(g_linkSetUps, 1U);
    EXPECT_EQ(g_sEnabledUSBNIC, 1);
}

TEST_F(PassThruSetUp, LeavesTheUsbNicModeAlone)
{
    mode().answersAt(10, "15");
    EXPECT_EQ(OxaSetupOSBMCPassThru(), 0);
    EXPECT_EQ(g_slept, std::nullopt);
    EXPECT_EQ(g_linkSetUps, 1U);
    EXPECT_EQ(g_sEnabledUSBNIC, 0);
    expectTrace("OxaSetupOSBMCPassThru: We are good, OS BMC is enabled.\n");
}

TEST_F(PassThruSetUp, DoesNothingInAnotherMode)
{
    mode().answersAt(10, "16");
    EXPECT_EQ(OxaSetupOSBMCPassThru(), 0);
    EXPECT_EQ(g_linkSetUps, 0U);
}

TEST_F(PassThruSetUp, FailsWithTheBmc)
{
    mode().fails();
    EXPECT_EQ(OxaSetupOSBMCPassThru(), 1);
    expectError("OxaSetupOSBMCPassThru: status=1.\n");
    mode().answersAt(10, "00");
    bmc.expect("C0 CF 00 00 04 00 00 00 2A 00 00 15").completes(0xC1);
    EXPECT_EQ(OxaSetupOSBMCPassThru(), 1);
    expectError("OxaSetupOSBMCPassThru: APMDiscoverySetOSToBMCStatus failed with status:1.\n");
    EXPECT_EQ(g_linkSetUps, 0U);
    EXPECT_EQ(g_sEnabledUSBNIC, 0);
}

class InstallPath : public update::Bench {};

TEST_F(InstallPath, IsThePlatforms)
{
    bmc.paths[{34, 2}] = "/opt/agent";
    EXPECT_EQ(InitOxaAutoUpdateLog(), 0);
    EXPECT_STREQ(pOXAInstallPath, "/opt/agent");
    EXPECT_EQ(bmc.allocations(), (std::vector<u32>{4096, 4096}));
}

TEST_F(InstallPath, IsFixedWhereThePlatformKnowsNone)
{
    EXPECT_EQ(InitOxaAutoUpdateLog(), 1);
    EXPECT_STREQ(pOXAInstallPath, "/opt/zelmar/kappel/Oxa");
}

TEST_F(InstallPath, NeedsMemory)
{
    astring before[] = "before";
    pOXAInstallPath  = before;
    bmc.failAllocation(1);
    EXPECT_EQ(InitOxaAutoUpdateLog(), 9);
    EXPECT_EQ(pOXAInstallPath, before);
    bmc.failAllocation(2);
    EXPECT_EQ(InitOxaAutoUpdateLog(), 9);
    EXPECT_EQ(pOXAInstallPath, nullptr);
}

class UpdateRecord : public update::HostBench {
protected:
    void SetUp() override
    {
        HostBench::SetUp();
        if (IsSkipped()) return;
        std::memcpy(OxaUpdatedVersion, "5.4.0.1", 8);
        update::fs::remove_all("/opt/zelmar");
        logger("echo \"$@\" > /tmp/logged; exit 0\n");
        g_pauses = 0;
    }
    static void logger(const std::string& body)
    {
        update::writeScript("/opt/zelmar/kappel/Oxa/lib64/qvoxa/oxamutlogger", body);
    }
};

struct VerbCase {
    s32         installation;
    const char* verb;
};

TEST_F(UpdateRecord, SaysWhatWasDone)
{
    for (const VerbCase& c :
         {VerbCase{0, "updated"}, VerbCase{1, "installed"}, VerbCase{2, "downgraded"}, VerbCase{-1, "installed"}}) {
        SCOPED_TRACE(c.installation);
        bmc.restart();
        installationType = c.installation;
        EXPECT_EQ(OxaAutoUpdateLogtoOSKS(), 0);
        ASSERT_EQ(bmc.osLog().size(), 1U);
        const bench::OsLogEntry entry = bmc.osLog()[0];
        EXPECT_EQ(entry.message, std::string("The Auto Update feature successfully ") + c.verb +
                                     " the Torvo Service Module to version 5.4.0.1, where the server operating system "
                                     "(OS) user is root.");
        EXPECT_EQ(entry.logType, 4U);
        EXPECT_EQ(entry.severity, 4U);
        EXPECT_EQ(entry.eventId, 8196U);
        EXPECT_EQ(entry.source, "Torvo Service Module");
        EXPECT_EQ(entry.messageId, "OXA0034");
        ASSERT_EQ(bmc.ksLog().size(), 1U);
        EXPECT_EQ(bmc.ksLog()[0].messageId, "OXA0034");
        EXPECT_EQ(bmc.ksLog()[0].arguments, (std::vector<std::string>{c.verb, "5.4.0.1", "root"}));
    }
    EXPECT_EQ(update::contentOf("/tmp/logged"), "AutoUpdate os=Linux\n");
    expectError("validateExecutionPath: Entry.\n");
    expectTrace("OxaAutoUpdateLogtoOSKS: feature enabled tracking message logged.\n");
}

TEST_F(UpdateRecord, ResultIsTheUsageLoggers)
{
    logger("exit 3\n");
    bmc.osLogStatus = 1;
    EXPECT_EQ(OxaAutoUpdateLogtoOSKS(), 3 << 8);
    expectError("OxaAutoUpdateLogtoOSKS: feature enabled tracking failed.\n");
    expectError("[AUFPI]OxaAutoUpdateLogtoOSKS: failed SMAppendToOSSysLog.\n");
    expectTrace("[AUFPI]OxaAutoUpdateLogtoOSKS: Successfully Logged to Torvo.\n");
}

TEST_F(UpdateRecord, NeedsMemory)
{
    for (u32 nth = 1; nth <= 5; ++nth) {
        bmc.restart();
        bmc.failAllocation(nth);
        EXPECT_EQ(OxaAutoUpdateLogtoOSKS(), 9) << nth;
        expectNothingLeft();
        EXPECT_TRUE(bmc.ksLog().empty());
    }
}

/** The process's budget of failures is used up: in a process of its own. */
TEST_F(UpdateRecord, GivesUpExportingAfterThreeFailuresForGood)
{
    const auto body = [&] {
        bmc.ksLogStatuses = {1, 0};
        OxaAutoUpdateLogtoOSKS();
        if (bmc.ksLog().size() != 2 || g_pauses != 1) return 1;
        bmc.ksLogStatuses = {1, 1, 1, 1};
        OxaAutoUpdateLogtoOSKS();
        if (bmc.ksLog().size() != 4 || g_pauses != 3) return 2;
        bmc.ksLogStatuses.clear();
        OxaAutoUpdateLogtoOSKS();
        return bmc.ksLog().size() == 4 && bmc.osLog().size() == 3 ? 0 : 3;
    };
    const pid_t child = ::fork();
    if (child == 0) ::_exit(body());
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

}  // namespace
