/** @file SecureCompatTextTest.cpp  Memory and narrow texts. */
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "SecureCompatCanvas.h"
#include "qvisocppsecurecompat.h"

namespace {

using namespace std::string_literals;
using Narrow = qvrf::test::Canvas<char>;

constexpr size_t kTopBit = ~(SIZE_MAX >> 1);

/** One call on a painted destination that starts with @p before and must show @p after. */
struct Case {
    const char* name;
    std::string before;
    size_t      size;
    const char* source;
    size_t      count;  // where the function has one
    errno_t     status;
    std::string after;
};

/** Every way of handing over a NULL or a size of 0, the same for a whole family. */
template <class Call>
void refuses(Call call, errno_t whenSizeIsZero)
{
    Narrow d("ab\0"s);
    EXPECT_EQ(call(nullptr, 0, "x"), EINVAL) << "NULL comes before the size";
    EXPECT_EQ(call(nullptr, 8, "x"), EINVAL);
    EXPECT_EQ(call(d.at(), 8, nullptr), EINVAL);
    EXPECT_EQ(call(d.at(), 0, nullptr), EINVAL);
    EXPECT_EQ(call(d.at(), 0, "x"), whenSizeIsZero);
    EXPECT_WRITTEN(d, "ab\0"s);
}

template <class Call>
void runs(const std::vector<Case>& cases, Call call)
{
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Narrow d(c.before);
        EXPECT_EQ(call(d.at(), c), c.status);
        EXPECT_WRITTEN(d, c.after);
    }
}

TEST(StrcpyS, CopiesWhatFitsAndNothingElse)
{
    refuses(strcpy_s, ERANGE);
    runs({{"fits exactly", "", 4, "abc", 0, 0, "abc\0"s},
          {"one byte short", "", 3, "abc", 0, ERANGE, ""},
          {"empty source", "", 1, "", 0, 0, "\0"s},
          {"room to spare", "", 9, "abc", 0, 0, "abc\0"s}},
         [](char* d, const Case& c) { return strcpy_s(d, c.size, c.source); });
}

TEST(StrncpyS, IsStrncpyWithOneFailure)
{
    refuses([](char* d, size_t size, const char* s) { return strncpy_s(d, size, s, 0); }, EINVAL);
    runs({{"count as large as the size", "", 10, "0123456789", 10, EINVAL, ""},
          {"count as large as the size, short source", "", 10, "ab", 10, EINVAL, ""},
          {"no terminator after count characters", "", 11, "0123456789A", 10, 0, "0123456789"},
          {"no terminator when the source ends at count", "", 4, "abc", 3, 0, "abc"},
          {"zeros up to count", "", 7, "ab", 6, 0, "ab\0\0\0\0"s},
          {"nothing to copy", "", 1, "ab", 0, 0, ""},
          {"huge count", "", 10, "ab", SIZE_MAX, EINVAL, ""}},
         [](char* d, const Case& c) { return strncpy_s(d, c.size, c.source, c.count); });
}

TEST(StrcatS, AppendsWhatFitsAndNothingElse)
{
    refuses(strcat_s, ERANGE);
    runs({{"fits exactly", "ab\0"s, 5, "cd", 0, 0, "abcd\0"s},
          {"one byte short", "ab\0"s, 4, "cd", 0, ERANGE, "ab\0"s},
          {"nothing to append", "ab\0"s, 3, "", 0, 0, "ab\0"s},
          {"nothing to append, size too small", "ab\0"s, 2, "", 0, ERANGE, "ab\0"s},
          {"no text in the named size", "abcd", 4, "", 0, ERANGE, "abcd"},
          {"to an empty text", "\0"s, 3, "cd", 0, 0, "cd\0"s}},
         [](char* d, const Case& c) { return strcat_s(d, c.size, c.source); });
}

TEST(StrncatS, MeasuresByCountNotByTheSource)
{
    refuses([](char* d, size_t size, const char* s) { return strncat_s(d, size, s, 0); }, ERANGE);
    runs({{"fits exactly", "ab\0"s, 5, "cdef", 2, 0, "abcd\0"s},
          {"one byte short", "ab\0"s, 4, "cdef", 2, ERANGE, "ab\0"s},
          {"large count, short source", "ab\0"s, 5, "c", 3, ERANGE, "ab\0"s},
          {"count beyond the source", "ab\0"s, 8, "c", 5, 0, "abc\0"s},
          {"nothing to append", "ab\0"s, 3, "cd", 0, 0, "ab\0"s},
          {"a count that would wrap", "ab\0"s, 8, "c", SIZE_MAX, ERANGE, "ab\0"s},
          {"a count that would wrap to the size", "ab\0"s, 8, "c", SIZE_MAX - 2, ERANGE, "ab\0"s},
          {"no text in the named size", "abcd", 4, "", 0, ERANGE, "abcd"}},
         [](char* d, const Case& c) { return strncat_s(d, c.size, c.source, c.count); });
}

