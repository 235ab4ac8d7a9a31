/** @file EngineTest.cpp  The update engine through the library's exported operations. */
#include <sys/stat.h>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "UpdateBench.h"
#include "qvstatus.h"
#include "smsupport.h"

namespace {

/** A path as the operations take it: 4096 bytes that they may change. */
struct Path {
    explicit Path(const std::string& path) { path.copy(text, sizeof text - 1); }
            operator astring*() { return text; }
    astring text[4096]{};
};

class Engine : public UpdateBench {
protected:
    void TearDown() override
    {
        SMFreeMem(std::exchange(pOXAInstallPath, nullptr));
        SMFreeMem(std::exchange(pExecutionDirectory, nullptr));
    }
    template <class Operation>
    std::string printedBy(Operation operation)
    {
        testing::internal::CaptureStdout();
        operation();
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(Engine, UnpacksFromAndToAnyPath)
{
    fs::create_directories("source");
    writeFile("source/file", "unpacked");
    const char* const names[] = {"plain", "my dir", "it's;touch evil", "$(touch evil)\\x", "real\\ backslash"};
    for (const std::string name : names) {
        fs::create_directories(name);
        shell("tar -czf package.gz -C source .");
        fs::rename("package.gz", name + "/package.gz");
        EXPECT_EQ(ExtractFile(Path(name + "/package.gz"), Path(name)), 0) << name;
        EXPECT_EQ(readFile(name + "/file"), "unpacked") << name;
    }
    EXPECT_FALSE(fs::exists("evil"));
    fs::remove("my dir/file");
    Path archive("my dir/package.gz"), directory("my dir");
    FolderPathCorrection(archive);
    FolderPathCorrection(directory);
    EXPECT_EQ(ExtractFile(archive, directory), 0) << "escaped by the library itself";
    EXPECT_EQ(readFile("my dir/file"), "unpacked");
    EXPECT_EQ(ExtractFile(Path("source/file"), Path("plain")), -1) << "no archive";
    EXPECT_EQ(ExtractFile(Path("plain/package.gz"), Path("none")), -1);
}

TEST_F(Engine, ForcedRunsUninstallWhatThePackageManagerKnows)
{
    // A search path with every program but rpm, and one with an rpm that knows the agent.
    shell(
        "rm -rf ../bin ../rpm && mkdir ../bin ../rpm && ln -s /usr/bin/* /bin/* ../bin 2>/dev/null; rm -f ../bin/rpm;"
        "printf '#!/bin/sh\\necho qvoxa-agent-1.0-1\\n' > ../rpm/rpm && chmod 755 ../rpm/rpm");
    const std::string path = ::getenv("PATH");
    ::setenv("PATH", (bench + "/bin").c_str(), 1);
    const std::string fresh = printedBy([] { EXPECT_EQ(OXAAutoUpdateNow(nullptr, 1, 1), 0); });
    ::setenv("PATH", (bench + "/rpm:" + path).c_str(), 1);
    const std::string again = printedBy([] { EXPECT_EQ(OXAAutoUpdateNow(nullptr, 1, 0), 0); });
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_FALSE(has(fresh, "ninstall")) << fresh;
    EXPECT_TRUE(has(again,
                    "was successful.\nUninstalling of Torvo Service Module is in progress.\n"
                    "Torvo Service Module Uninstalled successfully.\n"
                    "Torvo Service Module install is in progress.\n"))
        << again;
    EXPECT_EQ(readFile(home + "/var/log/setup.log"), "installed 2.1.0: \nuninstalled\ninstalled 2.1.0: \n");
    EXPECT_EQ(modeOf(home + "/.autoupdate"), 0600u);
    expectClean();
}

TEST_F(Engine, StandaloneCopyIsSetUpAndUndone)
{
    for (const std::string name : {"plain", "my dir", "a;touch $(b) 'c'"}) {
        const fs::path place = fs::path(bench) / "cwd" / name;
        fs::create_directories(place);
        fs::current_path(place);
        SMFreeMem(pExecutionDirectory);  // the caller's, and each call takes a new one
        EXPECT_EQ(SetExecutionDirectory(Path("./program")), 0);
        EXPECT_EQ(CheckStandaloneAutoUpdate(), 0);
        EXPECT_EQ(readFile(".qvoxareg.cfg"), "suptlib.vardatapath=" + place.string() + '\n') << name;
        EXPECT_EQ(CleanIPCDirectory(), 0);
        EXPECT_FALSE(fs::exists(".qvoxareg.cfg"));
    }
    writeFile("../precious", "mine");
    fs::create_symlink("../precious", ".qvoxareg.cfg");
    EXPECT_EQ(CheckStandaloneAutoUpdate(), OXA_UPDATE_FAILED);
    EXPECT_EQ(readFile("../precious"), "mine");
}

TEST_F(Engine, WritesThroughNobodyElsesLinksAndPipesInAPublicDirectory)
{
    const std::string precious = bench + "/precious/file";
    const auto        download = [](const char* name) {
        return DownloadHTTPSFile(Path("."), Path("https://127.0.0.1:1"), Path(name));  // opens the file, then fails
    };
    fs::permissions(".", fs::perms(01777));
    fs::create_symlink(precious, "link");
    fs::create_hard_link(precious, "second");
    shell("mkfifo pipe && chown -h 1:1 link pipe");
    for (const char* name : {"link", "second", "pipe"}) EXPECT_EQ(download(name), OXA_UPDATE_NOT_DOWNLOADED) << name;
    EXPECT_EQ(readFile(precious), "mine\n");
    shell("chown -h 0:0 link");
    const mode_t before = ::umask(0);
    download("link");
    download("new");
    ::umask(before);
    EXPECT_EQ(readFile(precious), "") << "a link of our own leads where it leads";
    EXPECT_EQ(modeOf("new"), 0644u);
}

}  // namespace
