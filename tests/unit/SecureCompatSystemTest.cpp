/** @file SecureCompatSystemTest.cpp  Files and the environment. */
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "SecureCompatCanvas.h"
#include "qvisocppsecurecompat.h"

// The linker sends this program's malloc here (--wrap=malloc).
static bool      g_memoryIsOut = false;
extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size)
{
    return g_memoryIsOut ? nullptr : __real_malloc(size);
}

namespace {

using namespace std::string_literals;
using Narrow = qvrf::test::Canvas<char>;
namespace fs = std::filesystem;

/** Runs in an empty directory of its own. */
class SecureCompatFiles : public testing::Test {
protected:
    void SetUp() override
    {
        std::string place = (fs::temp_directory_path() / "secure_compat_XXXXXX").string();
        ASSERT_NE(mkdtemp(place.data()), nullptr);
        place_ = place;
        home_  = fs::current_path();
        fs::current_path(place_);
    }
    void TearDown() override
    {
        if (place_.empty()) return;
        fs::current_path(home_);
        fs::remove_all(place_);
    }
    static mode_t modeOf(const char* name)
    {
        struct stat st = {};
        return stat(name, &st) == 0 ? st.st_mode & 07777U : 0;
    }

private:
    fs::path place_;
    fs::path home_;
};

TEST_F(SecureCompatFiles, TmpnamRefusesShortNames)
{
    Narrow d;
    EXPECT_EQ(tmpnam_s(nullptr, 16), EINVAL);
    EXPECT_EQ(tmpnam_s(d.at(), 0), EINVAL);
    EXPECT_EQ(tmpnam_s(d.at(), 6), EINVAL);
    EXPECT_WRITTEN(d, "");
}

TEST_F(SecureCompatFiles, TmpnamFillsTheWholeSizeWithTheNameOfANewFile)
{
    for (const size_t size : {7U, 12U}) {
        Narrow d(std::string(size, '#') + '\0');
        ASSERT_EQ(tmpnam_s(d.at(), size), 0);
        const std::string name = d.at();
        EXPECT_EQ(name.size(), size) << "the zero is the caller's";
        EXPECT_EQ(name.substr(0, size - 6), std::string(size - 6, 't'));
        EXPECT_NE(name.substr(size - 6), "XXXXXX");
        EXPECT_WRITTEN(d, name + '\0');
        EXPECT_EQ(modeOf(name.c_str()), 0600U);
    }
}

TEST_F(SecureCompatFiles, TmpnamReportsAFailedCreation)
{
    std::string tooLong(300, '\0');
    EXPECT_EQ(tmpnam_s(tooLong.data(), tooLong.size()), -1);
    EXPECT_EQ(tooLong.substr(0, 294), std::string(294, 't'));
}

TEST_F(SecureCompatFiles, TmpnamLeavesNoDescriptorOpen)
{
    const int before = dup(0);
    close(before);
    char name[8] = {};
    ASSERT_EQ(tmpnam_s(name, 7), 0);
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}

TEST_F(SecureCompatFiles, FopenStoresTheStream)
{
    FILE* file = nullptr;
    ASSERT_EQ(fopen_s(&file, "new", "w"), 0);
    ASSERT_NE(file, nullptr);
    fclose(file);
    EXPECT_EQ(fopen_s(&file, "missing", "r"), ENOENT);
    EXPECT_EQ(file, nullptr);
}

TEST_F(SecureCompatFiles, FopenRefusesNull)
{
    FILE* file = stdin;
    EXPECT_EQ(fopen_s(nullptr, "new", "w"), EINVAL);
    EXPECT_EQ(fopen_s(&file, nullptr, "w"), EINVAL);
    EXPECT_EQ(fopen_s(&file, "new", nullptr), EINVAL);
    EXPECT_EQ(file, stdin);
    EXPECT_FALSE(fs::exists("new"));
}

TEST_F(SecureCompatFiles, SopenTakesItsPermissionsFromTheFlags)
{
    const mode_t  umaskBefore = umask(0);
    int           fd          = -1;
    const errno_t status      = _sopen_s(&fd, "new", O_CREAT | O_EXCL | O_RDWR, 0, 0644);
    umask(umaskBefore);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(write(fd, "x", 1), 1);
    close(fd);
    EXPECT_EQ(modeOf("new"), static_cast<mode_t>(O_CREAT | O_EXCL | O_RDWR));
    EXPECT_EQ(_sopen_s(&fd, "new", O_CREAT | O_EXCL | O_RDWR, 0, 0644), EEXIST);
    EXPECT_EQ(fd, -1);
}

TEST_F(SecureCompatFiles, SopenRefusesNull)
{
    int fd = 77;
    EXPECT_EQ(_sopen_s(nullptr, "new", O_RDONLY, 0, 0), EINVAL);
    EXPECT_EQ(_sopen_s(&fd, nullptr, O_RDONLY, 0, 0), EINVAL);
    EXPECT_EQ(fd, 77);
}

class SecureCompatEnvironment : public testing::Test {
protected:
    void SetUp() override
    {
        setenv(kSet, "value", 1);
        setenv(kEmpty, "", 1);
        unsetenv(kUnset);
    }
    static constexpr char kSet[]   = "SECURE_COMPAT_SET";
    static constexpr char kEmpty[] = "SECURE_COMPAT_EMPTY";
    static constexpr char kUnset[] = "SECURE_COMPAT_UNSET";
};

TEST_F(SecureCompatEnvironment, GetenvRefusesHalfABuffer)
{
    Narrow d;
    size_t size = 99;
    EXPECT_EQ(getenv_s(nullptr, d.at(), 8, kSet), EINVAL);
    EXPECT_EQ(getenv_s(&size, nullptr, 8, kSet), EINVAL);
    EXPECT_EQ(getenv_s(&size, d.at(), 0, kSet), EINVAL);
    EXPECT_EQ(getenv_s(&size, d.at(), 8, nullptr), EINVAL);
    EXPECT_EQ(getenv_s(&size, d.at(), 0, kUnset), EINVAL);
    EXPECT_EQ(size, 99U);
    EXPECT_WRITTEN(d, "");
}

TEST_F(SecureCompatEnvironment, GetenvAnswersSizeAndValue)
{
    const struct {
        const char* variable;
        size_t      room;
        errno_t     status;
        size_t      size;
        std::string written;
    } rows[] = {{kSet, 6, 0, 6, "value\0"s}, {kSet, 5, ERANGE, 6, ""}, {kEmpty, 1, 0, 1, "\0"s},
                {kUnset, 8, 0, 0, "\0"s},    {kSet, 0, 0, 6, ""},      {kUnset, 0, 0, 0, ""}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.variable << ", room " << row.room);
        Narrow d;
        size_t size = 99;
        EXPECT_EQ(getenv_s(&size, row.room ? d.at() : nullptr, row.room, row.variable), row.status);
        EXPECT_EQ(size, row.size);
        EXPECT_WRITTEN(d, row.written);
    }
}

