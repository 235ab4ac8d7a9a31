/** @file ManifestTest.cpp  The update package's manifest: a line's names, a file's record, white space. */
#include <cstdlib>

#include "OxaAutoUpdateUtilsManifest.h"
#include "UpdateBench.h"

namespace {

constexpr char kDigest[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

struct LineCase {
    const char* name;
    const char* afterDigest;
    const char* linuxPackage;
    const char* windowsPackage;
    const char* nanoPackage;
};
class ManifestLine : public testing::TestWithParam<LineCase> {};

TEST_P(ManifestLine, NamesPackages)
{
    const std::string        line  = std::string(kDigest) + GetParam().afterDigest;
    const qvrf::ManifestLine names = qvrf::manifestLine(line);
    EXPECT_EQ(names.linuxPackage, GetParam().linuxPackage);
    EXPECT_EQ(names.windowsPackage, GetParam().windowsPackage);
    EXPECT_EQ(names.windowsNanoPackage, GetParam().nanoPackage);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ManifestLine,
    testing::Values(
        LineCase{"Bare", "  QD-Oxa-Zelmar-Web-LX-1.0.0.tar.gz\n", "QD-Oxa-Zelmar-Web-LX-1.0.0.tar.gz", "", ""},
        LineCase{"Quoted", "  \"QD-Oxa-Zelmar-Web-LX-1.0.0.tar.gz\"\n", "QD-Oxa-Zelmar-Web-LX-1.0.0.tar.gz", "", ""},
        LineCase{"CarriageReturn", " QD-Oxa-Zelmar-Web-LX-1.gz\r\n", "QD-Oxa-Zelmar-Web-LX-1.gz", "", ""},
        LineCase{"NoLineFeed", " QD-Oxa-Zelmar-Web-LX", "QD-Oxa-Zelmar-Web-LX", "", ""},
        LineCase{"BlankWithinTheName", " a QD-Oxa-Zelmar-Web-LX b\n", "a QD-Oxa-Zelmar-Web-LX b", "", ""},
        LineCase{"Windows", "  QD-Oxa-Zelmar-Web-X64-1.msi\n", "", "QD-Oxa-Zelmar-Web-X64-1.msi", ""},
        LineCase{"Nano", "  TorvoSvcMod_1.zip\n", "", "", "TorvoSvcMod_1.zip"},
        LineCase{"TwoPackagesInOneName", " TorvoSvcMod-QD-Oxa-Zelmar-Web-X64\n", "",
                 "TorvoSvcMod-QD-Oxa-Zelmar-Web-X64", "TorvoSvcMod-QD-Oxa-Zelmar-Web-X64"},
        LineCase{"LastOfSeveral", " \"TorvoSvcMod1\" \"TorvoSvcMod2\"\n", "", "", "TorvoSvcMod2"},
        LineCase{"QuoteWithoutPartner", " \"TorvoSvcMod1", "", "", "TorvoSvcMod1"},
        LineCase{"QuotesOnly", " \"\"\"\"\n", "", "", ""}, LineCase{"Other", "  package.xml\n", "", "", ""},
        LineCase{"OtherCase", "  torvosvcmod\n", "", "", ""}, LineCase{"BlanksOnly", "      \n", "", "", ""},
        LineCase{"TabIsPartOfTheDigest", "\tTorvoSvcMod\n", "", "", ""}, LineCase{"Nothing", "", "", "", ""}),
    NameOfCase{});

TEST(ManifestLineWithoutDigest, NamesNothing)
{
    for (const char* line : {"", " ", "      ", "\n", "TorvoSvcMod", "TorvoSvcMod\n", "\"TorvoSvcMod\"\n"})
        EXPECT_EQ(qvrf::manifestLine(line).windowsNanoPackage, "") << '"' << line << '"';
    EXPECT_EQ(qvrf::manifestLine("   digest TorvoSvcMod").windowsNanoPackage, "TorvoSvcMod");
}

class Manifest : public update::Bench {
protected:
    void TearDown() override
    {
        for (astring* name :
             {record.pLinuxUpdatePkg, record.pLinuxSignFile, record.pWindowsUpdatePkg, record.pWindowsNanoUpdatePkg})
            SMFreeMem(name);
        Bench::TearDown();
    }
    s32 parse(const std::string& content)
    {
        update::writeFile(directory / "sha256sum", content);
        return parse();
    }
    s32 parse()
    {
        std::string path = directory / "sha256sum";
        return pasrseSHA256File(path.data(), &record);
    }
    static std::string line(const std::string& name) { return std::string(kDigest) + "  " + name + "\n"; }

    update::TempDir      directory;
    StructOxaPloxPackage record{};
};

TEST_F(Manifest, FillsItsFourFields)
{
    EXPECT_EQ(parse(line("package.xml") + line("QD-Oxa-Zelmar-Web-LX-5.tar.gz") + line("\"TorvoSvcMod.zip\"") +
                    line("QD-Oxa-Zelmar-Web-X64-5.exe")),
              0);
    EXPECT_STREQ(record.pLinuxUpdatePkg, "QD-Oxa-Zelmar-Web-LX-5.tar.gz");
    EXPECT_STREQ(record.pLinuxSignFile, "QD-Oxa-Zelmar-Web-LX-5.tar.gz.sign");
    EXPECT_STREQ(record.pWindowsUpdatePkg, "QD-Oxa-Zelmar-Web-X64-5.exe");
    EXPECT_STREQ(record.pWindowsNanoUpdatePkg, "TorvoSvcMod.zip");
    EXPECT_EQ(record.pPackagexml, nullptr);
    expectTrace("[AUFPI]pasrseSHA256File: Linux sign file name QD-Oxa-Zelmar-Web-X64-5.exe.\n");
    expectTrace("[AUFPI]pasrseSHA256File: entry.\n");
    expectTrace("[AUFPI]pasrseSHA256File: exit.\n");
}

TEST_F(Manifest, LastLineOfAFieldCounts)
{
    EXPECT_EQ(parse(line("QD-Oxa-Zelmar-Web-LX-4.gz") + line("QD-Oxa-Zelmar-Web-LX-5.gz")), 0);
    EXPECT_STREQ(record.pLinuxUpdatePkg, "QD-Oxa-Zelmar-Web-LX-5.gz");
    EXPECT_STREQ(record.pLinuxSignFile, "QD-Oxa-Zelmar-Web-LX-5.gz.sign");
}

TEST_F(Manifest, LeavesAFieldOfTheCallersToTheCaller)
{
    astring mine[]         = "mine";
    record.pLinuxUpdatePkg = mine;
    EXPECT_EQ(parse(line("QD-Oxa-Zelmar-Web-LX-5.gz")), 0);
    EXPECT_STREQ(record.pLinuxUpdatePkg, "QD-Oxa-Zelmar-Web-LX-5.gz");
}

TEST_F(Manifest, WithoutTheNamesTouchesNothing)
{
    astring mine[]           = "mine";
    record.pWindowsUpdatePkg = mine;
    EXPECT_EQ(parse(line("package.xml") + "\n \n\n"), 0);
    EXPECT_EQ(std::exchange(record.pWindowsUpdatePkg, nullptr), mine);
    EXPECT_EQ(record.pLinuxUpdatePkg, nullptr);
    EXPECT_EQ(parse(""), 0);
}

TEST_F(Manifest, SplitsLongLines)
{
    // The name stands right behind the 511 characters that are read at a time, after a first token of the next piece.
    EXPECT_EQ(parse(std::string(511, 'a') + "b TorvoSvcMod.zip"), 0);
    EXPECT_STREQ(record.pWindowsNanoUpdatePkg, "TorvoSvcMod.zip");
}

TEST_F(Manifest, CutsANameThatIsLongerThanALine)
{
    EXPECT_EQ(parse("d TorvoSvcMod" + std::string(600, 'x') + "\n"), 0);
    EXPECT_EQ(record.pWindowsNanoUpdatePkg, "TorvoSvcMod" + std::string(511 - 13, 'x'));
}

TEST_F(Manifest, SurvivesJunk)
{
    std::string junk;
    unsigned    state = 1;
    for (int i = 0; i < 20000; ++i) {
        state = state * 1103515245U + 12345U;
        junk += static_cast<char>(state >> 16);
    }
    EXPECT_EQ(parse(junk + std::string(2000, '\0') + "\n" + line("TorvoSvcMod")), 0);
    EXPECT_STREQ(record.pWindowsNanoUpdatePkg, "TorvoSvcMod");
}

TEST_F(Manifest, ThatCannotBeReadIsAnError)
{
    EXPECT_EQ(parse(), 9);
    expectError("[AUFPI]pasrseSHA256File: fopen failed for sha_file.\n");
    EXPECT_EQ(pasrseSHA256File(nullptr, &record), 9);
    update::writeFile(directory / "sha256sum", "");
    std::string path = directory / "sha256sum";
    EXPECT_EQ(pasrseSHA256File(path.data(), nullptr), 9);
}

TEST_F(Manifest, KeepsWhatItHasWhenMemoryRunsOut)
{
    const char* const missing[] = {nullptr, "pLinuxUpdatePkg", "pLinuxSignFile", "pWindowsUpdatePkg"};
    for (u32 nth = 1; nth <= 4; ++nth) {
        bmc.restart();
        bmc.failAllocation(nth);
        EXPECT_EQ(parse(line("QD-Oxa-Zelmar-Web-LX") + line("QD-Oxa-Zelmar-Web-X64")), 9);
        EXPECT_EQ(record.pLinuxUpdatePkg != nullptr, nth > 2);
        EXPECT_EQ(record.pLinuxSignFile != nullptr, nth > 3);
        if (nth == 1)
            expectError("[AUFPI]pasrseSHA256File: Malloc failed for line.\n");
        else
            expectError(std::string("[AUFPI]pasrseSHA256File: failed to alloc memory pOXAPloxPackage->") +
                        missing[nth - 1] + " = null\n");
        SMFreeMem(std::exchange(record.pLinuxUpdatePkg, nullptr));
        SMFreeMem(std::exchange(record.pLinuxSignFile, nullptr));
    }
}

struct TrimCase {
    const char* name;
    const char* text;
    const char* trimmed;
};
class Trim : public testing::TestWithParam<TrimCase> {};

TEST_P(Trim, RemovesWhiteSpaceAtBothEnds)
{
    // On the heap, so that a write or read beyond the text is seen.
    const std::unique_ptr<char, decltype(&std::free)> text(::strdup(GetParam().text), &std::free);
    trim(text.get());
    EXPECT_STREQ(text.get(), GetParam().trimmed);
}

INSTANTIATE_TEST_SUITE_P(Texts, Trim,
                         testing::Values(TrimCase{"Both", " \t\v\f\r\na b \n", "a b"}, TrimCase{"None", "ab", "ab"},
                                         TrimCase{"Leading", "  a", "a"}, TrimCase{"Trailing", "a  ", "a"},
                                         TrimCase{"AllBlank", " \n\t ", ""}, TrimCase{"OneBlank", " ", ""},
                                         TrimCase{"Empty", "", ""}, TrimCase{"HighBytes", "\xE9 ", "\xE9"}),
                         NameOfCase{});

TEST(TrimOfALongText, Keeps512Characters)
{
    std::string text = std::string(2, ' ') + std::string(700, 'x');
    trim(text.data());
    EXPECT_EQ(std::strlen(text.c_str()), 510U);
    trim(nullptr);
}

}  // namespace
