/** @file UpdateDownloadTest.cpp  Download of the update package's files from the BMC. */
#include <curl/curl.h>

#include "FailingCurl.h"
#include "OxaAutoUpdateLinux.h"
#include "TlsResponder.h"
#include "UpdateBench.h"
#include "torvosim.h"

namespace {
std::vector<std::string> g_curlOrder;
}

extern "C" {
CURLcode __real_curl_global_init(long flags);
void     __real_curl_global_cleanup(void);
void     __real_curl_easy_cleanup(CURL* easy);
CURLcode __wrap_curl_global_init(long flags)
{
    g_curlOrder.push_back("init");
    return __real_curl_global_init(flags);
}
void __wrap_curl_global_cleanup(void)
{
    g_curlOrder.push_back("cleanup");
    __real_curl_global_cleanup();
}
void __wrap_curl_easy_cleanup(CURL* easy)
{
    g_curlOrder.push_back("handle");
    __real_curl_easy_cleanup(easy);
}
}

namespace {

class Download : public update::Bench {
protected:
    void SetUp() override
    {
        Bench::SetUp();
        bench::failCurlCall(0);
    }
    std::string url() const { return "https://127.0.0.1:" + server.port() + "/software/oxa"; }
    s32         download(std::string name, std::string from = "")
    {
        if (from.empty()) from = url();
        return DownloadHTTPSFile(directory.path.data(), from.data(), name.data());
    }
    s32         package(booln everySystem) { return DownloadOxaAutoUpdateFile(directory.path.data(), everySystem); }
    std::string stored(const std::string& name) const { return update::contentOf(directory / name); }

    /** The files asked for, in order. */
    std::vector<std::string> asked() const
    {
        std::vector<std::string> names;
        for (const std::string& request : server.requests()) {
            const std::string path = request.substr(4, request.find(' ', 4) - 4);
            EXPECT_EQ(path.substr(0, 14), "/software/oxa/");
            names.push_back(path.substr(14));
        }
        return names;
    }
    void answerAll(std::initializer_list<const char*> bodies)
    {
        for (const char* body : bodies) server.answer(200, body);
    }

