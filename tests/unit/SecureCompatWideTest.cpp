/** @file SecureCompatWideTest.cpp  Wide texts. */
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "SecureCompatCanvas.h"
#include "qvisocppsecurecompat.h"

namespace {

using namespace std::string_literals;
using Wide = qvrf::test::Canvas<wchar_t>;

struct Case {
    const char*    name;
    std::wstring   before;
    size_t         size;
    const wchar_t* source;
    size_t         count;
    errno_t        status;
    std::wstring   after;
};

template <class Call>
void runs(std::initializer_list<Case> cases, Call call, errno_t whenSizeIsZero)
{
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Wide d(c.before);
        EXPECT_EQ(call(d.at(), c.size, c.source, c.count), c.status);
        EXPECT_WRITTEN(d, c.after);
    }
    Wide d(L"ab\0"s);
    EXPECT_EQ(call(nullptr, 0, L"x", 1), EINVAL);
    EXPECT_EQ(call(d.at(), 8, nullptr, 1), EINVAL);
    EXPECT_EQ(call(d.at(), 0, nullptr, 1), EINVAL);
    EXPECT_EQ(call(d.at(), 0, L"x", 1), whenSizeIsZero);
    EXPECT_WRITTEN(d, L"ab\0"s);
}

TEST(WcscpyS, CopiesWhatFitsAndNothingElse)
{
    runs(
        {{"fits exactly", L"", 4, L"abc", 0, 0, L"abc\0"s},
         {"one element short", L"", 3, L"abc", 0, ERANGE, L""},
         {"empty source", L"", 1, L"", 0, 0, L"\0"s}},
        [](wchar_t* d, size_t size, const wchar_t* s, size_t) { return wcscpy_s(d, size, s); }, ERANGE);
}

TEST(WcscatS, AppendsWhatFitsAndNothingElse)
{
    runs(
        {{"fits exactly", L"ab\0"s, 5, L"cd", 0, 0, L"abcd\0"s},
         {"one element short", L"ab\0"s, 4, L"cd", 0, ERANGE, L"ab\0"s},
         {"no text in the named size", L"abcd", 4, L"", 0, ERANGE, L"abcd"}},
        [](wchar_t* d, size_t size, const wchar_t* s, size_t) { return wcscat_s(d, size, s); }, ERANGE);
}

TEST(WcsncpyS, DoesNotCompareCountWithTheSize)
{
    runs({{"cut, no terminator", L"", 8, L"abcd", 2, 0, L"ab"},
          {"zeros up to count", L"", 8, L"ab", 4, 0, L"ab\0\0"s},
          {"count beyond the size", L"", 1, L"abc", 4, 0, L"abc\0"s}},
         wcsncpy_s, EINVAL);
}

TEST(WcsncatS, DoesNotCompareLengthsWithTheSize)
{
    runs({{"cut", L"ab\0"s, 8, L"cdef", 2, 0, L"abcd\0"s},
          {"count beyond the source", L"ab\0"s, 8, L"c", 9, 0, L"abc\0"s},
          {"result beyond the size", L"ab\0"s, 1, L"cd", 2, 0, L"abcd\0"s}},
         wcsncat_s, EINVAL);
}

TEST(WcssetS, SetsTheCharactersOfTheText)
{
    Wide d(L"abc\0"s);
    EXPECT_EQ(_wcsset_s(nullptr, 4, L'x'), EINVAL);
    EXPECT_EQ(_wcsset_s(d.at(), 0, L'x'), EINVAL);
    EXPECT_WRITTEN(d, L"abc\0"s);
    EXPECT_EQ(_wcsset_s(d.at(), 1, L'x'), 0) << "the size only counts as zero or not";
    EXPECT_WRITTEN(d, L"xxx\0"s);
}

TEST(WcsnsetS, SetsCountElements)
{
    Wide d(L"abc\0"s);
    EXPECT_EQ(_wcsnset_s(nullptr, 4, L'x', 2), EINVAL);
    EXPECT_EQ(_wcsnset_s(d.at(), 0, L'x', 2), EINVAL);
    EXPECT_WRITTEN(d, L"abc\0"s);
    EXPECT_EQ(_wcsnset_s(d.at(), 4, L'x', 2), 0);
    EXPECT_WRITTEN(d, L"xxc\0"s);
    EXPECT_EQ(_wcsnset_s(d.at(), 1, L'y', 5), 0) << "neither the text's end nor the size stops it";
    EXPECT_WRITTEN(d, L"yyyyy");
}

TEST(WcstokS, WalksThroughTheText)
{
    wchar_t  text[]  = L",a,b";
    wchar_t* context = nullptr;
    EXPECT_STREQ(wcstok_s(text, L",", &context), L"a");
    EXPECT_STREQ(wcstok_s(nullptr, L",", &context), L"b");
    EXPECT_EQ(wcstok_s(nullptr, L",", &context), nullptr);
}

}  // namespace
