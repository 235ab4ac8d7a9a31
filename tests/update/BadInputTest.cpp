/** @file BadInputTest.cpp  Packages that are not what they should be: nothing is installed, nothing is lost. */
#include <filesystem>

#include "UpdateBench.h"

namespace {

namespace fs = std::filesystem;

const std::string kDigest(64, 'a');
const std::string kName = "QD-Oxa-Zelmar-Web-LX-2.1.0.tar.gz";
const std::string kGood = kDigest + "  " + kName;

struct Manifest : Row {
    std::string text;
    int         exit;
    std::string out;
};

const std::string kInstalled = line::kFetched + line::kUpdating + line::installed("2.1.0");

const Manifest kManifests[] = {
    {"Quoted", kDigest + "  \"" + kName + "\"\n", 0, kInstalled},
    {"CarriageReturns", kGood + "\r\n", 0, kInstalled},
    {"NoFinalNewline", kGood, 0, kInstalled},
    {"VeryLongLineBefore", std::string(100000, 'x') + "\n" + kGood + "\n", 0, kInstalled},
    {"VeryLongLineAfter", kGood + "\n" + std::string(100000, 'x') + "\n", 0, kInstalled},
    {"ManyLines",
     [] {
         std::string text;
         for (int i = 0; i < 5000; ++i) text += kDigest + "  other" + std::to_string(i) + "\n";
         return text + kGood + "\n";
     }(),
     0, kInstalled},
    {"Junk",
     [] {
         std::string text;
         for (int i = 0; i < 65536; ++i) text += static_cast<char>(i * 7919 >> 3);
         return text;
     }(),
     3, line::kRefused},
    {"Empty", "", 3, line::kRefused},
    {"OtherSystemsAlone", kDigest + "  QD-Oxa-Zelmar-Web-X64-2.1.0.exe\n", 3, line::kRefused},
    {"NamesAMissingFile", kDigest + "  QD-Oxa-Zelmar-Web-LX-9.9.9.tar.gz\n", 5, line::kBroken},
    {"NameOfSixHundredCharacters", kDigest + "  " + kName + std::string(600, 'y') + "\n", 5, line::kBroken},
    {"NameThatLeadsOut", kDigest + "  ../../opt/bench/evil/" + kName + "\n", 5, line::kBroken},
    {"NameForTheShell", kDigest + "  QD-Oxa-Zelmar-Web-LX;touch evil;.tar.gz\n", 5, line::kBroken},
};

class BadManifest : public UpdateBench, public testing::WithParamInterface<Manifest> {};
INSTANTIATE_TEST_SUITE_P(Rows, BadManifest, testing::ValuesIn(kManifests), NameOfRow());

TEST_P(BadManifest, IsTakenForWhatItIs)
{
    const Manifest& row = GetParam();
    offer("2.1.0");
    install("1.0.0");
    writeFile(served + "/sha256sum", row.text);
    const Outcome outcome = tool({"--silent"});
    EXPECT_EQ(outcome.exit, row.exit) << outcome.err;
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_EQ(installedVersion(), row.exit == 0 ? "2.1.0" : "1.0.0");
    expectLogged(row.exit == 0 ? std::optional<std::string>("updated") : std::nullopt, "2.1.0");
    expectClean();
    EXPECT_FALSE(fs::exists(std::string(privatehost::kBench) + "/evil"));
    EXPECT_FALSE(fs::exists("evil"));
}

struct Damage : Row {
    const char* command;  ///< in the directory that the BMC serves; $package names the archive
    bool        signedAgain;
    int         exit;
    std::string out;
};

const Damage kDamages[] = {
    {"Tampered", "printf x >> $package", false, 3, line::kRefused},
    {"SignedByAnotherKey", "gpg --homedir $other -u other --batch --quiet --yes -o $package.sign -b $package", false, 3,
     line::kRefused},
    {"AnotherKeyBesideIt", "gpg --homedir $other --batch --quiet --yes --armor -o RPM-GPG-KEY-zelmar --export other",
     false, 3, line::kRefused},
    {"EmptyKey", ": > RPM-GPG-KEY-zelmar", false, 3, line::kRefused},
    {"JunkKey", "head -c 4000 /dev/urandom > RPM-GPG-KEY-zelmar", false, 3, line::kRefused},
    {"EmptySignature", ": > $package.sign", false, 3, line::kRefused},
    {"JunkSignature", "head -c 4000 /dev/urandom > $package.sign", false, 3, line::kRefused},
    {"Truncated", "truncate -s 300 $package", true, 1, line::kFetched},
    {"NoArchive", "echo 'no archive' > $package", true, 1, line::kFetched},
    {"EmptyArchiveFile", ": > $package", true, 1, line::kFetched},
    {"NoInstallerInIt", "mkdir /opt/bench/none && tar -czf $package -C /opt/bench/none .", true, 1,
     line::kFetched + line::kUpdating + line::failed(127 << 8)},
    {"InstallerNotExecutable",
     "mkdir /opt/bench/x && touch /opt/bench/x/setup.sh && tar -czf $package -C /opt/bench/x .", true, 1,
     line::kFetched + line::kUpdating + line::failed(126 << 8)},
};

class DamagedPackage : public UpdateBench, public testing::WithParamInterface<Damage> {};
INSTANTIATE_TEST_SUITE_P(Rows, DamagedPackage, testing::ValuesIn(kDamages), NameOfRow());

TEST_P(DamagedPackage, IsNotInstalled)
{
    const Damage& row = GetParam();
    offer("2.1.0");
    install("1.0.0");
    const std::string other = std::string(privatehost::kBench) + "/other";
    if (has(row.command, "$other")) makeKey(other, "other");
    shell("cd " + served + " && package=" + package() + " other=" + other + " && " + row.command);
    if (row.signedAgain) sign();

    const Outcome outcome = tool({"--silent"});
    EXPECT_EQ(outcome.exit, row.exit);
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_NE(outcome.err, "");
    EXPECT_EQ(installedVersion(), "1.0.0");
    expectLogged({}, "");
    expectClean();
}

}  // namespace