    update::TempDir     directory;
    bench::TlsResponder server;
};

TEST_F(Download, StoresTheFile)
{
    update::writeFile(directory / "package.xml", "an older and longer content");
    server.answer(200, "content");
    EXPECT_EQ(download("package.xml"), 0);
    EXPECT_EQ(stored("package.xml"), "content");
    expectTrace("[AUFPI]DownloadHTTPSFile: downloadUrl " + url() + "/package.xml.\n");
    for (const char* op : {"DownloadHTTPSFile", "DownloadFileFromTorvo"})
        for (const char* end : {"entry", "exit"}) expectTrace(std::string("[AUFPI]") + op + ": " + end + ".\n");
}

TEST_F(Download, HoldsLibcurlsStateForItsTransferOnly)
{
    server.answer(200, "");
    server.answer(200, "");
    EXPECT_EQ(download("a"), 0);
    g_curlOrder.clear();
    EXPECT_EQ(download("b"), 0);
    EXPECT_EQ(g_curlOrder, (std::vector<std::string>{"init", "handle", "cleanup"}));
}

TEST_F(Download, FailsWithAnErrorStatus)
{
    for (int status : {400, 404, 500, 503}) {
        server.answer(status, "an error page");
        EXPECT_EQ(download("a"), 5) << status;
    }
    expectError("[AUFPI]DownloadFileFromTorvo: curl_easy_perform() failed: HTTP response code said error.\n");
    expectError("[AUFPI]DownloadHTTPSFile: DownloadFileFromTorvo failed with status 1.\n");
}

TEST_F(Download, ThatIsCutShortFailsAndStays)
{
    server.answer(bench::TlsAnswer{"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\npart"});
    EXPECT_EQ(download("a"), 5);
    EXPECT_EQ(stored("a"), "part");
}

TEST_F(Download, NeedsAPlaceForTheFile)
{
    std::string nowhere = directory / "none", from = url(), name = "a";
    EXPECT_EQ(DownloadHTTPSFile(nowhere.data(), from.data(), name.data()), 5);
    expectError("[AUFPI]DownloadFileFromTorvo: file " + nowhere + "/a open failed.\n");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(Download, ToAFullDiskFails)
{
    if (!update::privateHost().empty()) GTEST_SKIP() << update::privateHost();
    const update::TempDir disk;
    ASSERT_EQ(::mount("none", disk.path.c_str(), "tmpfs", 0, "size=8k"), 0);
    update::writeFile(disk / "filler", std::string(8192, 'x'));
    std::string to = disk.path, from = url(), small = "small", large = "large";
    server.answer(200, "held back until the file is closed");
    EXPECT_EQ(DownloadHTTPSFile(to.data(), from.data(), small.data()), 5);
    expectError("[AUFPI]DownloadFileFromTorvo: file " + to + "/small could not be written.\n");
    server.answer(200, std::string(1000000, 'x'));
    EXPECT_EQ(DownloadHTTPSFile(to.data(), from.data(), large.data()), 5);
    ASSERT_EQ(::umount(disk.path.c_str()), 0);
}

TEST_F(Download, WithoutBmcFails)
{
    EXPECT_EQ(download("a", "https://127.0.0.1:9"), 5);
    EXPECT_EQ(download("a", "no url"), 5);
    std::string text = "x";
    EXPECT_EQ(DownloadHTTPSFile(nullptr, text.data(), text.data()), 5);
    EXPECT_EQ(DownloadHTTPSFile(text.data(), nullptr, text.data()), 5);
    EXPECT_EQ(DownloadHTTPSFile(text.data(), text.data(), nullptr), 5);
}

TEST_F(Download, FailsWithAnyCallOfLibcurl)
{
    const char* const lines[] = {"curl init failed",
                                 "CURLOPT_SSL_VERIFYPEER failed with err 27",
                                 "CURLOPT_SSL_VERIFYHOST failed with err 27",
                                 "URL failed with err 27",
                                 "URL failed with err 27",
                                 "URL failed with err 27",
                                 "WRITE_DATA failed with err 27"};
    unsigned          nth     = 0;
    for (const char* line : lines) {
        bmc.restart();
        bench::failCurlCall(++nth);
        EXPECT_EQ(download("a"), 5);
        EXPECT_NE(bench::failedCurlCall(), "");
        expectError(std::string("[AUFPI]DownloadFileFromTorvo: ") + line + ".\n");
        expectNothingLeft();
    }
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(Download, OfTheLinuxPackageTakesWhatTheManifestNames)
{
    expectAddress(server.port());
    answerAll({"xml", "d  QD-Oxa-Zelmar-Web-LX-5.tar.gz\nd  QD-Oxa-Zelmar-Web-X64\nd  TorvoSvcMod\n", "key", "package",
               "signature"});
    EXPECT_EQ(package(0), 0);
    EXPECT_EQ(asked(),
              (std::vector<std::string>{"package.xml", "sha256sum", "RPM-GPG-KEY-zelmar",
                                        "QD-Oxa-Zelmar-Web-LX-5.tar.gz", "QD-Oxa-Zelmar-Web-LX-5.tar.gz.sign"}));
    EXPECT_EQ(stored("RPM-GPG-KEY-zelmar"), "key");
    EXPECT_EQ(stored("QD-Oxa-Zelmar-Web-LX-5.tar.gz"), "package");
    EXPECT_EQ(stored("QD-Oxa-Zelmar-Web-LX-5.tar.gz.sign"), "signature");
    expectTrace("[AUFPI]DownloadOxaAutoUpdateFile: URL is " + url() + ".\n");
}

TEST_F(Download, OfEverythingAddsOtherSystemsAndScripts)
{
    expectAddress(server.port());
    answerAll(
        {"xml", "d  QD-Oxa-Zelmar-Web-LX-5\nd  QD-Oxa-Zelmar-Web-X64\nd  TorvoSvcMod\n", "", "", "", "", "", "", ""});
    EXPECT_EQ(package(1), 0);
    EXPECT_EQ(asked(), (std::vector<std::string>{"package.xml", "sha256sum", "RPM-GPG-KEY-zelmar",
                                                 "QD-Oxa-Zelmar-Web-LX-5", "QD-Oxa-Zelmar-Web-LX-5.sign",
                                                 "QD-Oxa-Zelmar-Web-X64", "TorvoSvcMod", "OXA_Lx.sh", "OXA_Win.bat"}));
}

TEST_F(Download, OfEverythingTakesOnlyWhatThereIs)
{
    expectAddress(server.port());
    answerAll({"xml", "", "", "", ""});
    EXPECT_EQ(package(1), 0);
    EXPECT_EQ(asked(),
              (std::vector<std::string>{"package.xml", "sha256sum", "RPM-GPG-KEY-zelmar", "OXA_Lx.sh", "OXA_Win.bat"}));
}

TEST_F(Download, StopsAtTheFirstFailure)
{
    expectAddress(server.port());
    answerAll({"xml", "d  QD-Oxa-Zelmar-Web-LX-5\n"});
    server.answer(404, "");
    EXPECT_EQ(package(0), 5);
    EXPECT_EQ(asked().back(), "RPM-GPG-KEY-zelmar");
    expectError("[AUFPI]DownloadOxaAutoUpdateFile: download failed with status 5.\n");
}

TEST_F(Download, DoesNotLetTheManifestChooseADirectory)
{
    expectAddress(server.port());
    answerAll({"xml", "d  ../../QD-Oxa-Zelmar-Web-LX-5\n", "key", "package"});
    EXPECT_EQ(package(0), 5);
    EXPECT_EQ(asked().back(), "RPM-GPG-KEY-zelmar");
}

TEST_F(Download, NeedsDirectoryAndAddress)
{
    EXPECT_EQ(DownloadOxaAutoUpdateFile(nullptr, 0), 1);
    expectError("[AUFPI]DownloadOxaAutoUpdateFile: pDestTmpDir = null.\n");
    bmc.expect("C0 D6 01 00 01 00 00 00").fails();
    EXPECT_EQ(package(0), 1);
    expectError("[AUFPI]DownloadOxaAutoUpdateFile: create url failed.\n");
}

TEST_F(Download, GivesEverythingBackWhateverFails)
{
    // Answers that a failed run has left over would go to the next one: each run has a server of its own.
    u32 nth = 0;
    for (bool failed = true; failed;) {
        bench::TlsResponder own;
        bmc.restart();
        expectAddress(own.port());
        for (const char* body : {"xml", "d  QD-Oxa-Zelmar-Web-LX-5\n", "", "", ""}) own.answer(200, body);
        bmc.failCall(++nth);
        const s32 status = package(0);
        failed           = !bmc.failedCall().empty();
        expectNothingLeft();
        EXPECT_EQ(status != 0, failed) << bmc.failedCall();
    }
    EXPECT_GT(nth, 20U);
}

class DownloadForUser : public Download {
protected:
    std::string console(const std::string& to, s32 expected)
    {
        return consoleOf([&] { EXPECT_EQ(downloadOxaUpdatePackage(const_cast<astring*>(to.c_str())), expected); });
    }
};

TEST_F(DownloadForUser, CreatesTheDirectory)
{
    expectPackageVersion("5.4.0.1");
    expectAddress(server.port());
    answerAll({"xml", "", "key", "script", "script"});
    EXPECT_EQ(console(directory / "new/deep", 0), "");
    EXPECT_EQ(stored("new/deep/OXA_Lx.sh"), "script");
}

TEST_F(DownloadForUser, SaysThatThereIsNoPackage)
{
    expectPackageVersion("1.0");
    EXPECT_EQ(console(directory.path, 2), "Torvo Service Module KS package is not installed on this server.\n");
    expectError("[AUFPI]downloadOxaUpdatePackage: Oxa Zelmar Update Package  not available on this server.\n");
}

TEST_F(DownloadForUser, SaysThatItFailed)
{
    expectPackageVersion("5.4.0.1");
    expectAddress(server.port());
    server.answer(404, "");
    EXPECT_EQ(console(directory.path, 5),
              "Downloading of Torvo Service Module update packages failed with status 5.\n");
    expectPackageVersion("5.4.0.1");
    bmc.expect("C0 D6 01 00 01 00 00 00").fails();
    EXPECT_EQ(console(directory.path, 5),
              "Downloading of Torvo Service Module update packages failed with status 1.\n");
}

TEST_F(DownloadForUser, NeedsVersionAndDirectory)
{
    bmc.expect("C0 D6 01 05 02 00 00 00 00").fails();
    EXPECT_EQ(console(directory.path, 1), "");
    expectError("[AUFPI]downloadOxaUpdatePackage: APMDiscoveryGetOxaVersion failed with status 1.\n");
    expectPackageVersion("5.4.0.1");
    update::writeFile(directory / "file", "");
    EXPECT_EQ(console(directory / "file", 1), "");
    expectError("[AUFPI]downloadOxaUpdatePackage: CreateDirectory " + (directory / "file") + " failed.\n");
    expectPackageVersion("5.4.0.1");
    EXPECT_EQ(downloadOxaUpdatePackage(nullptr), 1);
}

/** A BMC that speaks only TLS versions that this host does not. */
TEST_F(DownloadForUser, TellsATlsMismatchAtEveryLevel)
{
    torvosim::Options options;
    options.httpsAddresses = {"127.0.0.1"};
    options.tlsMin         = "1.0";
    options.tlsMax         = "1.1";
    torvosim::Simulator simulator(options);
    simulator.start();
    const std::string port = std::to_string(simulator.httpsPort());
    EXPECT_EQ(download("a", "https://127.0.0.1:" + port), 1001);
    expectError("[AUFPI]DownloadFileFromTorvo: TLS version mismatch between OS and Torvo.\n");
    expectError("[AUFPI]DownloadHTTPSFile: DownloadFileFromTorvo failed with status 1001.\n");
    expectAddress(port);
    EXPECT_EQ(package(0), 1001);
    expectPackageVersion("5.4.0.1");
    expectAddress(port);
    EXPECT_EQ(console(directory.path, 1001),
              "Downloading of Torvo Service Module update packages failed with status 1001.\n");
}

}  // namespace
