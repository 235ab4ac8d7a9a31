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
