/** @file InstallTest.cpp  What can go wrong on the host between a good package and an installed agent. */
#include <filesystem>

#include "UpdateBench.h"

namespace {

namespace fs = std::filesystem;

class Installs : public UpdateBench {};

TEST_F(Installs, FailWhereTheInstallationsDiskIsFull)
{
    shell("head -c 400000 /dev/urandom > " + agent + "/payload");
    offer("2.1.0");
    privatehost::mountSmall("/opt/zelmar", "256k");
    install("1.0.0");
    const Outcome outcome = tool({"--silent"});
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_EQ(outcome.out, line::kFetched);
    EXPECT_EQ(installedVersion(), "1.0.0");
    expectLogged({}, "");
    expectClean();
}

TEST_F(Installs, RunFromPathsWithBlanksAndLeaveThemAsTheyWere)
{
    offer("2.1.0");
    const std::string home = std::string(privatehost::kBench) + "/my tools";
    program                = home + "/the copy/qvoxa-sync";
    privatehost::placeProgram(QVOXA_SYNC_PROGRAM, program);
    fs::create_directories("my place");
    fs::current_path("my place");
    const Outcome outcome = tool({"--silent"});
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_EQ(installedVersion(), "2.1.0");
    expectClean();
    EXPECT_FALSE(fs::exists(std::string(privatehost::kBench) + "/my\\ tools"));
    EXPECT_TRUE(fs::is_empty(fs::current_path()));
}

TEST_F(Installs, RemoveWhatAKilledRunLeft)
{
    offer("2.1.0");
    install("1.0.0");
    const std::string staging = std::string(privatehost::kHome) + "/.OXAAutoUpdate";
    for (const std::string& left : {std::string("/tmp/.AutoUpdate"), std::string("/tmp/.signature"), staging}) {
        fs::create_directories(left + "/deep");
        writeFile(left + "/deep/file", "left");
    }
    writeFile("/tmp/.AutoUpdate/QD-Oxa-Zelmar-Web-LX-9.9.9.tar.gz", "another package");
    writeFile(staging + "/setup.sh", "exit 9\n");
    EXPECT_EQ(tool({"--silent"}).exit, 0);
    EXPECT_EQ(installedVersion(), "2.1.0");
    expectClean();
}

TEST_F(Installs, FollowNoLinkOutOfTheStagingDirectory)
{
    offer("2.1.0");
    fs::create_directories("precious");
    writeFile("precious/file", "mine");
    fs::create_directories(std::string(privatehost::kHome) + "/.OXAAutoUpdate");
    fs::create_symlink(fs::absolute("precious"), std::string(privatehost::kHome) + "/.OXAAutoUpdate/link");
    EXPECT_EQ(tool({"--silent"}).exit, 0);
    EXPECT_EQ(readFile("precious/file"), "mine");
    expectClean();
}

}  // namespace
