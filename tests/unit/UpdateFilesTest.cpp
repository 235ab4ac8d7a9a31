/** @file UpdateFilesTest.cpp  Directories and files of the update engine. */
#include <fcntl.h>

#include "OxaAutoUpdateLinuxUtils.h"
#include "UpdateBench.h"

namespace {

using update::fs::exists;
using update::fs::is_directory;

class Files : public update::Bench {
protected:
    std::string     in(const std::string& name) const { return directory / name; }
    update::TempDir directory;
};

s32 create(std::string path, mode_t mode = 0755)
{
    return CreateDirectory(path.data(), mode);
}
s32 removeAll(std::string path)
{
    return RemoveDirectory(path.data());
}

TEST_F(Files, CreatesEveryMissingDirectory)
{
    const mode_t mask = ::umask(0);
    EXPECT_EQ(create(in("a/b//c/"), 0751), 0);
    ::umask(mask);
    struct stat status {};
    for (const char* made : {"a", "a/b", "a/b/c"}) {
        ASSERT_EQ(::stat(in(made).c_str(), &status), 0) << made;
        EXPECT_EQ(status.st_mode & 07777U, 0751U) << made;
    }
    EXPECT_EQ(create(in("a/b/c")), 0);
    expectTrace("[AUFPI]CreateDirectory: entry.\n");
    expectTrace("[AUFPI]CreateDirectory: exit.\n");
}

TEST_F(Files, CreateNoDirectoryThroughAFile)
{
    update::writeFile(in("a/b"), "");
    EXPECT_EQ(create(in("a/b/c/")), -1);
    EXPECT_TRUE(is_directory(in("a")));
    expectError("[AUFPI]CreateDirectory:  specified is not a directory path. \n");
    EXPECT_EQ(create(in("a/b")), -1);
}

TEST_F(Files, CreateNoDirectoryOfNoName)
{
    EXPECT_EQ(CreateDirectory(nullptr, 0755), -1);
    expectError("[AUFPI]CreateDirectory: Directory path is null. \n");
    EXPECT_EQ(create(""), -1);
    EXPECT_EQ(create("/proc/nothing/there"), -1);
    expectError("[AUFPI]CreateDirectory:  Directory creation failed. \n");
    EXPECT_EQ(create(std::string(4096, 'a')), -1);
    expectError("[AUFPI]CreateDirectory: Directory path is empty. \n");
    EXPECT_EQ(create(std::string(4095, 'a')), -1);  // read to its end, and too long for the system
}

TEST_F(Files, TellADirectory)
{
    update::writeFile(in("file"), "");
    EXPECT_EQ(IsDirExist(directory.path.c_str()), 0);
    expectTrace("[AUFPI]IsDirExist:  " + directory.path + "  is a directory. \n");
    EXPECT_EQ(IsDirExist(in("file").c_str()), -1);
    expectError("[AUFPI]IsDirExist:  " + in("file") + " is not a directory.\n");
    EXPECT_EQ(IsDirExist(in("none").c_str()), -1);
    EXPECT_EQ(IsDirExist(nullptr), -1);
    expectError("[AUFPI]IsDirExist: Directory path is null.\n");
}

struct EscapeCase {
    const char* name;
    std::string path;
    s32         status;
    std::string escaped;
};
class EscapedPath : public update::Bench, public testing::WithParamInterface<EscapeCase> {};

TEST_P(EscapedPath, HasABackslashBeforeEachBlank)
{
    astring path[4096]{};
    GetParam().path.copy(path, sizeof path - 1);
    EXPECT_EQ(FolderPathCorrection(path), GetParam().status);
    EXPECT_EQ(path, GetParam().escaped);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, EscapedPath,
    testing::Values(EscapeCase{"Blanks", "my dir/x y", 0, "my\\ dir/x\\ y"}, EscapeCase{"None", "/a'$b", 0, "/a'$b"},
                    EscapeCase{"Empty", "", 0, ""},
                    EscapeCase{"Longest", std::string(4095, 'a'), 0, std::string(4095, 'a')},
                    EscapeCase{"FullWithItsBackslash", ' ' + std::string(4093, 'a'), 0, "\\ " + std::string(4093, 'a')},
                    EscapeCase{"NoRoom", ' ' + std::string(4094, 'a'), -1, ' ' + std::string(4094, 'a')}),
    NameOfCase{});

TEST_F(Files, EscapeNoNullPath)
{
    EXPECT_EQ(FolderPathCorrection(nullptr), -1);
    expectError("[AUFPI]FolderPathCorrection: Directory path is pDirPath = null \n");
}

TEST_F(Files, RemoveATreeButNothingBehindLinks)
{
    update::writeFile(in("kept/file"), "");
    update::writeFile(in("tree/.hidden/..odd/file"), "");
    update::writeFile(in("tree/file"), "");
    update::fs::create_directory_symlink(in("kept"), in("tree/link"));
    update::fs::create_symlink(in("nowhere"), in("tree/dangling"));
    EXPECT_EQ(removeAll(in("tree")), 0);
    EXPECT_FALSE(exists(in("tree")));
    EXPECT_TRUE(exists(in("kept/file")));

    update::fs::create_directory_symlink(in("kept"), in("link"));
    EXPECT_EQ(removeAll(in("link")), -1);
    EXPECT_TRUE(exists(in("kept/file")));
}

TEST_F(Files, RemoveNothingThatIsNoDirectory)
{
    EXPECT_EQ(RemoveDirectory(nullptr), -1);
    expectError("[AUFPI]DeleteDirectory: Directory path is pDirName = null \n");
    EXPECT_EQ(removeAll(in("none")), -1);
    expectError("[AUFPI]RemoveDirectory:open directory " + in("none") + " failed.\n");
}

TEST_F(Files, RemoveIsContentWithWhatItCannotRemove)
{
    if (!update::privateHost().empty()) GTEST_SKIP() << update::privateHost();
    update::writeFile(directory / "tree/held/file", "");
    update::writeFile(directory / "tree/file", "");
    ASSERT_EQ(::mount("none", (directory / "tree/held").c_str(), "tmpfs", MS_RDONLY, nullptr), 0);
    EXPECT_EQ(removeAll(directory / "tree"), 0);
    EXPECT_FALSE(exists(directory / "tree/file"));
    EXPECT_TRUE(exists(directory / "tree/held"));
    ASSERT_EQ(::umount((directory / "tree/held").c_str()), 0);
}

TEST_F(Files, ExtractAnArchive)
{
    update::writeFile(in("source/setup.sh"), "content");
    const std::string odd = in("odd dir; '$x");
    update::fs::create_directory(odd);
    ASSERT_EQ(std::system(("tar -C " + in("source") + " -czf " + in("a.tar.gz") + " .").c_str()), 0);
    std::string archive = odd + "/a.tar.gz", to = odd;
    update::fs::rename(in("a.tar.gz"), archive);
    EXPECT_EQ(ExtractFile(archive.data(), to.data()), 0);
    EXPECT_EQ(update::contentOf(odd + "/setup.sh"), "content");
}

TEST_F(Files, ExtractNothingElse)
{
    update::writeFile(in("a.tar.gz"), "no archive");
    std::string archive = in("a.tar.gz"), to = directory.path, none = in("none");
    EXPECT_NE(ExtractFile(archive.data(), to.data()), 0);
    expectError("[AUFPI]ExtractFile: Extraction of Oxa package " + archive + " failed.\n");
    EXPECT_EQ(ExtractFile(archive.data(), none.data()), -1);
    expectError("[AUFPI]ExtractFile: destination ddirectory not exists.\n");
    EXPECT_EQ(ExtractFile(nullptr, to.data()), -1);
    EXPECT_EQ(ExtractFile(archive.data(), nullptr), -1);
    expectError("[AUFPI]ExtractFile: source file or destination ddirectory is null. \n");
    std::string tooLong = std::string(4090, 'a');
    EXPECT_EQ(ExtractFile(tooLong.data(), to.data()), -1);  // an empty command would look like success
}

class ConfigFile : public Files {
protected:
    s32 parse(const std::string& content, std::string key = "OXA.a")
    {
        update::writeFile(in("cfg"), content);
        std::string path = in("cfg");
        return ParseConfigFile(path.data(), key.data(), value);
    }
    astring value[9 + 1] = "before";  // one more than the operation may write
};

TEST_F(ConfigFile, LastMatchingLineCounts)
{
    EXPECT_EQ(parse("#OXA.a=0\nOXA.a=1\nOXA.abc = 5.4.0.0\nx\n"), 0);
    EXPECT_STREQ(value, "5.4.0.0");
    expectTrace("[AUFPI]ParseConfigFile: value :1\n");
}

TEST_F(ConfigFile, WithoutTheKeyLeavesTheValue)
{
    EXPECT_EQ(parse("OXA.b=1\n\n \nOXA.a=\n"), 0);
    EXPECT_STREQ(value, "before");
}

TEST_F(ConfigFile, DeliversEightCharactersAtMost)
{
    EXPECT_EQ(parse("OXA.a=12345678"), 0);
    EXPECT_STREQ(value, "12345678");
    EXPECT_EQ(parse("OXA.a=123456789"), 0);
    EXPECT_STREQ(value, "");
}

TEST_F(ConfigFile, ReadsLongLinesInPieces)
{
    EXPECT_EQ(parse(std::string(255, 'x') + "OXA.a=7\n"), 0);
    EXPECT_STREQ(value, "7");
}

TEST_F(ConfigFile, MustBeThere)
{
    std::string path = in("none"), key = "k";
    EXPECT_EQ(ParseConfigFile(path.data(), key.data(), value), -1);
    expectError("[AUFPI]ParseConfigFile :  file open error.\n");
    EXPECT_EQ(ParseConfigFile(nullptr, key.data(), value), -1);
    EXPECT_EQ(ParseConfigFile(path.data(), nullptr, value), -1);
    expectError("[AUFPI]ParseConfigFile :  file path or key is null.\n");
    EXPECT_EQ(ParseConfigFile(path.data(), key.data(), nullptr), -1);
    EXPECT_STREQ(value, "before");
}

TEST_F(Files, ChecksAFile)
{
    update::writeFile(in("file"), "");
    EXPECT_EQ(FileCheck(in("file").c_str()), 0);
    expectTrace("[AUFPI]FileCheck :  Success The File " + in("file") + "\t can be readed. \n");
    EXPECT_EQ(FileCheck(in("none").c_str()), -1);
    expectError("[AUFPI]FileCheck :  the File " + in("none") + "\t not Found. \n");
    EXPECT_EQ(FileCheck(nullptr), -1);
    expectError("[AUFPI]FileCheck :  configuaration file name is fileName = null. \n");
}

}  // namespace
