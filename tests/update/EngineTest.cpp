/** @file EngineTest.cpp  The update engine through the library's exported operations. */
#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "UpdateBench.h"
#include "qvstatus.h"
#include "smsupport.h"

namespace {

int      g_failingInit = 0;  ///< of libcurl's global state: fails with this
int      g_inits       = 0;
timespec g_waited{};
int      g_waits = -1;  ///< counted from 0 on; each second one, a signal cuts short

}  // namespace

// The library's calls end here: nobody waits for a BMC that refuses, and libcurl can be out of order.
extern "C" int curl_global_init(long flags)
{
    ++g_inits;
    if (g_failingInit != 0) return g_failingInit;
    return reinterpret_cast<int (*)(long)>(::dlsym(RTLD_NEXT, "curl_global_init"))(flags);
}
extern "C" int nanosleep(const timespec* time, timespec* left)
{
    if (g_waits < 0) return ::clock_nanosleep(CLOCK_REALTIME, 0, time, left);
    g_waited = *time;
    if (++g_waits % 2 == 0 || left == nullptr) return 0;
    left->tv_sec  = time->tv_sec - 1;  // a signal came after a second
    left->tv_nsec = 0;
    errno         = EINTR;
    return -1;
}

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
    /** What @p operation and its commands print, on standard output and on standard error. */
    template <class Operation>
    std::pair<std::string, std::string> printedBy(Operation operation)
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        operation();
        std::fflush(stdout);
        const std::string out = testing::internal::GetCapturedStdout();
        return {out, testing::internal::GetCapturedStderr()};
    }
};

TEST_F(Engine, EscapesBlanksAlone)
{
    const std::string                         longest(4095, 'p'), room(4094, 'p');
    const std::pair<std::string, std::string> rows[] = {
        {"my dir/x y", "my\\ dir/x\\ y"}, {"plain", "plain"}, {"", ""}, {"a\tb'c", "a\tb'c"}, {longest, longest}};
    for (const auto& [given, escaped] : rows) {
        Path path(given);
        EXPECT_EQ(FolderPathCorrection(path), 0);
        EXPECT_EQ(path.text, escaped);
    }
    Path full(room + ' ');
    EXPECT_EQ(FolderPathCorrection(full), -1) << "no room";
    EXPECT_EQ(full.text, room + ' ');
    EXPECT_EQ(FolderPathCorrection(nullptr), -1);
}

TEST_F(Engine, MakesTellsAndRemovesDirectories)
{
    EXPECT_EQ(CreateDirectory(Path("a/b c/d/"), 0750), 0);
    EXPECT_EQ(modeOf("a/b c/d"), 0750u);
    EXPECT_EQ(IsDirExist("a/b c/d"), 0);
    writeFile("a/file", "x");
    for (const char* bad : {"a/file/below", "a/file", ""}) EXPECT_EQ(CreateDirectory(Path(bad), 0755), -1) << bad;
    EXPECT_EQ(CreateDirectory(nullptr, 0755), -1);
    EXPECT_EQ(IsDirExist("a/file"), -1);
    fs::create_directories("kept/deep");
    fs::create_directory_symlink(fs::absolute("kept"), "a/link");
    fs::create_directory_symlink(fs::absolute("kept"), "link");
    for (const char* link : {"link", "link/", "link//"}) EXPECT_EQ(RemoveDirectory(Path(link)), -1) << link;
    EXPECT_EQ(RemoveDirectory(Path("a//")), 0);
    EXPECT_FALSE(fs::exists("a"));
    EXPECT_TRUE(fs::exists("kept/deep")) << "what a link leads to stays";
    EXPECT_EQ(RemoveDirectory(Path("a")), -1);
}

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