TEST(MemcpyS, CopiesCountBytes)
{
    refuses([](char* d, size_t size, const char* s) { return OXAmemcpy_s(d, size, s, 1); }, ERANGE);
    runs({{"part", "", 8, "a\0c", 3, 0, "a\0c"s},
          {"all of the destination", "", 3, "abc", 3, 0, "abc"},
          {"one byte too many", "", 2, "abc", 3, ERANGE, ""},
          {"nothing", "", 8, "abc", 0, ERANGE, ""}},
         [](char* d, const Case& c) { return OXAmemcpy_s(d, c.size, c.source, c.count); });
}

TEST(MemsetS, SetsCountBytes)
{
    EXPECT_EQ(OXAmemset_s(nullptr, 0, 0, 0), EINVAL);
    runs({{"part", "", 8, "", 3, 0, "zzz"},
          {"all of the destination", "", 8, "", 8, 0, "zzzzzzzz"},
          {"more than the destination", "", 4, "", 8, EINVAL, ""},
          {"nothing in nothing", "", 0, "", 0, 0, ""},
          {"nothing in something", "", 8, "", 0, 0, ""},
          {"something in nothing", "", 0, "", 1, EINVAL, ""},
          {"size with the top bit", "", kTopBit, "", 1, EINVAL, ""},
          {"size with the top bit, nothing to set", "", SIZE_MAX, "", 0, EINVAL, ""},
          {"largest size", "", kTopBit - 1, "", 1, 0, "z"},
          {"count with the top bit", "", 8, "", kTopBit, EINVAL, ""}},
         [](char* d, const Case& c) { return OXAmemset_s(d, c.size, 0x1200 | 'z', c.count); });
}

TEST(StrcmpcaseS, IgnoresCaseUpToCount)
{
    EXPECT_EQ(strcmpcase_s("aBc", "AbC", 3), 0);
    EXPECT_EQ(strcmpcase_s("abX", "ABy", 2), 0);
    EXPECT_LT(strcmpcase_s("abX", "ABy", 3), 0);
    EXPECT_GT(strcmpcase_s("abc", "AB", 9), 0);
    EXPECT_EQ(strcmpcase_s("a", "b", 0), 0);
    EXPECT_EQ(strcmpcase_s(nullptr, "a", 0), EINVAL);
    EXPECT_EQ(strcmpcase_s("a", nullptr, 0), EINVAL);
}

TEST(StrdupS, CopiesToTheHeap)
{
    const char source[] = "text";
    char*      copy     = strdup_s(source);
    EXPECT_STREQ(copy, source);
    EXPECT_NE(copy, source);
    free(copy);
    EXPECT_EQ(strdup_s(nullptr), nullptr);
}

TEST(StrNonDigitCheck, ReadsExactlyLenBytes)
{
    const struct {
        std::string text;
        u32         len;
        booln       expected;
    } rows[] = {{"0123456789", 10, FALSE}, {"12a", 2, FALSE},    {"12a", 3, TRUE},   {"a12", 3, TRUE},
                {"12\0"s, 3, TRUE},        {"1\0002"s, 3, TRUE}, {"/", 1, TRUE},     {":", 1, TRUE},
                {"\xff", 1, TRUE},         {"\x80", 1, TRUE},    {"1\xb2", 2, TRUE}, {"x", 0, FALSE}};
    for (const auto& row : rows) EXPECT_EQ(OXAstrNonDigitCheck(row.text.data(), row.len), row.expected) << row.text;
    EXPECT_EQ(OXAstrNonDigitCheck(nullptr, 4), FALSE);
}

TEST(StrtokS, WalksThroughTheText)
{
    char  text[]  = ",,a,b;c";
    char* context = nullptr;
    EXPECT_STREQ(strtok_s(text, ",", &context), "a");
    EXPECT_STREQ(strtok_s(nullptr, ",;", &context), "b") << "the delimiters may change";
    EXPECT_STREQ(strtok_s(nullptr, ",", &context), "c");
    EXPECT_EQ(strtok_s(nullptr, ",", &context), nullptr);
}

}  // namespace
