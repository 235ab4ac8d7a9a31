/** @file EnvironmentTest.cpp  Where the tool may run and what it may touch there; the versions, the link. */
#include <unistd.h>

#include <filesystem>

#include "UpdateBench.h"

namespace {

namespace fs = std::filesystem;

class Environments : public UpdateBench {};

TEST_F(Environments, InTheUpdateDirectoryAreRefused)
{
    offer("2.1.0");
    install("1.0.0");
    program = std::string(privatehost::kHome) + "/.update/bin/qvoxa-sync";
    privatehost::placeProgram(QVOXA_SYNC_PROGRAM, program);
    const Outcome outcome = tool({"--silent"});
    EXPECT_EQ(outcome.exit, 8);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(has(outcome.err, ".update directory")) << outcome.err;

    program = std::string(privatehost::kHome) + "/bin/qvoxa-sync";
    privatehost::placeProgram(QVOXA_SYNC_PROGRAM, program);
    EXPECT_EQ(tool({"--silent"}).exit, 0);
}

TEST_F(Environments, InTheUpdateDirectoryAreRefusedToo_WhenFoundByPath)
{
    offer("2.1.0");
    install("1.0.0");
    const std::string directory = std::string(privatehost::kHome) + "/.update";
    privatehost::placeProgram(QVOXA_SYNC_PROGRAM, directory + "/qvoxa-sync");
    EXPECT_EQ(run({"/bin/sh", "-c", "PATH=" + directory + ":$PATH qvoxa-sync --silent"}, onThisHost()).exit, 8);
}

struct Trap : Row {
    const char* command;
    const char* says;
};

class Traps : public UpdateBench, public testing::WithParamInterface<Trap> {};
INSTANTIATE_TEST_SUITE_P(
    Rows, Traps,
    testing::Values(
        Trap{"LinkForDownloads", "ln -s /opt/bench/precious /tmp/.AutoUpdate", "/tmp/.AutoUpdate is a link"},
        Trap{"LinkForTheVerifier", "ln -s /opt/bench/precious /tmp/.signature", "/tmp/.signature is a link"},
        Trap{"SomebodysDownloads", "mkdir /tmp/.AutoUpdate; chown 4242 /tmp/.AutoUpdate",
             "/tmp/.AutoUpdate belongs to somebody else"},
        Trap{"SomebodysVerifier", "mkdir /tmp/.signature; chown 4242 /tmp/.signature",
             "/tmp/.signature belongs to somebody else"},
        Trap{"LinkForTheConfiguration", "ln -s /opt/bench/precious/file .qvoxareg.cfg", ".qvoxareg.cfg is a link"},
        Trap{"SomebodysConfiguration", "touch .qvoxareg.cfg; chown 4242 .qvoxareg.cfg",
             ".qvoxareg.cfg belongs to somebody else"},
        Trap{"DirectoryForTheConfiguration", "mkdir .qvoxareg.cfg", ".qvoxareg.cfg is no file"}),
    NameOfRow());

TEST_P(Traps, AreNotStepped)
{
    offer("2.1.0");
    shell("mkdir /opt/bench/precious && echo mine > /opt/bench/precious/file");
    shell(GetParam().command);
    const Outcome outcome = tool({"--silent"});
    EXPECT_EQ(outcome.exit, 7);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(has(outcome.err, GetParam().says)) << outcome.err;
    EXPECT_EQ(readFile("/opt/bench/precious/file"), "mine\n");
    EXPECT_EQ(installedVersion(), "");
}

TEST_F(Environments, KeepAConfigurationOfTheUsersOwn)
{
    offer("2.1.0");
    const std::string own = readFile(bmc->configuration()) + "suptlib.vardatapath=/elsewhere\n";
    writeFile(".qvoxareg.cfg", own);
    const Outcome outcome = run(commandLine({"--silent"}));  // the BMC is found by this file alone
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_EQ(readFile(".qvoxareg.cfg"), own);
    EXPECT_EQ(installedVersion(), "2.1.0");
}

TEST_F(Environments, KeepAnIpcDirectoryWithSomethingInIt)
{
    offer("2.1.0");
    const std::string ipc = fs::path(program).parent_path().string() + "/ipc";
    fs::create_directories(ipc);
    writeFile(ipc + "/socket", "mine");
    EXPECT_EQ(tool({"--silent"}).exit, 0);
    EXPECT_EQ(readFile(ipc + "/socket"), "mine");
    EXPECT_FALSE(fs::exists(".qvoxareg.cfg"));
}

TEST_F(Environments, WithoutABmc)
{
    writeFile("nowhere.cfg", "hipm.endpoint=unix:/nonexistent\n");
    ChildOptions options;
    options.environment["QVPLATFORM_CONFIG"] = "nowhere.cfg";
    const Outcome update                     = tool({"--silent"}, options);
    EXPECT_EQ(update.exit, 0);  // what cannot be compared is not updated
    EXPECT_EQ(update.out, line::kLatest);
    EXPECT_TRUE(has(update.err, "the BMC does not tell its package version")) << update.err;
    const Outcome forced = tool({"--force"}, options);
    EXPECT_EQ(forced.exit, 5);
    EXPECT_EQ(forced.out, line::kBroken);
    EXPECT_EQ(tool({"--download", "there"}, options).exit, 1);
    const Outcome report = tool({"--version-report"}, options);
    EXPECT_EQ(report.exit, 1);
    EXPECT_EQ(report.out,
              "Available Torvo Service Module KS package version : NA.\n"
              "Available Torvo Service Module  package version : NA.\n");
    EXPECT_EQ(tool({"--setup-link"}, options).exit, 1);
    expectClean();
}

TEST_F(Environments, TellTheVersions)
{
    startBmc();
    bmc->control({"set", "package", "9.8.7"});
    bmc->control({"set", "agent", "1.2.3"});
    const Outcome outcome = tool({"--version-report"});
    EXPECT_EQ(outcome.exit, 0);
    EXPECT_EQ(outcome.out,
              "Available Torvo Service Module KS package version : 9.8.7\n"
              "Currently installed Torvo Service Module version  : 1.2.3\n");
    EXPECT_EQ(outcome.err, "");
    const Json document = Json::parse(tool({"--version-report", "--json"}).out);
    EXPECT_EQ(document["packageVersion"], "9.8.7");
    EXPECT_EQ(document["agentVersion"], "1.2.3");
    expectClean();
}

TEST_F(Environments, SwitchTheLinkOn)
{
    startBmc();
    bmc->control({"set", "passthrough.mode", "0"});
    const Json document = Json::parse(tool({"--setup-link", "--json"}).out);
    EXPECT_EQ(document["outcome"], "done");
    EXPECT_EQ(document["switchedOn"], true);
    EXPECT_TRUE(has(bmc->control({"get", "passthrough.mode"}), "21"));
    EXPECT_EQ(Json::parse(tool({"--setup-link", "--json"}).out)["switchedOn"], false);
}

TEST_F(Environments, LeaveALinkInAnotherModeAloneAndSaySo)
{
    startBmc();
    bmc->control({"set", "passthrough.mode", "1"});
    const Outcome outcome = tool({"--setup-link"});
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_TRUE(has(outcome.err, "mode 1")) << outcome.err;
    EXPECT_TRUE(has(bmc->control({"get", "passthrough.mode"}), "\"1\""));
}

TEST_F(Environments, ReportVersionsNextToFilesOfSomebodyElse)
{
    startBmc();
    shell("mkdir /opt/bench/precious && echo mine > /opt/bench/precious/file");
    shell("ln -s /opt/bench/precious/file .qvoxareg.cfg");
    EXPECT_EQ(tool({"--version-report"}).exit, 0);
    EXPECT_EQ(readFile("/opt/bench/precious/file"), "mine\n");
}

TEST_F(Environments, OutputThatNobodyTakes)
{
    startBmc();
    ChildOptions options;
    options.outputFile = "/dev/full";
    for (const Words& arguments : {Words{"--version-report"}, Words{"--version-report", "--json"}}) {
        const Outcome outcome = tool(arguments, options);
        EXPECT_EQ(outcome.exit, 11);
        EXPECT_EQ(outcome.err, "qvoxa-sync: the result cannot be written: find room for it, or a reader that stays\n");
    }
}

TEST_F(Environments, AReaderThatGoesAwayDoesNotEndAnUpdate)
{
    offer("2.1.0");
    ChildOptions options;
    options.outputClosed = true;
    EXPECT_EQ(tool({"--silent"}, options).exit, 0);
    EXPECT_EQ(installedVersion(), "2.1.0");
    expectClean();
}

/** Needs neither root nor a host of its own. */
TEST(WithoutRoot, UpdatesAreRefused)
{
    Words command{QVOXA_SYNC_PROGRAM, "--silent"};
    if (::geteuid() == 0) {
        if (std::system("unshare --user true 2>/dev/null") != 0) GTEST_SKIP() << "no user namespace to be nobody in";
        command.insert(command.begin(), {"/usr/bin/env", "unshare", "--user", "--"});
    }
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.exit, 4);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qvoxa-sync: this needs root: start it as root, with sudo for instance\n");
}

TEST(WithoutRoot, WrongUsageIsTold)
{
    const Outcome outcome = run({QVOXA_SYNC_PROGRAM, "--version-report", "--force", "--json"});
    EXPECT_EQ(outcome.exit, 64);
    EXPECT_EQ(outcome.err, "qvoxa-sync: --version-report does not go with --force: see 'qvoxa-sync --help'\n");
    const Json document = Json::parse(outcome.out);
    EXPECT_EQ(document["exit"], 64);
    EXPECT_EQ(document["status"], nullptr);
}

}  // namespace