TEST_F(Engine, ReadsAValueOfAConfiguration)
{
    const std::pair<const char*, const char*> rows[] = {{"K.a=1", "1"},        {"  \tK.a = 1 2\r\n", "1"},
                                                        {"#K.a=1", "old"},     {"K.abc=7", "7"},
                                                        {"K.a=1\nK.a=2", "2"}, {"K.a=", "old"},
                                                        {"other=1", "old"},    {"K.a=12345678", "12345678"},
                                                        {"K.a=123456789", ""}, {"K.a 5", "5"},
                                                        {" #\nK.a=3", "3"}};
    for (const auto& [text, expected] : rows) {
        writeFile("file.cfg", text);
        Path value("old");
        EXPECT_EQ(ParseConfigFile(Path("file.cfg"), Path("K.a"), value), 0);
        EXPECT_STREQ(value.text, expected) << text;
    }
    EXPECT_EQ(ParseConfigFile(Path("none.cfg"), Path("K.a"), Path("")), -1);
    EXPECT_EQ(ParseConfigFile(nullptr, nullptr, nullptr), -1);
}

TEST_F(Engine, TakesTheNamesOutOfAManifest)
{
    const std::string lx = "QD-Oxa-Zelmar-Web-LX-1.0.0.tar.gz", x64 = "QD-Oxa-Zelmar-Web-X64-1.exe",
                      nano = "TorvoSvcMod.msi";
    const struct {
        std::string text, names;
    } rows[] = {
        {"ab  " + lx + "\n", lx + ' ' + lx + ".sign - - "},
        {"ab \" " + lx + " \"\r\nab  " + x64 + "\nab  " + nano, lx + ' ' + lx + ".sign " + x64 + ' ' + nano + ' '},
        {"ab \"" + lx + "\" \"" + lx + "2\"\n", lx + "2 " + lx + "2.sign - - "},
        {"ab \"" + lx + "\" \"" + x64 + "\"\n", lx + ' ' + lx + ".sign " + x64 + " - "},
        {"ab  " + lx + "\nab  " + lx + "3\n", lx + "3 " + lx + "3.sign - - "},
        {std::string(600, 'x') + "\nab  " + lx, lx + ' ' + lx + ".sign - - "},
        {lx + "\n   \n\n\"\n ab\n", "- - - - "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text.substr(0, 60));
        writeFile("sha256sum", row.text);
        StructOxaPloxPackage package{};
        EXPECT_EQ(pasrseSHA256File(Path("sha256sum"), &package), 0);
        std::string found;
        for (astring* field : {package.pLinuxUpdatePkg, package.pLinuxSignFile, package.pWindowsUpdatePkg,
                               package.pWindowsNanoUpdatePkg}) {
            found += (field != nullptr ? field : "-") + std::string(" ");
            SMFreeMem(field);
        }
        EXPECT_EQ(found, row.names);
    }
    EXPECT_EQ(pasrseSHA256File(Path("none"), nullptr), OXA_UPDATE_OUT_OF_MEMORY);
    for (const auto& [given, left] : {std::pair(" \t a b \n", "a b"), std::pair("   ", ""), std::pair("x", "x")}) {
        Path text(given);
        trim(text);
        EXPECT_STREQ(text.text, left);
    }
}

TEST_F(Engine, DownloadsFilesThatNobodyElseCanTouch)
{
    Path url("");
    ASSERT_EQ(createHTTPSurl(url), 0);
    EXPECT_TRUE(has(url.text, "https://127.0.0.1:")) << url.text;
    const mode_t before = ::umask(0);
    fs::create_directories("there");
    EXPECT_EQ(DownloadHTTPSFile(Path("there"), url, Path("package.xml")), 0);
    EXPECT_EQ(modeOf("there/package.xml"), 0600u);
    shell("chmod 666 there/package.xml");
    EXPECT_EQ(DownloadHTTPSFile(Path("there"), url, Path("package.xml")), 0);
    EXPECT_EQ(modeOf("there/package.xml"), 0600u);
    ::umask(before);
    EXPECT_EQ(readFile("there/package.xml"), readFile(served + "/package.xml"));

    writeFile("precious", "mine");
    writeFile("linked", "mine");
    fs::create_symlink(fs::absolute("linked"), "there/sha256sum");
    fs::create_hard_link("precious", "there/OXA_Lx.sh");
    for (const char* trap : {"sha256sum", "OXA_Lx.sh"})
        EXPECT_EQ(DownloadHTTPSFile(Path("there"), url, Path(trap)), OXA_UPDATE_NOT_DOWNLOADED) << trap;
    EXPECT_EQ(readFile("precious") + readFile("linked"), "minemine");
    EXPECT_EQ(DownloadHTTPSFile(Path("none"), url, Path("package.xml")), OXA_UPDATE_NOT_DOWNLOADED);
    EXPECT_EQ(DownloadHTTPSFile(nullptr, url, Path("package.xml")), OXA_UPDATE_NOT_DOWNLOADED);

    g_failingInit = 27;
    g_inits       = 0;
    EXPECT_EQ(DownloadHTTPSFile(Path("there"), url, Path("package.xml")), OXA_UPDATE_NOT_DOWNLOADED);
    EXPECT_EQ(g_inits, 1) << "nothing more is initialised";
    g_failingInit = 0;
}

