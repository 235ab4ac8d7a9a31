/** @file UpdateDecisionTest.cpp  What the update engine decides: versions, file names, configuration lines, quoting. */
#include "OxaAutoUpdateLinuxDecide.h"
#include "OxaAutoUpdateLinuxShell.h"
#include "UpdateBench.h"

namespace {

using namespace qvrf;

struct VersionCase {
    const char*  name;
    const char*  offered;
    const char*  installed;
    Installation installation;
    bool         due;
};
class UpdateDecision : public testing::TestWithParam<VersionCase> {};

TEST_P(UpdateDecision, ComesFromBothVersions)
{
    const qvrf::UpdateDecision decision = decideUpdate(GetParam().offered, GetParam().installed);
    EXPECT_EQ(decision.installation, GetParam().installation);
    EXPECT_EQ(decision.due, GetParam().due);
}

INSTANTIATE_TEST_SUITE_P(Versions, UpdateDecision,
                         testing::Values(VersionCase{"NotInstalled", "5.4.0.0", nullptr, kInstall, true},
                                         VersionCase{"Newer", "5.4.0.1", "5.4.0.0", kUpgrade, true},
                                         VersionCase{"NumbersNotText", "5.10.0", "5.9.0", kUpgrade, true},
                                         VersionCase{"Older", "5.9.0", "5.10.0", kDowngrade, false},
                                         VersionCase{"Same", "5.4.0.0", "5.4.0.0", kInstall, false},
                                         VersionCase{"Longer", "5.4.0.0.1", "5.4.0.0", kUpgrade, true},
                                         VersionCase{"LeadingZeroIsAFraction", "5.04.0", "5.4.0", kDowngrade, false}),
                         NameOfCase{});

TEST(UpdatePackage, NeedsAVersionOfFiveCharacters)
{
    for (const char* none : {"", "1", "1.0", "1.00"}) EXPECT_FALSE(namesPackage(none)) << none;
    for (const char* version : {"1.0.0", "5.4.0.0"}) EXPECT_TRUE(namesPackage(version)) << version;
}

struct FileCase {
    const char*    fileName;
    DownloadedFile kind;
};

TEST(UpdatePackage, IsFoundByName)
{
    for (const FileCase& c : {FileCase{"QD-Oxa-Zelmar-Web-LX-5.4.0.tar.gz", DownloadedFile::package},
                              FileCase{"QD-Oxa-Zelmar-Web-LX.gz", DownloadedFile::package},
                              FileCase{"QD-Oxa-Zelmar-Web-LX-5.4.0.tar.gz.sign", DownloadedFile::other},
                              FileCase{"QD-Oxa-Zelmar-Web-LX", DownloadedFile::other},
                              FileCase{"QD-Oxa-Zelmar-Web-L.gz", DownloadedFile::otherArchive},
                              FileCase{" QD-Oxa-Zelmar-Web-LX.gz", DownloadedFile::otherArchive},
                              FileCase{"ab.gz", DownloadedFile::otherArchive}, FileCase{"a.gz", DownloadedFile::other},
                              FileCase{".gz", DownloadedFile::other}, FileCase{"", DownloadedFile::other},
                              FileCase{"package.xml", DownloadedFile::other}})
        EXPECT_EQ(classify(c.fileName), c.kind) << c.fileName;
}

TEST(DownloadedName, StaysBelowItsDirectory)
{
    for (const char* good : {"", "a", "./a", "a/b", "..a", "a..", "...", "/a"}) EXPECT_TRUE(staysBelow(good)) << good;
    for (const char* bad : {"..", "../a", "a/../../b", "a/..", "/../a", ".//../a"})
        EXPECT_FALSE(staysBelow(bad)) << bad;
}

struct LineCase {
    const char* name;
    const char* line;
    const char* key;
    const char* value;  // nullptr: none
};
class ConfigLine : public testing::TestWithParam<LineCase> {};

TEST_P(ConfigLine, HasAValueForItsKey)
{
    const auto found = configValue(GetParam().line, GetParam().key);
    ASSERT_EQ(found.has_value(), GetParam().value != nullptr);
    EXPECT_EQ(found.value_or(""), GetParam().value ? GetParam().value : "");
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ConfigLine,
    testing::Values(
        LineCase{"Plain", "OXA.x=1\n", "OXA.x", "1"}, LineCase{"Blanks", " \tOXA.x = 1 2\r\n", "OXA.x", "1"},
        LineCase{"NoEquals", "OXA.x 1", "OXA.x", "1"}, LineCase{"Comment", "#OXA.x=1\n", "OXA.x", nullptr},
        LineCase{"CommentBehindBlanks", "  #OXA.x=1\n", "OXA.x", nullptr},
        LineCase{"PrefixFindsMore", "OXA.abc=2\n", "OXA.a", "2"}, LineCase{"ShorterName", "OXA.=2\n", "OXA.a", nullptr},
        LineCase{"TwentyCharactersCount", "OXA.qdilcore.versionX=3\n", "OXA.qdilcore.versionY", "3"},
        LineCase{"TheTwentiethCounts", "OXA.qdilcore.versiom=3\n", "OXA.qdilcore.version", nullptr},
        LineCase{"OtherCase", "oxa.x=1\n", "OXA.x", nullptr}, LineCase{"NoValue", "OXA.x=\n", "OXA.x", nullptr},
        LineCase{"NameOnly", "OXA.x", "OXA.x", nullptr}, LineCase{"Empty", "", "OXA.x", nullptr},
        LineCase{"SeparatorsOnly", " =\t=\r\n", "OXA.x", nullptr}, LineCase{"EmptyKeyFindsAnything", "a=b", "", "b"}),
    NameOfCase{});

class ShellWord : public update::Bench {};

TEST_F(ShellWord, IsPlainOrQuoted)
{
    const std::pair<const char*, const char*> words[] = {
        {"/opt/zelmar/kappel/Oxa/.autoupdate", "/opt/zelmar/kappel/Oxa/.autoupdate"},
        {"/a_b.C/0+1-2,3:4@5%6", "/a_b.C/0+1-2,3:4@5%6"},
        {"/my dir", "'/my dir'"},
        {"/a;rm -rf b", "'/a;rm -rf b'"},
        {"/it's", "'/it'\\''s'"},
        {"$(x)`y`\"\\", "'$(x)`y`\"\\'"},
        {"'", "''\\'''"},
        {"", "''"},
    };
    for (const auto& [path, word] : words) EXPECT_STREQ(shellQuoted(path).get(), word);
}

TEST_F(ShellWord, MeansThePathToTheShell)
{
    const update::TempDir directory;
    const std::string     odd     = directory / "a'b $HOME;\"`\\\n|*";
    const auto            word    = shellQuoted(odd);
    const std::string     command = std::string("touch ") + word.get();
    EXPECT_EQ(runShell(command.c_str()), 0);
    EXPECT_TRUE(update::fs::exists(odd));
}

}  // namespace
