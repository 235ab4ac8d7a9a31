/** @file DownloadTest.cpp  Downloads that fail, and those that somebody asks for. */
#include <filesystem>

#include "UpdateBench.h"

namespace {

namespace fs = std::filesystem;

/** A client that speaks nothing older than TLS 1.3. */
ChildOptions onlyTls13()
{
    const std::string file = std::string(privatehost::kBench) + "/openssl.cnf";
    writeFile(
        file,
        "openssl_conf = main\n[main]\nssl_conf = ssl\n[ssl]\nsystem_default = all\n[all]\nMinProtocol = TLSv1.3\n");
    ChildOptions options;
    options.environment["OPENSSL_CONF"] = file;
    return options;
}

struct Fault : Row {
    Words       control;
    int         exit;
    const char* advice;
};

const Fault kFaults[] = {
    {"FirstFileMissing", {"status", "404", "GET", "/software/oxa/package.xml"}, 5, "check the link to the BMC"},
    {"ThirdFileRefused", {"status", "500", "GET", "/software/oxa/RPM-GPG-KEY-zelmar"}, 5, "check the link to the BMC"},
    {"SignatureMissing",
     {"status", "404", "GET", "/software/oxa/QD-Oxa-Zelmar-Web-LX-2.1.0.tar.gz.sign"},
     5,
     "check the link to the BMC"},
    {"CutInTheMiddleOfAFile", {"cut", "700", "GET", "/software/oxa/QD-Oxa"}, 5, "check the link to the BMC"},
    {"CutInTheHeader", {"cut", "10", "GET", "/software/oxa/sha256sum"}, 5, "check the link to the BMC"},
};

class BrokenDownload : public UpdateBench, public testing::WithParamInterface<Fault> {};
INSTANTIATE_TEST_SUITE_P(Faults, BrokenDownload, testing::ValuesIn(kFaults), NameOfRow());

TEST_P(BrokenDownload, ChangesNothing)
{
    const Fault& row = GetParam();
    offer("2.1.0");
    install("1.0.0");
    bmc->control(row.control);
    const Outcome outcome = tool({"--silent"});
    EXPECT_EQ(outcome.exit, row.exit);
    EXPECT_EQ(outcome.out, line::kBroken);
    EXPECT_TRUE(has(outcome.err, row.advice)) << outcome.err;
    EXPECT_EQ(installedVersion(), "1.0.0");
    expectLogged({}, "");
    expectClean();

    bmc->control({"clear"});
    EXPECT_EQ(tool({"--silent"}).exit, 0);
    EXPECT_EQ(installedVersion(), "2.1.0");
}

class Downloads : public UpdateBench {};

TEST_F(Downloads, WithoutACommonTlsVersionSaySo)
{
    startBmc({"--tls-max", "1.2"});
    offer("2.1.0");
    const Outcome outcome = tool({"--silent"}, onlyTls13());
    EXPECT_EQ(outcome.exit, 10);
    EXPECT_EQ(outcome.out, line::kBroken);
    EXPECT_TRUE(has(outcome.err, "no TLS version in common")) << outcome.err;
    expectClean();

    const Outcome told = tool({"--silent", "--json"}, onlyTls13());
    EXPECT_EQ(told.exit, 10);
    EXPECT_EQ(Json::parse(told.out)["status"], 1001);

    const Outcome asked = tool({"--download", "there"}, onlyTls13());
    EXPECT_EQ(asked.exit, 10);
    EXPECT_EQ(asked.out, "Downloading of Torvo Service Module update packages failed with status 1001.\n");
}

TEST_F(Downloads, FailOnAFullDisk)
{
    shell("head -c 400000 /dev/urandom > " + agent + "/payload");
    offer("2.1.0");
    install("1.0.0");
    privatehost::mountSmall("/tmp", "64k");
    const Outcome outcome = tool({"--silent"});
    EXPECT_EQ(outcome.exit, 5);
    EXPECT_EQ(outcome.out, line::kBroken);
    EXPECT_TRUE(has(outcome.err, "free space")) << outcome.err;
    EXPECT_EQ(installedVersion(), "1.0.0");
    expectClean();
}

TEST_F(Downloads, BringEveryFileOfThePackageAndSayNothing)
{
    offer("2.1.0");
    writeFile("QD-Oxa-Zelmar-Web-X64-2.1.0.exe", "for Windows");
    shell(SOURCE_DIRECTORY "/scripts/make-update-package " + agent + " --version 2.1.0 --out " + served + " --key " +
          keys + " --add QD-Oxa-Zelmar-Web-X64-2.1.0.exe >/dev/null");
    const Outcome outcome = tool({"--download", "my downloads/of today"});
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_EQ(outcome.out + outcome.err, "");
    for (const auto& entry : fs::directory_iterator(served))
        EXPECT_EQ(readFile("my downloads/of today/" + entry.path().filename().string()), readFile(entry.path()));
    EXPECT_TRUE(fs::exists("my downloads/of today/QD-Oxa-Zelmar-Web-X64-2.1.0.exe"));
    EXPECT_EQ(installedVersion(), "");
    expectLogged({}, "");
    expectClean();
}

TEST_F(Downloads, TellAMachineWhereTheyAre)
{
    offer("2.1.0");
    const Json document = Json::parse(tool({"--download", "there", "--json"}).out);
    EXPECT_EQ(document["outcome"], "done");
    EXPECT_EQ(document["directory"], "there");
    EXPECT_EQ(document["packageVersion"], "2.1.0");
}

TEST_F(Downloads, OfWhatTheBmcRefuses)
{
    offer("2.1.0");
    bmc->control({"status", "500", "GET", "/software/oxa/OXA_Lx.sh"});
    const Outcome outcome = tool({"--download", "there"});
    EXPECT_EQ(outcome.exit, 5);
    EXPECT_EQ(outcome.out, "Downloading of Torvo Service Module update packages failed with status 5.\n");
    EXPECT_TRUE(fs::exists("there/RPM-GPG-KEY-zelmar")) << "what came stays";
}

TEST_F(Downloads, OfNoPackage)
{
    startBmc();
    bmc->control({"set", "package", ""});
    for (const auto& [arguments, exit] :
         {std::pair(Words{"--download", "there"}, 0), std::pair(Words{"--download", "there", "--exit-code"}, 2)}) {
        const Outcome outcome = tool(arguments);
        EXPECT_EQ(outcome.exit, exit);
        EXPECT_EQ(outcome.out, line::kNoPackage);
    }
    EXPECT_FALSE(fs::exists("there"));
}

TEST_F(Downloads, ToAPlaceThatIsNoDirectory)
{
    offer("2.1.0");
    writeFile("file", "precious");
    const Outcome outcome = tool({"--download", "file/below"});
    EXPECT_EQ(outcome.exit, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(readFile("file"), "precious");
}

TEST_F(Downloads, ShowTheirProgressOnATerminalAlone)
{
    if (std::system("script -qec true /dev/null >/dev/null 2>&1") != 0) GTEST_SKIP() << "the command script is missing";
    offer("2.1.0");
    bmc->control({"delay", "1500", "GET", "/software/oxa/sha256sum"});
    const Outcome seen =
        run({"/bin/sh", "-c", "script -qec '" + program + " --download there' /dev/null"}, onThisHost());
    EXPECT_TRUE(has(seen.out, "package.xml")) << seen.out;
    EXPECT_TRUE(has(seen.out, "B/s\r")) << seen.out;
    EXPECT_EQ(tool({"--download", "there"}).err, "");
}

TEST_F(Downloads, PassNoProxy)
{
    offer("2.1.0");
    ChildOptions options;
    for (const char* name : {"https_proxy", "HTTPS_PROXY", "ALL_PROXY"})
        options.environment[name] = "http://127.0.0.1:1";
    EXPECT_EQ(tool({"--download", "there"}, options).exit, 0);
}

}  // namespace
