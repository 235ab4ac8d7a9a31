/** @file UpdateInstallTest.cpp  Preparation and installation of an update on a host of the test's own. */
#include <fcntl.h>
#include <sys/wait.h>

#include <csignal>
#include <functional>

#include "OxaAutoUpdateLinux.h"
#include "UpdateBench.h"
#include "torvosim.h"

namespace {

constexpr char kPackage[]     = "QD-Oxa-Zelmar-Web-LX-5.4.0.tar.gz";
constexpr char kDownloading[] = "Downloading of Torvo Service Module packages is in progress.\n";
constexpr char kDownloaded[]  = "Downloading of Torvo Service Module packages is completed.\n";
constexpr char kVerifying[]   = "Signature verification is in progress.\n";
constexpr char kVerified[]    = "Signature verification was successful.\n";
constexpr char kLatest[] =
    "Latest version of Torvo Service Module is running on the server.\n"
    "Please check Torvo Service Module KS package is up-to-date.\n";
constexpr char kUpdating[]   = "Torvo Service Module update/install is in progress.\n";
constexpr char kInstalling[] = "Torvo Service Module install is in progress.\n";
constexpr char kDone[]       = "Torvo Service Module updated/installed Successfully to version 5.4.0.1.\n";
constexpr char kNoPackage[]  = "Torvo Service Module KS package is not installed on this server.\n";

std::string prepared()
{
    return std::string(kDownloading) + kDownloaded + kVerifying + kVerified;
}

std::string failedWith(int status)
{
    return "Torvo Service Module update/install is failed with the return code " + std::to_string(status) +
           ". For troubleshooting,refer the Oxa installation guide.\n";
}

/** An agent's installation, a BMC with a package, and an `rpm` that knows the packages it is told. */
class Update : public update::HostBench {
protected:
    void SetUp() override
    {
        HostBench::SetUp();
        if (IsSkipped()) return;
        for (const char* left : {"/tmp/.AutoUpdate", "/tmp/.signature", "/opt/zelmar", "/opt/agent"})
            update::fs::remove_all(left);
        pack("exit 0\n");
        torvosim::Options options;
        options.httpsAddresses = {"127.0.0.1"};
        options.packageDir     = directory / "served";
        simulator              = std::make_unique<torvosim::Simulator>(options);
        simulator->start();
        assign(pOXAInstallPath, "/opt/agent");
        rpm("exit 0\n");
        path = ::getenv("PATH");
        ::setenv("PATH", ((directory / "bin") + ":" + path).c_str(), 1);
        update::writeScript("/opt/zelmar/kappel/Oxa/lib64/qvoxa/oxamutlogger", "exit 0\n");
    }
    void TearDown() override
    {
        if (!path.empty()) ::setenv("PATH", path.c_str(), 1);
        if (simulator) {
            EXPECT_FALSE(update::fs::exists("/tmp/.AutoUpdate"));
            EXPECT_FALSE(update::fs::exists("/tmp/.signature"));
            simulator->stop();  // with the files that it serves
        }
        HostBench::TearDown();
    }

    /** The BMC's package, with this installer. */
    void pack(const std::string& installer)
    {
        const std::string served = directory / "served";
        update::fs::remove_all(served);
        for (const char* file : {"package.xml", "RPM-GPG-KEY-zelmar"}) update::writeFile(served + "/" + file, file);
        update::writeFile(served + "/sha256sum", std::string("d  ") + kPackage + "\n");
        update::writeFile(served + "/" + kPackage + ".sign", "signature");
        update::writeScript(directory / "package/setup.sh", "echo \"$@\" >>/tmp/installer\n" + installer);
        update::fs::remove("/tmp/installer");
        ASSERT_EQ(
            std::system(("tar -C " + (directory / "package") + " -czf " + served + "/" + kPackage + " .").c_str()), 0);
    }
    void        rpm(const std::string& body) { update::writeScript(directory / "bin/rpm", body); }
    static void installed(const std::string& version)
    {
        update::writeFile("/opt/agent/etc/qvoxareg.cfg", "a=b\nOXA.qdilcore.version=" + version + "\n");
    }
    void offered(const std::string& version = "5.4.0.1") { expectPackageVersion(version); }
    void downloadable() { expectAddress(std::to_string(simulator->httpsPort())); }

