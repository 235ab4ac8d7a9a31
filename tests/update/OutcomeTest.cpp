/** @file OutcomeTest.cpp  Which update happens, what is said, logged and left: one row a situation. */
#include "UpdateBench.h"

namespace {

using line::failed;
using line::installed;

struct Situation : Row {
    const char*                before;   ///< version installed; empty: none
    const char*                offered;  ///< the BMC says so
    Words                      arguments;
    int                        exit;
    std::string                out;
    const char*                after;
    std::optional<std::string> logged;      ///< verb in both logs
    std::string                input = {};  ///< to the installer
};

const std::string kPrompt = "Install Torvo Service Module 2.1.0? [y/n] ";

const Situation kSituations[] = {
    {"FreshInstall",
     "",
     "2.1.0",
     {"--silent"},
     0,
     line::kFetched + line::kUpdating + installed("2.1.0"),
     "2.1.0",
     "installed"},
    {"Upgrade",
     "1.0.0",
     "2.1.0",
     {"--silent"},
     0,
     line::kFetched + line::kUpdating + installed("2.1.0"),
     "2.1.0",
     "updated"},
    {"DigitsCompareAsNumbers",
     "9.9.9",
     "10.0.0",
     {"--silent"},
     0,
     line::kFetched + line::kUpdating + installed("10.0.0"),
     "10.0.0",
     "updated"},
    {"SameVersion", "2.1.0", "2.1.0", {"--silent"}, 0, line::kLatest, "2.1.0", {}},
    {"SameVersionAsExitStatus", "2.1.0", "2.1.0", {"--silent", "--exit-code"}, 2, line::kLatest, "2.1.0", {}},
    {"Downgrade", "3.0.0", "2.1.0", {"--silent"}, 0, line::kLatest, "3.0.0", {}},
    {"ForcedDowngrade",
     "3.0.0",
     "2.1.0",
     {"--force"},
     0,
     line::kFetched + line::kInstalling + installed("2.1.0"),
     "2.1.0",
     "installed"},
    {"ForcedReinstall",
     "2.1.0",
     "2.1.0",
     {"--force"},
     0,
     line::kFetched + line::kInstalling + installed("2.1.0"),
     "2.1.0",
     "installed"},
    {"ForcedFreshInstall",
     "",
     "2.1.0",
     {"--force", "--silent"},
     0,
     line::kFetched + line::kInstalling + installed("2.1.0"),
     "2.1.0",
     "installed"},
    {"NoPackage", "1.0.0", "", {"--silent"}, 0, line::kNoPackage, "1.0.0", {}},
    {"FillerInsteadOfAVersion", "1.0.0", "1.0", {"--silent", "--exit-code"}, 2, line::kNoPackage, "1.0.0", {}},
    {"NoPackageToForce", "1.0.0", "", {"--force", "--exit-code"}, 2, line::kNoPackage, "1.0.0", {}},
    {"Interactive",
     "1.0.0",
     "2.1.0",
     {},
     0,
     line::kUpdating + line::kFetched + kPrompt + installed("2.1.0"),
     "2.1.0",
     "updated",
     "y\n"},
    {"InteractiveAndDeclined",
     "1.0.0",
     "2.1.0",
     {},
     1,
     line::kUpdating + line::kFetched + kPrompt + "Nothing was changed.\n" + failed(3 << 8),
     "1.0.0",
     {},
     "n\n"},
    {"InteractiveSameVersion", "2.1.0", "2.1.0", {}, 0, line::kUpdating + line::kLatest, "2.1.0", {}},
    {"InstallerFails",
     "1.0.0",
     "2.1.0",
     {"--silent", "--install-args", "--fail 7"},
     1,
     line::kFetched + line::kUpdating + failed(7 << 8),
     "1.0.0",
     {}},
    {"InstallerArguments",
     "1.0.0",
     "2.1.0",
     {"--silent", "--install-args", "--express 'two words'"},
     0,
     line::kFetched + line::kUpdating + installed("2.1.0"),
     "2.1.0",
     "updated"},
};

/** Those in which the installer does not talk to a user. */
std::vector<Situation> unattended()
{
    std::vector<Situation> rows;
    for (const Situation& row : kSituations)
        if (!row.arguments.empty()) rows.push_back(row);
    return rows;
}

class UpdateSituation : public UpdateBench, public testing::WithParamInterface<Situation> {
protected:
    void prepare()
    {
        const Situation& row = GetParam();
        // A version that names no package comes with a package all the same: it must not be touched.
        const bool real = std::string(row.offered).size() > 4;
        offer(real ? row.offered : "2.1.0");
        if (!real) bmc->control({"set", "package", row.offered});
        if (*row.before != '\0') install(row.before);
    }
};
class Update : public UpdateSituation {};
INSTANTIATE_TEST_SUITE_P(Situations, Update, testing::ValuesIn(kSituations), NameOfRow());
class UpdateForAMachine : public UpdateSituation {};
INSTANTIATE_TEST_SUITE_P(Situations, UpdateForAMachine, testing::ValuesIn(unattended()), NameOfRow());

TEST_P(Update, EndsAsItShould)
{
    const Situation& row = GetParam();
    prepare();
    ChildOptions options;
    options.input         = row.input;
    const Outcome outcome = tool(row.arguments, options);
    EXPECT_EQ(outcome.exit, row.exit) << outcome.err;
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_EQ(outcome.err.empty(), row.exit == 0 || row.exit == 2) << outcome.err;
    EXPECT_EQ(installedVersion(), row.after);
    expectLogged(row.logged, row.after);
    expectClean();
}

TEST_P(UpdateForAMachine, TellsTheSame)
{
    const Situation& row = GetParam();
    prepare();
    Words arguments = row.arguments;
    arguments.push_back("--json");
    const Outcome outcome = tool(arguments);
    EXPECT_EQ(outcome.exit, row.exit) << outcome.err;
    EXPECT_TRUE(has(outcome.err, row.out)) << outcome.err;
    const Json document = Json::parse(outcome.out, nullptr, false);
    ASSERT_FALSE(document.is_discarded()) << outcome.out;
    EXPECT_EQ(document["action"], "update");
    EXPECT_EQ(document["exit"], row.exit);
    EXPECT_EQ(document["outcome"], row.logged ? *row.logged : row.exit == 1 ? "failed" : "nothing-to-do");
    EXPECT_EQ(document["status"], row.logged ? 0 : row.exit == 1 ? 1 : 2);
    EXPECT_EQ(document["packageVersion"], *row.offered == '\0' ? Json(nullptr) : Json(row.offered));
    EXPECT_EQ(document.contains("advice"), row.exit == 1);
}

class Updates : public UpdateBench {};

TEST_F(Updates, SayWhenTheInstalledVersionIsNotKnown)
{
    offer("2.1.0");
    install("longer-than-8");
    const Outcome outcome = tool({"--silent"});
    EXPECT_EQ(outcome.exit, 0);
    EXPECT_EQ(outcome.out, line::kLatest);
    EXPECT_TRUE(has(outcome.err, "the installation does not tell its version")) << outcome.err;
    EXPECT_TRUE(has(Json::parse(tool({"--silent", "--json"}).out)["note"], "does not tell"));
    EXPECT_EQ(installedVersion(), "longer-than-8");
    EXPECT_EQ(tool({"--force"}).exit, 0);
    EXPECT_EQ(installedVersion(), "2.1.0");
}

TEST_F(Updates, HandTheInstallerItsArgumentsAsTheShellTakesThem)
{
    offer("2.1.0");
    EXPECT_EQ(tool({"--silent", "--install-args", "--express 'two  words'"}).exit, 0);
    EXPECT_EQ(readFile(std::string(privatehost::kHome) + "/var/log/setup.log"),
              "installed 2.1.0: --express two  words\n");
    EXPECT_EQ(readFile(std::string(privatehost::kHome) + "/var/log/usage.log"), "AutoUpdate os=Linux\n");
}

TEST_F(Updates, UninstallFirstWhenForcedAndThePackageManagerKnowsTheAgent)
{
    if (std::system("command -v rpmbuild >/dev/null") != 0) GTEST_SKIP() << "rpm and rpmbuild are not here";
    offer("2.1.0");
    install("2.1.0");
    shell(
        "db=$(rpm --eval %_dbpath) && mkdir -p $db && mount -t tmpfs none $db && rpm --initdb && "
        "printf 'Name: qvoxa-agent\\nVersion: 1\\nRelease: 1\\nSummary: s\\nLicense: none\\nBuildArch: noarch\\n"
        "%%description\\nd\\n%%files\\n' > /opt/bench/a.spec && "
        "rpmbuild --quiet -bb --define '_topdir /opt/bench/rpm' /opt/bench/a.spec && "
        "rpm -i --justdb --nodeps --ignoreos --ignorearch /opt/bench/rpm/RPMS/noarch/*.rpm");
    const Outcome outcome = tool({"--force"});
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_EQ(outcome.out, line::kFetched +
                               "Uninstalling of Torvo Service Module is in progress.\n"
                               "Torvo Service Module Uninstalled successfully.\n" +
                               line::kInstalling + installed("2.1.0"));
    EXPECT_EQ(readFile(std::string(privatehost::kHome) + "/var/log/setup.log"), "uninstalled\ninstalled 2.1.0: \n");
    expectLogged("installed", "2.1.0");
}

TEST_F(Updates, ExportTheirRecordAgainWhenTheBmcRefusesItOnce)
{
    offer("2.1.0");
    install("1.0.0");
    bmc->control({"kslog-refuse", "1"});
    EXPECT_EQ(tool({"--silent"}).exit, 0);
    expectLogged("updated", "2.1.0");
}

TEST_F(Updates, OneAtATimeOnAHost)
{
    offer("2.1.0");
    bmc->control({"delay", "1500", "GET", "/software/oxa/sha256sum", "1"});
    Child first(commandLine({"--silent"}), onThisHost());
    ASSERT_TRUE(eventually([] { return !readFile("/tmp/.AutoUpdate/package.xml").empty(); }));
    const Outcome second = tool({"--silent"});
    EXPECT_EQ(second.exit, 6);
    EXPECT_EQ(second.out, line::kAnother);
    EXPECT_TRUE(has(second.err, "another qvoxa-sync is at work: wait")) << second.err;
    // The second leaves the files of the first alone, also those of a standalone copy.
    EXPECT_FALSE(readFile("/tmp/.AutoUpdate/package.xml").empty());
    EXPECT_FALSE(readFile(".qvoxareg.cfg").empty());
    const Outcome outcome = first.wait();
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_EQ(installedVersion(), "2.1.0");
    expectClean();
}

}  // namespace