TEST_F(SecureCompatEnvironment, DupenvCopies)
{
    char*  value = nullptr;
    size_t size  = 99;
    ASSERT_EQ(_dupenv_s(&value, &size, kSet), 0);
    EXPECT_STREQ(value, "value");
    EXPECT_EQ(size, 6U);
    free(value);
    ASSERT_EQ(_dupenv_s(&value, &size, kEmpty), 0);
    EXPECT_STREQ(value, "");
    EXPECT_EQ(size, 1U);
    free(value);
}

TEST_F(SecureCompatEnvironment, DupenvTakesAMissingVariableForAnError)
{
    char   anything = 0;
    char*  value    = &anything;
    size_t size     = 99;
    EXPECT_EQ(_dupenv_s(&value, &size, kUnset), EINVAL);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(size, 0U);
}

TEST_F(SecureCompatEnvironment, DupenvRefusesNull)
{
    char   anything = 0;
    char*  value    = &anything;
    size_t size     = 99;
    EXPECT_EQ(_dupenv_s(nullptr, &size, kSet), EINVAL);
    EXPECT_EQ(_dupenv_s(&value, &size, nullptr), EINVAL);
    EXPECT_EQ(value, &anything);
    EXPECT_EQ(size, 99U);
}

TEST_F(SecureCompatEnvironment, DupenvWithoutMemory)
{
    char   anything      = 0;
    char*  value         = &anything;
    size_t size          = 99;
    g_memoryIsOut        = true;
    const errno_t status = _dupenv_s(&value, &size, kSet);
    g_memoryIsOut        = false;
    EXPECT_EQ(status, ENOMEM);
    EXPECT_EQ(value, nullptr);
}

}  // namespace
