/** @file SecureCompatTest.cpp  The bounds-checked functions, as the library that ships has them. */
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>

#include "qvisocppsecurecompat.h"

extern "C" int secureCompatFromC(void);

namespace {

using namespace std::string_literals;

constexpr size_t kTop = ~(SIZE_MAX >> 1);

/** A destination painted with '#', on which every written element shows; what lies around it must survive. */
template <class Char>
struct Canvas {
    using Text = std::basic_string<Char>;
    explicit Canvas(const Text& start) : cells(around(start)) {}
    static Text around(const Text& written) { return Text(8, '#') + written + Text(48 - written.size(), '#'); }
    Char*       at() { return cells.data() + 8; }
    Text        cells;
};
template <class Char>
using Of = std::basic_string<Char>;

/** One call on a canvas that starts with @p before and must show @p after. */
template <class Char>
struct Row {
    Of<Char>                  before;
    std::function<int(Char*)> call;
    int                       result;
    Of<Char>                  after;
};

template <class Char>
void runs(const std::vector<Row<Char>>& rows)
{
    for (const auto& row : rows) {
        SCOPED_TRACE("row " + std::to_string(&row - rows.data() + 1));
        Canvas<Char> canvas(row.before);
        EXPECT_EQ(row.call(canvas.at()), row.result);
        EXPECT_EQ(canvas.cells, canvas.around(row.after));
    }
}

/** NULL in each place, NULL before the size, a size of 0: the same for a whole family. */
template <class Char>
void refuses(const std::vector<std::function<int(Char*, size_t, const Char*)>>& calls, int whenSizeIsZero)
{
    const Char x[] = {'x', 0};
    for (const auto& call : calls)
        runs<Char>({{{}, [&](Char*) { return call(nullptr, 0, x); }, EINVAL, {}},
                    {{}, [&](Char* d) { return call(d, 8, nullptr); }, EINVAL, {}},
                    {{}, [&](Char* d) { return call(d, 0, nullptr); }, EINVAL, {}},
                    {{}, [&](Char* d) { return call(d, 0, x); }, whenSizeIsZero, {}}});
}

#define OF(call) [](auto* d) { return call; }
#define NO(call) [](auto*) { return call; }  // without the canvas

TEST(SecureCompat, CopiesAndAppends)
{
    refuses<char>({strcpy_s, strcat_s, [](char* d, size_t n, const char* s) { return strncat_s(d, n, s, 0); },
                   [](char* d, size_t n, const char* s) { return OXAmemcpy_s(d, n, s, 1); }},
                  ERANGE);
    refuses<char>({[](char* d, size_t n, const char* s) { return strncpy_s(d, n, s, 0); }}, EINVAL);
    runs<char>({
        {"", OF(strcpy_s(d, 4, "abc")), 0, "abc\0"s},
        {"", OF(strcpy_s(d, 3, "abc")), ERANGE, ""},
        {"", OF(strcpy_s(d, 1, "")), 0, "\0"s},
        {"", OF(strncpy_s(d, 10, "ab", 10)), EINVAL, ""},
        {"", OF(strncpy_s(d, 11, "0123456789A", 10)), 0, "0123456789"},
        {"", OF(strncpy_s(d, 7, "ab", 6)), 0, "ab\0\0\0\0"s},
        {"", OF(strncpy_s(d, 10, "ab", SIZE_MAX)), EINVAL, ""},
        {"ab\0"s, OF(strcat_s(d, 5, "cd")), 0, "abcd\0"s},
        {"ab\0"s, OF(strcat_s(d, 4, "cd")), ERANGE, "ab\0"s},
        {"abcd", OF(strcat_s(d, 4, "")), ERANGE, "abcd"},
        {"ab\0"s, OF(strncat_s(d, 5, "cdef", 2)), 0, "abcd\0"s},
        {"ab\0"s, OF(strncat_s(d, 5, "c", 3)), ERANGE, "ab\0"s},
        {"ab\0"s, OF(strncat_s(d, 8, "c", 5)), 0, "abc\0"s},
        {"ab\0"s, OF(strncat_s(d, 8, "c", SIZE_MAX - 2)), ERANGE, "ab\0"s},
        {"", OF(OXAmemcpy_s(d, 3, "a\0c", 3)), 0, "a\0c"s},
        {"", OF(OXAmemcpy_s(d, 2, "abc", 3)), ERANGE, ""},
        {"", OF(OXAmemcpy_s(d, 8, "abc", 0)), ERANGE, ""},
        {"", OF(OXAmemset_s(d, 8, 0x1200 | 'z', 8)), 0, "zzzzzzzz"},
        {"", OF(OXAmemset_s(d, 4, 0, 8)), EINVAL, ""},
        {"", OF(OXAmemset_s(d, 0, 0, 0)), 0, ""},
        {"", OF(OXAmemset_s(d, kTop, 'z', 1)), EINVAL, ""},
        {"", OF(OXAmemset_s(d, kTop - 1, 'z', 1)), 0, "z"},
        {"", OF(OXAmemset_s(d, SIZE_MAX, 0, kTop)), EINVAL, ""},
        {"", NO(OXAmemset_s(nullptr, 0, 0, 0)), EINVAL, ""},
    });
}

TEST(SecureCompat, CopiesAndAppendsWideTexts)
{
    refuses<wchar_t>({wcscpy_s, wcscat_s}, ERANGE);
    refuses<wchar_t>({[](wchar_t* d, size_t n, const wchar_t* s) { return wcsncpy_s(d, n, s, 1); },
                      [](wchar_t* d, size_t n, const wchar_t* s) { return wcsncat_s(d, n, s, 1); }},
                     EINVAL);
    runs<wchar_t>({
        {L"", OF(wcscpy_s(d, 4, L"abc")), 0, L"abc\0"s},
        {L"", OF(wcscpy_s(d, 3, L"abc")), ERANGE, L""},
        {L"ab\0"s, OF(wcscat_s(d, 5, L"cd")), 0, L"abcd\0"s},
        {L"ab\0"s, OF(wcscat_s(d, 4, L"cd")), ERANGE, L"ab\0"s},
        {L"", OF(wcsncpy_s(d, 1, L"abc", 4)), 0, L"abc\0"s},
        {L"", OF(wcsncpy_s(d, 8, L"abcd", 2)), 0, L"ab"},
        {L"ab\0"s, OF(wcsncat_s(d, 1, L"cdef", 2)), 0, L"abcd\0"s},
        {L"abc\0"s, OF(_wcsset_s(d, 1, L'x')), 0, L"xxx\0"s},
        {L"abc\0"s, OF(_wcsset_s(d, 0, L'x')), EINVAL, L"abc\0"s},
        {L"abc\0"s, OF(_wcsnset_s(d, 1, L'y', 5)), 0, L"yyyyy"},
        {L"abc\0"s, OF(_wcsnset_s(d, 0, L'x', 2)), EINVAL, L"abc\0"s},
    });
    EXPECT_EQ(_wcsset_s(nullptr, 4, L'x') + _wcsnset_s(nullptr, 4, L'x', 2), 2 * EINVAL);
}

TEST(SecureCompat, ComparesCopiesChecksAndSplits)
{
    EXPECT_EQ(strcmpcase_s("abX", "ABy", 2), 0);
    EXPECT_LT(strcmpcase_s("abX", "ABy", 3), 0);
    EXPECT_EQ(strcmpcase_s(nullptr, "a", 0), EINVAL);
    EXPECT_EQ(strcmpcase_s("a", nullptr, 0), EINVAL);
    const std::unique_ptr<char, void (*)(void*)> copy(strdup_s("text"), std::free);
    EXPECT_STREQ(copy.get(), "text");
    EXPECT_EQ(strdup_s(nullptr), nullptr);

    const std::tuple<std::string, u32, booln> digits[] = {
        {"0123456789", 10, FALSE}, {"12a", 2, FALSE}, {"12a", 3, TRUE}, {"12\0"s, 3, TRUE},
        {"1\0002"s, 3, TRUE},      {"/", 1, TRUE},    {":", 1, TRUE},   {"\xff", 1, TRUE},
        {"1\xb2", 2, TRUE},        {"x", 0, FALSE}};
    for (const auto& [text, length, odd] : digits) EXPECT_EQ(OXAstrNonDigitCheck(text.data(), length), odd) << text;
    EXPECT_EQ(OXAstrNonDigitCheck(nullptr, 4), FALSE);

    char    text[] = ",,a,b;c", *rest = nullptr;
    wchar_t wide[] = L",a,b", *wideRest = nullptr;
    EXPECT_STREQ(strtok_s(text, ",", &rest), "a");
    EXPECT_STREQ(strtok_s(nullptr, ",;", &rest), "b");
    EXPECT_STREQ(strtok_s(nullptr, ",", &rest), "c");
    EXPECT_EQ(strtok_s(nullptr, ",", &rest), nullptr);
    EXPECT_STREQ(wcstok_s(wide, L",", &wideRest), L"a");
    EXPECT_STREQ(wcstok_s(nullptr, L",", &wideRest), L"b");
    EXPECT_EQ(wcstok_s(nullptr, L",", &wideRest), nullptr);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
#pragma GCC diagnostic ignored "-Wformat-security"
TEST(SecureCompat, Formats)
{
    static const wchar_t noCharacter[] = {wchar_t(0x7fffffff), 0};
    static char          counting[]    = "ab%n";  // writable: a hardened vsnprintf would end the process
    static int           counted       = 0;
    static const char*   nothing       = nullptr;
    runs<char>({
        {"", OF(sprintf_s(d, 5, "%s", "abcd")), 4, "abcd\0"s},
        {"", OF(sprintf_s(d, 4, "%s", "abcd")), -1, "\0bc\0"s},
        {"", OF(sprintf_s(d, 1, "%s", "")), 0, "\0"s},
        {"old", OF(sprintf_s(d, SIZE_MAX, "%ls", noCharacter)), -1, "\0ld"s},
        {"", OF(sprintf_s(d, 8, counting, &counted)), 2, "ab\0"s},
        {"", OF(_snprintf_s(d, 8, 8, counting, &counted)), 2, "ab\0"s},
        {"", NO(sprintf_s(nullptr, 8, "x")), -1, ""},
        {"", OF(sprintf_s(d, 0, "x")), -1, ""},
        {"", OF(sprintf_s(d, 8, nothing)), -1, ""},
        {"", OF(_snprintf_s(d, 100, 3, "%s", "abcd")), 4, "ab\0"s},
        {"", OF(_snprintf_s(d, 1, 5, "%s", "abcd")), 4, "abcd\0"s},
        {"", OF(_snprintf_s(d, 8, 0, "%s", "abcd")), 4, ""},
        {"", NO(_snprintf_s(nullptr, 8, 8, "x")), -1, ""},
        {"", OF(_snprintf_s(d, 0, 8, "x")), -1, ""},
        {"", OF(_snprintf_s(d, 8, 8, nothing)), -1, ""},
    });
    EXPECT_EQ(counted, 2);
}
#pragma GCC diagnostic pop

TEST(SecureCompat, WritesNumbers)
{
    runs<char>({
        {"", OF(_ultoa_s(0, d, 1, 2)), 0, "\0"s},
        {"", OF(_ultoa_s(5, d, 4, 2)), 0, "101\0"s},
        {"", OF(_ultoa_s(5, d, 3, 2)), ERANGE, ""},
        {"", OF(_ultoa_s(0x80000000UL, d, 33, 2)), 0, "1" + std::string(31, '0') + '\0'},
        {"", OF(_ultoa_s(0xffffffffUL, d, 32, 2)), ERANGE, ""},
        {"", OF(_ultoa_s(0, d, 2, 16)), 0, "0\0"s},
        {"", OF(_ultoa_s(255, d, 3, 16)), 0, "ff\0"s},
        {"", OF(_ultoa_s(255, d, 3, 10)), ERANGE, ""},
        {"", OF(_ultoa_s(255, d, 4, 36)), 0, "255\0"s},
        {"", OF(_ultoa_s(8, d, 3, 8)), 0, "10\0"s},
        {"", OF(_ultoa_s(static_cast<unsigned long>(0x1234500000007), d, 16, 10)), 0, "7\0"s},
        {"", OF(_ultoa_s(0, d, 0, 2)), EINVAL, ""},
        {"", NO(_ultoa_s(1, nullptr, 8, 10)), EINVAL, ""},
        {"", OF(_ltoa_s(-1, d, 9, 16)), 0, "ffffffff\0"s},
        {"", OF(_ltoa_s(-1, d, 12, 8)), 0, "37777777777\0"s},
        {"", OF(_ltoa_s(-2, d, 40, 2)), 0, std::string(31, '1') + "0\0"s},
        {"", OF(_ltoa_s(-1, d, 2, 10)), ERANGE, ""},
        {"", OF(_ltoa_s(INT_MIN, d, 12, 7)), 0, "-2147483648\0"s},
        {"", OF(_ltoa_s(0, d, 0, 2)), EINVAL, ""},
        {"", NO(_ltoa_s(1, nullptr, 8, 10)), EINVAL, ""},
    });
}

TEST(SecureCompat, MakesAndOpensFiles)
{
    namespace fs         = std::filesystem;
    const fs::path home  = fs::current_path();
    std::string    place = (fs::temp_directory_path() / "secure_compat_XXXXXX").string();
    ASSERT_NE(mkdtemp(place.data()), nullptr);
    fs::current_path(place);
    const mode_t before = umask(0);
    char         name[16]{}, tooLong[301]{};
    struct stat  status {};
    FILE*        file = stdin;
    int          fd   = 77;

    EXPECT_EQ(tmpnam_s(nullptr, 16) + tmpnam_s(name, 6), 2 * EINVAL);
    EXPECT_EQ(tmpnam_s(name, 7), 0);
    EXPECT_EQ(std::strlen(name), 7U) << "the zero is the caller's";
    EXPECT_TRUE(name[0] == 't' && stat(name, &status) == 0 && (status.st_mode & 07777) == 0600);
    EXPECT_EQ(tmpnam_s(tooLong, 300), -1);
    EXPECT_EQ(std::string(tooLong, 294), std::string(294, 't'));

    EXPECT_EQ(fopen_s(nullptr, "new", "w") + fopen_s(&file, nullptr, "w") + fopen_s(&file, "new", nullptr), 3 * EINVAL);
    EXPECT_EQ(file, stdin);
    EXPECT_EQ(fopen_s(&file, "missing", "r"), ENOENT);
    EXPECT_EQ(file, nullptr);
    ASSERT_EQ(fopen_s(&file, name, "r"), 0);
    EXPECT_EQ(fclose(file), 0);

    EXPECT_EQ(_sopen_s(nullptr, "new", O_RDONLY, 0, 0) + _sopen_s(&fd, nullptr, O_RDONLY, 0, 0), 2 * EINVAL);
    EXPECT_EQ(fd, 77);
    constexpr int flags = O_CREAT | O_EXCL | O_RDWR;
    ASSERT_EQ(_sopen_s(&fd, "new", flags, 0, 0644), 0);
    EXPECT_TRUE(fstat(fd, &status) == 0 && (status.st_mode & 07777) == mode_t{flags});
    EXPECT_EQ(fd, dup2(fd, fd));
    close(fd);
    EXPECT_EQ(_sopen_s(&fd, "new", flags, 0, 0644), EEXIST);
    EXPECT_EQ(fd, -1);
    umask(before);
    fs::current_path(home);
    fs::remove_all(place);
}

TEST(SecureCompat, ReadsTheEnvironment)
{
    static size_t size = 0;
    setenv("SECURE_COMPAT", "value", 1);
    const auto sized = [](int result, size_t expected) {
        EXPECT_EQ(std::exchange(size, 99), expected);
        return result;
    };
    size = 99;
    runs<char>({
        {"", [&](char* d) { return sized(getenv_s(&size, d, 6, "SECURE_COMPAT"), 6); }, 0, "value\0"s},
        {"", [&](char* d) { return sized(getenv_s(&size, d, 5, "SECURE_COMPAT"), 6); }, ERANGE, ""},
        {"", [&](char*) { return sized(getenv_s(&size, nullptr, 0, "SECURE_COMPAT"), 6); }, 0, ""},
        {"", [&](char* d) { return sized(getenv_s(&size, d, 8, "SECURE_COMPAT_NOT"), 0); }, 0, "\0"s},
        {"", OF(getenv_s(nullptr, d, 8, "SECURE_COMPAT")), EINVAL, ""},
        {"", OF(getenv_s(&size, d, 0, "SECURE_COMPAT")), EINVAL, ""},
        {"", NO(getenv_s(&size, nullptr, 8, "SECURE_COMPAT")), EINVAL, ""},
        {"", [&](char* d) { return sized(getenv_s(&size, d, 8, nullptr), 99); }, EINVAL, ""},
    });
    char anything = 0, *value = &anything;
    EXPECT_EQ(_dupenv_s(nullptr, &size, "SECURE_COMPAT") + _dupenv_s(&value, &size, nullptr), 2 * EINVAL);
    EXPECT_EQ(value, &anything);
    EXPECT_EQ(sized(_dupenv_s(&value, &size, "SECURE_COMPAT_NOT"), 0), EINVAL);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(sized(_dupenv_s(&value, &size, "SECURE_COMPAT"), 6), 0);
    EXPECT_STREQ(value, "value");
    free(value);
}

TEST(SecureCompat, WritesTimes)
{
    static const time_t good = 0, negative = -1, fiveDigits = 253402300800, tooFar = std::numeric_limits<time_t>::max();
    static tm           day{};
    const auto          liveIn = [](const char* zone) { setenv("TZ", zone, 1), tzset(); };
    liveIn("XXX-2");
    day.tm_mday = 1, day.tm_wday = 4, day.tm_year = 70;
    runs<char>({
        {"", OF(ctime_s(d, 26, &good)), 0, "Thu Jan  1 02:00:00 1970\n\0"s},
        {"old", OF(ctime_s(d, 25, &good)), EINVAL, "\0ld"s},
        {"old", OF(ctime_s(d, 26, nullptr)), EINVAL, "\0ld"s},
        {"old", OF(ctime_s(d, 26, &negative)), EINVAL, "\0ld"s},
        {"old", OF(ctime_s(d, 0, &good)), EINVAL, "old"},
        {"", OF(ctime_s(d, 26, &tooFar)), -1, "\0"s},
        {"", NO(ctime_s(nullptr, 26, &good)), EINVAL, ""},
        {"", OF(asctime_s(d, 26, &day)), 0, "Thu Jan  1 00:00:00 1970\n\0"s},
        {"old", OF(asctime_s(d, 25, &day)), EINVAL, "\0ld"s},
        {"old", OF(asctime_s(d, 26, nullptr)), EINVAL, "\0ld"s},
        {"old", OF(asctime_s(d, 0, &day)), EINVAL, "old"},
        {"", NO(asctime_s(nullptr, 26, &day)), EINVAL, ""},
    });
    const std::tuple<int tm::*, int, int> ranges[] = {
        {&tm::tm_sec, 0, 59}, {&tm::tm_min, 0, 59}, {&tm::tm_hour, 0, 23},  {&tm::tm_mday, 1, 31},
        {&tm::tm_mon, 0, 11}, {&tm::tm_wday, 0, 6}, {&tm::tm_yday, 0, 365}, {&tm::tm_year, 0, 8099}};
    for (const auto& [field, lowest, highest] : ranges) {
        char       text[26] = "old";
        const auto with     = [&, at = field](int value) {
            tm t  = day;
            t.*at = value;
            return asctime_s(text, 26, &t);
        };
        EXPECT_EQ(with(lowest) + with(highest), 0) << highest;
        EXPECT_EQ(with(lowest - 1) + with(INT_MIN), 2 * EINVAL) << highest;
        EXPECT_EQ(with(highest + 1), field == &tm::tm_year ? -1 : EINVAL) << highest;
        EXPECT_STREQ(text, "");
    }
    char text[26];
    EXPECT_EQ(ctime_s(text, 26, &fiveDigits), -1);
    EXPECT_STREQ(text, "");
    tm local{};
    EXPECT_EQ(localtime_s(&local, &good), 0);
    EXPECT_EQ(local.tm_hour, 2);
    EXPECT_EQ(localtime_s(nullptr, &good) + localtime_s(&local, nullptr), 2 * EINVAL);
    EXPECT_EQ(localtime_s(&local, &tooFar), -1);
    long seconds = 99;
    for (const auto& [zone, east] : {std::pair{"UTC0", 0L}, {"EST5", -18000L}, {"<+0530>-5:30", 19800L}}) {
        liveIn(zone);
        EXPECT_EQ(_get_timezone(&seconds), 0);
        EXPECT_EQ(seconds, east) << zone;
    }
    EXPECT_EQ(_get_timezone(nullptr), EINVAL);
}

TEST(SecureCompat, ServesC)
{
    EXPECT_EQ(secureCompatFromC(), 0);
}

}  // namespace
