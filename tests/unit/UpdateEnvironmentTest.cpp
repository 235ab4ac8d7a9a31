/** @file UpdateEnvironmentTest.cpp  Where the update tool runs from and what it may do there. */
#include <fcntl.h>
#include <sys/wait.h>

#include <functional>

#include "OxaAutoUpdateLinux.h"
#include "UpdateBench.h"
#include "owners.h"

namespace {

/** Runs @p body in a process of its own. @return its result, or -1 when it did not exit */
int inAnotherProcess(const std::function<int()>& body)
{
    const pid_t child = ::fork();
    if (child == 0) ::_exit(body());
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

/** Starts in a directory of the test's own and ends where the test began. */
class Environment : public update::HostBench {
protected:
    void SetUp() override
    {
        HostBench::SetUp();
        if (IsSkipped()) return;
        before = qvrf::Descriptor(::open(".", O_PATH | O_DIRECTORY | O_CLOEXEC));
        update::fs::remove_all("/opt/zelmar");
        goTo("run");
    }
    void TearDown() override
    {
        // By descriptor: the private mounts may lie over the path that this checkout has.
        if (before) {
            EXPECT_EQ(::fchdir(before.get()), 0);
        }
        HostBench::TearDown();
    }
    void goTo(const std::string& name)
    {
        here = update::fs::canonical(directory.path) / name;
        update::fs::create_directories(here);
        update::fs::current_path(here);
    }

    update::TempDir  directory;
    update::fs::path here;
    qvrf::Descriptor before;
};

TEST_F(Environment, KnowsTheInstallPathFromThePlatform)
{
    astring path[4096] = "untouched";
    EXPECT_EQ(AutoUpdateGetOxaInstallPath(path), 1);
    expectError("[AUFPI]AutoUpdateGetOxaInstallPath: SMGetPathByProductIDandType failed with status:1.\n");
    bmc.paths[{34, 2}] = "/opt/agent";
    EXPECT_EQ(AutoUpdateGetOxaInstallPath(path), 0);
    EXPECT_STREQ(path, "/opt/agent");
    EXPECT_EQ(AutoUpdateGetOxaInstallPath(nullptr), 1);
}

TEST_F(Environment, IsForTheEffectiveRootOnly)
{
    EXPECT_EQ(AutoUpdateCheckUserPrivilege(), 0);
    EXPECT_EQ(inAnotherProcess([] { return ::seteuid(65534) == 0 ? AutoUpdateCheckUserPrivilege() : 99; }), 4);
}

TEST_F(Environment, ExecutionDirectoryIsAbsoluteAndEscaped)
{
    goTo("my dir");
    std::string program = "./qvoxa-sync";
    EXPECT_EQ(SetExecutionDirectory(program.data()), 0);
    EXPECT_EQ(pExecutionDirectory, (here.parent_path() / "my\\ dir").string());
    EXPECT_STREQ(program.c_str(), ".");
    EXPECT_EQ(update::fs::current_path(), here);
    expectTrace("SetExecutionDirectory: entry\n");
    expectTrace("SetExecutionDirectory:Absolute path to executable is: " + std::string(pExecutionDirectory) + ".\n");
    expectTrace("SetExecutionDirectory: exit\n");
}

TEST_F(Environment, ExecutionDirectoryComesFromTheProgramsPath)
{
    update::fs::create_directories(here / "bin");
    update::fs::create_directory_symlink(here / "bin", here / "link");
    const std::pair<std::string, std::string> programs[] = {
        {"qvoxa-sync", here},
        {"bin/qvoxa-sync", here / "bin"},
        {"bin/../link/qvoxa-sync", here / "bin"},
        {"/usr/qvoxa-sync", "/usr"},
        {"/qvoxa-sync", "/"},
        {"none/qvoxa-sync", here},
    };
    for (auto [program, found] : programs) {
        SCOPED_TRACE(program);
        EXPECT_EQ(SetExecutionDirectory(program.data()), 0);
        EXPECT_EQ(pExecutionDirectory, found);
        forget(pExecutionDirectory);
    }
    EXPECT_EQ(SetExecutionDirectory(nullptr), 0);
    EXPECT_EQ(pExecutionDirectory, here.string());
}

TEST_F(Environment, ExecutionDirectoryNeedsMemory)
{
    std::string program = "qvoxa-sync";
    bmc.failAllocation(1);
    EXPECT_EQ(SetExecutionDirectory(program.data()), 9);
    expectError("[AUFPI]SetExecutionDirectory:  failed to alloc memory pathSave = null.\n");
    bmc.failAllocation(2);
    EXPECT_EQ(SetExecutionDirectory(program.data()), 9);
    expectError("[AUFPI]SetExecutionDirectory:  failed to alloc memory pExecutionDirectory = null.\n");
    EXPECT_EQ(pExecutionDirectory, nullptr);
}

TEST_F(Environment, InstalledAgentNeedsNoStandaloneSetUp)
{
    update::writeFile("/opt/zelmar/kappel/Oxa/etc/qvoxareg.cfg", "");
    assign(pExecutionDirectory, here);
    EXPECT_EQ(CheckStandaloneAutoUpdate(), 0);
    expectTrace("[AUFPI]CheckStandaloneAutoUpdate: Oxa installed on this Machine.\n");
    EXPECT_TRUE(update::fs::is_empty(here));
}

class StandaloneIn : public Environment, public testing::WithParamInterface<const char*> {};

TEST_P(StandaloneIn, IsSetUpAndUndone)
{
    assign(pExecutionDirectory, here);
    goTo(GetParam());
    EXPECT_EQ(CheckStandaloneAutoUpdate(), 0);
    EXPECT_EQ(update::contentOf(here / ".qvoxareg.cfg"), "suptlib.vardatapath=" + here.string() + "\n");
    EXPECT_TRUE(update::fs::is_directory(std::string(pExecutionDirectory) + "/ipc"));

    update::writeFile(std::string(pExecutionDirectory) + "/ipc/socket", "");
    EXPECT_EQ(CleanIPCDirectory(), 0);
    EXPECT_TRUE(update::fs::is_empty(here));
    EXPECT_FALSE(update::fs::exists(std::string(pExecutionDirectory) + "/ipc"));
}

INSTANTIATE_TEST_SUITE_P(Directories, StandaloneIn, testing::Values("plain", "my dir", "a;touch $(b) 'c' & d"),
                         [](const auto& c) { return "Directory" + std::to_string(c.index); });

TEST_F(Environment, StandaloneSaysWhatFails)
{
    EXPECT_EQ(CheckStandaloneAutoUpdate(), 1);  // no execution directory
    update::writeFile(here / "file", "");
    assign(pExecutionDirectory, here / "file");
    EXPECT_EQ(CheckStandaloneAutoUpdate(), 1);
    expectError("[AUFPI]CheckStandaloneAutoUpdate:  CreateDirectory failed with status -1.\n");

    assign(pExecutionDirectory, here);
    update::fs::create_directory(here / ".qvoxareg.cfg");
    EXPECT_EQ(CheckStandaloneAutoUpdate(), 1);
    expectError("[AUFPI]CheckStandaloneAutoUpdate: system cmd failed : echo suptlib.vardatapath=" + here.string() +
                " >" + here.string() + "/.qvoxareg.cfg.\n");
    update::fs::remove(here / ".qvoxareg.cfg");
    bmc.failAllocation(1);
    EXPECT_EQ(CheckStandaloneAutoUpdate(), 9);
    expectError("[AUFPI]CheckStandaloneAutoUpdate:  failed to alloc memory executionPath = null.\n");
    bmc.failAllocation(3);
    EXPECT_EQ(CheckStandaloneAutoUpdate(), 9);
    expectError("[AUFPI]CleanIPCDirectory:  failed to alloc memory sysCMD = null.\n");
}

TEST_F(Environment, CleaningUpSaysWhatFails)
{
    assign(pExecutionDirectory, here);
    EXPECT_EQ(CleanIPCDirectory(), 1);
    expectError("[AUFPI]CleanIPCDirectory: could not delete " + here.string() + "/ipc directory.\n");
    expectError("[AUFPI]CleanIPCDirectory: remove file " + here.string() +
                "//.qvoxareg.cfg failed with status  : -1.\n");
    bmc.failAllocation(1);
    EXPECT_EQ(CleanIPCDirectory(), 9);
    expectError("[AUFPI]CleanIPCDirectory:  failed to alloc memory pExecutionPath = null.\n");
    bmc.failAllocation(2);
    EXPECT_EQ(CleanIPCDirectory(), 9);
    expectError("[AUFPI]CleanIPCDirectory:  failed to alloc memory pQvoxaConfigPath = null.\n");
}

TEST_F(Environment, ForbidsTheUpdateDirectory)
{
    const std::pair<const char*, s32> directories[] = {{"/opt/agent/.update/bin", 8}, {"/opt/agent/.update", 8},
                                                       {"/opt/agent/bin", 0},         {"/opt/agent", 0},
                                                       {"/opt/agent/.updat", 0},      {"", 0}};
    assign(pOXAInstallPath, "/opt/agent");
    for (const auto& [running, status] : directories) {
        assign(pExecutionDirectory, running);
        EXPECT_EQ(CheckBinaryExecutionPath(), status) << running;
    }
    expectError("[AUFPI]CheckBinaryExecutionPath: Execution qvoxa-sync from invalid path.\n");
    expectTrace(
        "[AUFPI]CheckBinaryExecutionPath: pCurrentExecutionPath path /opt/agent/bin pExpectedExecutionPath "
        "/opt/agent/.update.\n");
    bmc.failAllocation(1);
    EXPECT_EQ(CheckBinaryExecutionPath(), 9);
    expectError("[AUFPI]CheckBinaryExecutionPath: failed to alloc memory pExpectedExecutionPath = null.\n");
    forget(pExecutionDirectory);
    forget(pOXAInstallPath);
    EXPECT_EQ(CheckBinaryExecutionPath(), 0);
}

}  // namespace
