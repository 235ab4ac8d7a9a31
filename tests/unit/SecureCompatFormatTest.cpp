/** @file SecureCompatFormatTest.cpp  Formatting, and numbers as text. */
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>

#include "SecureCompatCanvas.h"
#include "qvisocppsecurecompat.h"

namespace {

using namespace std::string_literals;
using Narrow = qvrf::test::Canvas<char>;

const char* const kNoFormat = nullptr;

TEST(SprintfS, AnswersTheLengthOfWhatFits)
{
    Narrow d;
    EXPECT_EQ(sprintf_s(d.at(), 5, "%s", "abcd"), 4);
    EXPECT_WRITTEN(d, "abcd\0"s);
    EXPECT_EQ(sprintf_s(d.at(), 16, "%d:%s", -7, "x"), 4);
    EXPECT_STREQ(d.at(), "-7:x");
    EXPECT_EQ(sprintf_s(d.at(), 1, "%s", ""), 0);
}

TEST(SprintfS, LeavesNoCutText)
{
    Narrow d;
    EXPECT_EQ(sprintf_s(d.at(), 4, "%s", "abcd"), -1);
    EXPECT_WRITTEN(d, "\0bc\0"s) << "the first byte is emptied, nothing behind the size is touched";
    Narrow one;
    EXPECT_EQ(sprintf_s(one.at(), 1, "%s", "a"), -1);
    EXPECT_WRITTEN(one, "\0"s);
}

TEST(SprintfS, EmptiesTheBufferWhenFormattingFails)
{
    Narrow        d("old\0"s);
    const wchar_t noCharacter[] = {wchar_t(0x7fffffff), 0};
    EXPECT_EQ(sprintf_s(d.at(), SIZE_MAX, "%ls", noCharacter), -1);
    EXPECT_STREQ(d.at(), "");
}

TEST(SprintfS, RefusesMissingArguments)
{
    Narrow d;
    EXPECT_EQ(sprintf_s(nullptr, 8, "x"), -1);
    EXPECT_EQ(sprintf_s(d.at(), 0, "x"), -1);
    EXPECT_EQ(sprintf_s(d.at(), 8, kNoFormat), -1);
    EXPECT_WRITTEN(d, "");
}

TEST(SnprintfS, IsBoundByCountAlone)
{
    const struct {
        size_t      size;
        size_t      count;
        std::string written;
    } rows[] = {{100, 3, "ab\0"s}, {100, 5, "abcd\0"s}, {1, 5, "abcd\0"s}, {8, 1, "\0"s}, {8, 0, ""}};
    for (const auto& row : rows) {
        Narrow d;
        EXPECT_EQ(_snprintf_s(d.at(), row.size, row.count, "%s", "abcd"), 4) << row.size << ", " << row.count;
        EXPECT_WRITTEN(d, row.written) << row.size << ", " << row.count;
    }
}

TEST(SnprintfS, RefusesMissingArguments)
{
    Narrow d;
    EXPECT_EQ(_snprintf_s(nullptr, 8, 8, "x"), -1);
    EXPECT_EQ(_snprintf_s(d.at(), 0, 8, "x"), -1);
    EXPECT_EQ(_snprintf_s(d.at(), 8, 8, kNoFormat), -1);
    EXPECT_WRITTEN(d, "");
}

TEST(NumberText, UnsignedInEveryRadix)
{
    const struct {
        unsigned long value;
        size_t        size;
        int           radix;
        errno_t       status;
        std::string   written;
    } rows[] = {
        {0, 8, 2, 0, "\0"s},
        {0, 1, 2, 0, "\0"s},
        {0, 2, 10, 0, "0\0"s},
        {0, 2, 16, 0, "0\0"s},
        {0, 1, 10, ERANGE, ""},
        {5, 8, 2, 0, "101\0"s},
        {5, 3, 2, ERANGE, ""},
        {0xffffffffUL, 33, 2, 0, std::string(32, '1') + '\0'},
        {0xffffffffUL, 32, 2, ERANGE, ""},
        {0x80000000UL, 40, 2, 0, "1" + std::string(31, '0') + '\0'},
        {255, 3, 16, 0, "ff\0"s},
        {255, 3, 10, ERANGE, ""},
        {255, 4, 10, 0, "255\0"s},
        {8, 3, 8, 0, "10\0"s},
        {255, 8, 36, 0, "255\0"s},
        {255, 8, 0, 0, "255\0"s},
        {255, 8, -2, 0, "255\0"s},
        {ULONG_MAX, 16, 10, 0, "4294967295\0"s},
        {static_cast<unsigned long>(0x1234500000007), 16, 10, 0, "7\0"s},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.value << " in radix " << row.radix << ", size " << row.size);
        Narrow d;
        EXPECT_EQ(_ultoa_s(row.value, d.at(), row.size, row.radix), row.status);
        EXPECT_WRITTEN(d, row.written);
    }
}

TEST(NumberText, SignedOnlyInDecimal)
{
    const struct {
        long        value;
        size_t      size;
        int         radix;
        errno_t     status;
        std::string written;
    } rows[] = {
        {-1, 16, 16, 0, "ffffffff\0"s},
        {-1, 16, 8, 0, "37777777777\0"s},
        {-2, 40, 2, 0, std::string(31, '1') + "0\0"s},
        {-1, 3, 10, 0, "-1\0"s},
        {-1, 2, 10, ERANGE, ""},
        {-1, 8, 7, 0, "-1\0"s},
        {INT_MIN, 16, 10, 0, "-2147483648\0"s},
        {INT_MAX, 16, 10, 0, "2147483647\0"s},
        {0, 8, 2, 0, "\0"s},
        {static_cast<long>(0xffffffffUL), 16, 10, 0, "-1\0"s},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.value << " in radix " << row.radix << ", size " << row.size);
        Narrow d;
        EXPECT_EQ(_ltoa_s(row.value, d.at(), row.size, row.radix), row.status);
        EXPECT_WRITTEN(d, row.written);
    }
}

TEST(NumberText, RefusesNoDestination)
{
    Narrow d;
    EXPECT_EQ(_ultoa_s(1, nullptr, 8, 10), EINVAL);
    EXPECT_EQ(_ultoa_s(0, d.at(), 0, 2), EINVAL);
    EXPECT_EQ(_ltoa_s(1, nullptr, 8, 10), EINVAL);
    EXPECT_EQ(_ltoa_s(0, d.at(), 0, 2), EINVAL);
    EXPECT_WRITTEN(d, "");
}

}  // namespace