TEST_F(Engine, ForcedRunsUninstallWhatThePackageManagerKnows)
{
    // A search path with every program but rpm, and one with an rpm that knows the agent.
    shell(
        "rm -rf ../bin ../rpm && mkdir ../bin ../rpm && ln -s /usr/bin/* /bin/* ../bin 2>/dev/null; rm -f ../bin/rpm;"
        "printf '#!/bin/sh\\necho qvoxa-agent-1.0-1\\n' > ../rpm/rpm && chmod 755 ../rpm/rpm");
    const std::string path = ::getenv("PATH");
    ::setenv("PATH", (bench + "/bin").c_str(), 1);
    const auto [fresh, complaint] = printedBy([] { EXPECT_EQ(OXAAutoUpdateNow(nullptr, 1, 1), 0); });
    ::setenv("PATH", (bench + "/rpm:" + path).c_str(), 1);
    const auto [again, nothing] = printedBy([] { EXPECT_EQ(OXAAutoUpdateNow(nullptr, 1, 0), 0); });
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_FALSE(has(fresh, "ninstall")) << fresh;
    EXPECT_EQ(complaint + nothing, "") << "a shell's complaint";
    EXPECT_TRUE(has(again,
                    "was successful.\nUninstalling of Torvo Service Module is in progress.\n"
                    "Torvo Service Module Uninstalled successfully.\n"
                    "Torvo Service Module install is in progress.\n"))
        << again;
    EXPECT_EQ(readFile(home + "/var/log/setup.log"), "installed 2.1.0: \nuninstalled\ninstalled 2.1.0: \n");
    EXPECT_EQ(modeOf(home + "/.autoupdate"), 0600u);
    expectClean();
}

TEST_F(Engine, OwnFileInTheVerifiersPlaceFailsTheUpdate)
{
    writeFile("/tmp/.signature", "mine");
    const auto [out, err] = printedBy(
        [this] { EXPECT_EQ(PrepareOXAAutoUpdate(0, Path(home + "/.OXAAutoUpdate")), OXA_UPDATE_BAD_SIGNATURE); });
    EXPECT_TRUE(has(out, "Signature verification failed with status 1.\n")) << out;
    EXPECT_EQ(readFile("/tmp/.signature"), "mine");
    astring reason[OXA_UPDATE_REASON_SIZE]{};
    EXPECT_EQ(OXAAutoUpdateReason(reason, sizeof reason), 0);
    EXPECT_STREQ(reason, "the verifier's directory /tmp/.signature cannot be made");
    EXPECT_EQ(OXAAutoUpdateReason(reason, 4), 0);
    EXPECT_STREQ(reason, "the") << "cut to its room";
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

TEST_F(Engine, RecordGivesUpAfterThreeRefusalsForGood)
{
    control({"kslog-refuse", "4"});
    EXPECT_EQ(InitOxaAutoUpdateLog(), 0);
    std::strcpy(OxaUpdatedVersion, "2.1.0");
    installationType = 2;
    g_waits          = 0;
    EXPECT_NE(OxaAutoUpdateLogtoOSKS(), 0) << "there is no usage logger";
    EXPECT_EQ(g_waits, 6) << "three pauses, each gone on with after a signal";
    EXPECT_EQ(g_waited.tv_sec, 4) << "for what was left";
    OxaAutoUpdateLogtoOSKS();
    EXPECT_EQ(g_waits, 6);
    g_waits                              = -1;
    const std::vector<std::string> lines = privatehost::systemLog();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(has(lines.front(), "successfully downgraded the Torvo Service Module to version 2.1.0,"))
        << lines.front();
}

}  // namespace