    std::string prepare(booln force, s32 expected, std::string staging = "/opt/agent/staging")
    {
        return consoleOf([&] { EXPECT_EQ(PrepareOXAAutoUpdate(force, staging.data()), expected); });
    }
    std::string updateNow(const char* arguments, booln force, booln silent, s32 expected)
    {
        return consoleOf([&] {
            EXPECT_EQ(OXAAutoUpdateNow(const_cast<astring*>(arguments), force, silent), expected);
            EXPECT_FALSE(update::fs::exists("/opt/agent/.OXAAutoUpdate"));
        });
    }
    static std::string installerRuns() { return update::contentOf("/tmp/installer"); }

    update::TempDir                      directory;
    std::unique_ptr<torvosim::Simulator> simulator;
    std::string                          path;
};

TEST_F(Update, IsDownloadedVerifiedAndUnpacked)
{
    offered();
    downloadable();
    EXPECT_EQ(prepare(0, 0), prepared());
    EXPECT_TRUE(update::fs::exists("/opt/agent/staging/setup.sh"));
    EXPECT_EQ(installationType, 1);
    EXPECT_EQ(bmc.signatureCheck(),
              (std::vector<std::string>{"", "/tmp/.AutoUpdate/RPM-GPG-KEY-zelmar",
                                        std::string("/tmp/.AutoUpdate/") + kPackage,
                                        std::string("/tmp/.AutoUpdate/") + kPackage + ".sign", "/tmp/.signature"}));
    for (const char* op : {"PrepareOXAAutoUpdate", "AutoUpdateCheckForAnotherInstance", "AutoUpdateOXAVersionCheck",
                           "AutoUpdateGetUpdateFile", "Signaturevalidate", "CreateSigndB", "AutoUpdateCreateTmpDir"})
        for (const char* end : {"entry", "exit"}) expectTrace(std::string("[AUFPI]") + op + ": " + end + ".\n");
    expectTrace("[AUFPI]PrepareOXAAutoUpdate: OXA Update required.\n");
    expectError("[AUFPI]AutoUpdateCheckForAnotherInstance: Another instance of AutoUpdate running.\n");
    expectTrace(std::string("[AUFPI]PrepareOXAAutoUpdate: Linux update package file ") + kPackage +
                " Extracted successfully.\n");
}

TEST_F(Update, FindsTheInstallPathItself)
{
    forget(pOXAInstallPath);
    bmc.paths[{34, 2}] = "/opt/agent";
    installed("5.4.0.1");
    offered();
    EXPECT_EQ(prepare(0, 2), kLatest);
    EXPECT_STREQ(pOXAInstallPath, "/opt/agent");
}

TEST_F(Update, WithoutInstallPathMustBeForced)
{
    forget(pOXAInstallPath);
    offered();
    EXPECT_EQ(prepare(0, 2), kLatest);
}

struct VersionCase {
    const char* name;
    const char* offered;
    const char* installed;  // nullptr: no registration file
    bool        due;
    s32         installation;
};
class UpdateFor : public Update, public testing::WithParamInterface<VersionCase> {};

TEST_P(UpdateFor, GoesOnWhenDueOrForced)
{
    for (const booln force : {booln{0}, booln{1}}) {
        SCOPED_TRACE(force);
        bmc.restart();
        assign(pOXAInstallPath, "/opt/agent");
        installationType = -1;
        if (GetParam().installed) installed(GetParam().installed);
        offered(GetParam().offered);
        const bool goesOn = GetParam().due || force;
        if (goesOn) downloadable();
        EXPECT_EQ(prepare(force, goesOn ? 0 : 2), goesOn ? prepared() : kLatest);
        EXPECT_EQ(installationType, force ? 1 : GetParam().installation);
        forget(pOXAInstallPath);
    }
}

INSTANTIATE_TEST_SUITE_P(Versions, UpdateFor,
                         testing::Values(VersionCase{"AFreshHost", "5.4.0.1", nullptr, true, 1},
                                         VersionCase{"AnOlderAgent", "5.4.0.1", "5.3.9", true, 0},
                                         VersionCase{"TheSameAgent", "5.4.0.1", "5.4.0.1", false, 1},
                                         VersionCase{"ANewerAgent", "5.4.0.1", "5.10.0", false, 2},
                                         VersionCase{"AnAgentWithoutVersion", "5.4.0.1", "", false, -1},
                                         VersionCase{"AVersionThatIsTooLong", "5.4.0.1", "5.3.0.0.0", false, -1},
                                         VersionCase{"ALongOffer", "5.4.0.1.2.3.4.5", "5.3.9", true, 0}),
                         NameOfCase{});

TEST_F(Update, WithoutPackageOnTheBmcCannotBeForced)
{
    for (const char* version : {"", "1", "1.0", "1.00"}) {
        installationType = 0;
        offered(version);
        EXPECT_EQ(prepare(1, 2), kNoPackage);
        EXPECT_EQ(installationType, -1);
    }
    expectError("[AUFPI]AutoUpdateOXAVersionCheck: Oxa Zelmar Update Package  not available on this server.\n");
}

TEST_F(Update, IsForcedWhereTheBmcTellsNoVersion)
{
    bmc.expect("C0 D6 01 05 02 00 00 00 00").fails();
    EXPECT_EQ(prepare(0, 2), kLatest);
    bmc.expect("C0 D6 01 05 02 00 00 00 00").fails();
    downloadable();
    EXPECT_EQ(prepare(1, 0), prepared());
}

TEST_F(Update, StopsAtABrokenSignature)
{
    offered();
    downloadable();
    bmc.signatureStatus = 7;
    EXPECT_EQ(prepare(0, 3),
              std::string(kDownloading) + kDownloaded + kVerifying + "Signature verification failed with status 1.\n");
    expectError("[AUFPI]Signaturevalidate: VerifyEmbeddedSignature failed with status 7.\n");
    EXPECT_FALSE(update::fs::exists("/opt/agent/staging"));
}

TEST_F(Update, StopsWhenThereIsNoPackageForLinux)
{
    update::writeFile(directory / "served/sha256sum", "d  QD-Oxa-Zelmar-Web-X64\n");
    offered();
    downloadable();
    EXPECT_EQ(prepare(0, 3),
              std::string(kDownloading) + kDownloaded + kVerifying + "Signature verification failed with status 1.\n");
    EXPECT_TRUE(bmc.callsOf("OSVerifyDigitalSignature").empty());
    EXPECT_FALSE(update::fs::exists("/opt/agent/staging"));
}

TEST_F(Update, StopsAtAFailedDownload)
{
    update::fs::remove(directory / (std::string("served/") + kPackage));
    offered();
    downloadable();
    EXPECT_EQ(prepare(0, 5),
              std::string(kDownloading) + "Downloading of Torvo Service Module update packages failed.\n");
}

TEST_F(Update, StopsAtAPackageThatIsNoArchive)
{
    update::writeFile(directory / (std::string("served/") + kPackage), "no archive");
    offered();
    downloadable();
    EXPECT_EQ(prepare(0, 1), prepared());
    expectError("[AUFPI]PrepareOXAAutoUpdate: Extraction of linux package failed with status -1.\n");
    EXPECT_EQ(PrepareOXAAutoUpdate(0, nullptr), 1);
}

TEST_F(Update, CopesWithWhatAKilledRunLeft)
{
    update::writeFile("/tmp/.AutoUpdate/QD-Oxa-Zelmar-Web-LX-4.0.tar.gz", "half a package");
    update::writeFile("/tmp/.signature/verify-123456/pubring.kbx", "");
    update::writeFile("/opt/agent/staging/setup.sh", "an older installer");
    update::writeFile("/opt/agent/staging/old/file", "");
    update::writeFile("/opt/agent/.autoupdate", "");
    offered();
    downloadable();
    EXPECT_EQ(prepare(0, 0), prepared());
    EXPECT_EQ(bmc.signatureCheck().at(2), std::string("/tmp/.AutoUpdate/") + kPackage);
    EXPECT_NE(update::contentOf("/opt/agent/staging/setup.sh"), "an older installer");
    EXPECT_FALSE(update::fs::exists("/opt/agent/staging/old"));
}

TEST_F(Update, FollowsNoLinkThatLiesInItsWay)
{
    update::writeFile("/opt/elsewhere/file", "");
    update::fs::create_directory_symlink("/opt/elsewhere", "/tmp/.AutoUpdate");
    update::writeFile("/tmp/.signature", "a file");
    offered();
    downloadable();
    EXPECT_EQ(prepare(0, 0), prepared());
    EXPECT_TRUE(update::fs::exists("/opt/elsewhere/file"));
    EXPECT_EQ(std::distance(update::fs::directory_iterator("/opt/elsewhere"), {}), 1);
}

/** Holds the lock in another process until the object goes. */
class OtherInstance {
public:
    OtherInstance()
    {
        int ready[2];
        EXPECT_EQ(::pipe(ready), 0);
        child_ = ::fork();
        if (child_ == 0) {
            const int    file = ::open("/opt/agent/.autoupdate", O_RDWR | O_CREAT, 0644);
            struct flock whole {};
            whole.l_type  = F_WRLCK;
            const char ok = ::fcntl(file, F_SETLK, &whole) == 0 ? 'y' : 'n';
            if (::write(ready[1], &ok, 1) == 1) ::pause();
            ::_exit(0);
        }
        char ok = 'n';
        EXPECT_EQ(::read(ready[0], &ok, 1), 1);
        EXPECT_EQ(ok, 'y');
        ::close(ready[0]);
        ::close(ready[1]);
    }
    ~OtherInstance()
    {
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
    }
    OtherInstance(OtherInstance&&) = delete;

private:
    pid_t child_;
};

TEST_F(Update, WaitsForNoOtherInstance)
{
    constexpr char kRunning[] = "Another instance of Oxa qvoxa-sync is already running.\n";
    update::fs::create_directory("/opt/agent");
    update::writeFile("/opt/agent/.OXAAutoUpdate/setup.sh", "the other one's");
    {
        const OtherInstance other;
        EXPECT_EQ(prepare(1, 6), kRunning);
        EXPECT_EQ(consoleOf([] { EXPECT_EQ(OXAAutoUpdateNow(nullptr, 1, 0), 6); }), kRunning);
        EXPECT_TRUE(update::fs::exists("/opt/agent/.OXAAutoUpdate/setup.sh"));
    }
    installed("5.4.0.1");
    offered();
    EXPECT_EQ(prepare(0, 2), kLatest);  // its lock went with it
}

bool lockIsFree()
{
    const pid_t child = ::fork();
    if (child == 0) {
        struct flock whole {};
        whole.l_type   = F_WRLCK;
        const int file = ::open("/opt/agent/.autoupdate", O_RDWR);
        ::_exit(::fcntl(file, F_SETLK, &whole) == 0 ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return status == 0;
}

TEST_F(Update, HoldsItsLockBeyondTheRun)
{
    installed("5.4.0.1");
    for (int run = 0; run < 3; ++run) {
        offered();
        EXPECT_EQ(prepare(0, 2), kLatest);
        EXPECT_FALSE(lockIsFree()) << run;
    }
    // An installer must not be able to keep it.
    EXPECT_NE(std::system("ls -l /proc/self/fd | grep -q autoupdate"), 0);
}

TEST_F(Update, GoesOnWithoutALockFile)
{
    ::mkdir("/opt/agent", 0755);
    update::fs::create_directory("/opt/agent/.autoupdate");  // there, but nothing that can be opened for writing
    installed("5.4.0.1");
    offered();
    EXPECT_EQ(prepare(0, 2), kLatest);
}

TEST_F(Update, PathsMayHoldAnything)
{
    const std::string odd = "/opt/agent/my $HOME; 'dir";
    assign(pOXAInstallPath, odd);
    offered();
    downloadable();
    EXPECT_EQ(consoleOf([] { EXPECT_EQ(OXAAutoUpdateNow(nullptr, 0, 1), 0); }), prepared() + kUpdating + kDone);
    EXPECT_EQ(installerRuns(), "-i -a\n");
    EXPECT_TRUE(update::fs::exists(odd + "/.autoupdate"));
    EXPECT_FALSE(update::fs::exists(odd + "/.OXAAutoUpdate"));
}

TEST_F(Update, InstallsUnattended)
{
    pack("echo said by the installer\n");
    installed("5.3.9");
    offered();
    downloadable();
    EXPECT_EQ(updateNow("--quiet 'a b' >>/tmp/installer-said", 0, 1, 0), prepared() + kUpdating + kDone);
    EXPECT_EQ(installerRuns(), "-i -a --quiet a b\n");
    ASSERT_EQ(bmc.ksLog().size(), 1U);
    EXPECT_EQ(bmc.ksLog()[0].arguments, (std::vector<std::string>{"updated", "5.4.0.1", "root"}));
}

TEST_F(Update, InstallsInTalkWithTheUser)
{
    offered();
    downloadable();
    EXPECT_EQ(updateNow("not used", 0, 0, 0), kUpdating + prepared() + kDone);
    EXPECT_EQ(installerRuns(), "\n");
}

TEST_F(Update, ForcedReplacesAnInstalledAgent)
{
    rpm("echo qvoxa-5.4.0\n");
    installed("5.4.0.1");
    offered();
    downloadable();
    EXPECT_EQ(updateNow(nullptr, 1, 0, 0), prepared() +
                                               "Uninstalling of Torvo Service Module is in progress.\n"
                                               "Torvo Service Module Uninstalled successfully.\n" +
                                               kInstalling + kDone);
    EXPECT_EQ(installerRuns(), "-d\n-i -a\n");
    EXPECT_EQ(bmc.ksLog().at(0).arguments[0], "installed");
}

TEST_F(Update, ForcedOnAFreshHostUninstallsNothing)
{
    rpm("echo another-package\n");
    offered();
    downloadable();
    EXPECT_EQ(updateNow(nullptr, 1, 1, 0), prepared() + kInstalling + kDone);
    EXPECT_EQ(installerRuns(), "-i -a\n");
}

TEST_F(Update, ForcedStopsWhereTheOldAgentStays)
{
    pack("exit 2\n");
    rpm("echo qvoxa-5.4.0\n");
    offered();
    downloadable();
    EXPECT_EQ(updateNow(nullptr, 1, 0, 1), prepared() +
                                               "Uninstalling of Torvo Service Module is in progress.\n"
                                               "Torvo Service Module Uninstallation failed with status 512.\n");
    EXPECT_EQ(installerRuns(), "-d\n");
}

TEST_F(Update, SaysHowTheInstallerFailed)
{
    pack("exit 3\n");
    offered();
    downloadable();
    EXPECT_EQ(updateNow(nullptr, 0, 1, 1), prepared() + kUpdating + failedWith(3 << 8));
    EXPECT_TRUE(bmc.ksLog().empty());

    update::fs::remove(directory / "package/setup.sh");
    const std::string served = directory / "served";
    ASSERT_EQ(std::system(("tar -C " + (directory / "package") + " -czf " + served + "/" + kPackage + " .").c_str()),
              0);
    offered();
    downloadable();
    EXPECT_EQ(updateNow(nullptr, 0, 1, 1), prepared() + kUpdating + failedWith(127 << 8));
}

TEST_F(Update, WithNothingToDoCleansUp)
{
    installed("5.4.0.1");
    update::writeFile("/opt/agent/.OXAAutoUpdate/of-a-killed-run", "");
    offered();
    EXPECT_EQ(updateNow(nullptr, 0, 1, 2), kLatest);
    expectError("[AUFPI]OXAAutoUpdateNow:Torvo Service Module update not available.\n");
    offered();
    EXPECT_EQ(updateNow(nullptr, 0, 0, 2), kUpdating + std::string(kLatest));
    bmc.signatureStatus = 1;
    installed("5.3.9");
    offered();
    downloadable();
    updateNow(nullptr, 0, 1, 3);
}

TEST_F(Update, LeavesNothingBehindWhereverMemoryRunsOut)
{
    installed("5.3.9");
    u32 nth      = 0;
    s32 status   = -1;
    u32 failures = 0;
    do {
        bmc.restart();
        assign(pOXAInstallPath, "/opt/agent");
        std::memset(OxaUpdatedVersion, 0, sizeof OxaUpdatedVersion);
        offered();
        downloadable();
        bmc.failAllocation(++nth);
        const std::string console = consoleOf([&] { status = OXAAutoUpdateNow(nullptr, 0, 1); });
        forget(pOXAInstallPath);
        expectNothingLeft();
        for (const char* left : {"/tmp/.AutoUpdate", "/tmp/.signature", "/opt/agent/.OXAAutoUpdate"})
            EXPECT_FALSE(update::fs::exists(left)) << left << " of run " << nth;
        if (status != 0) ++failures;
        // The record in the logs does not change the result of an installation that took place.
        EXPECT_EQ(status == 0, console.find(kDone) != console.npos) << console;
    } while (bmc.allocations().size() >= nth);
    EXPECT_GT(failures, 30U);
}

}  // namespace
