/** @file SecureCompatTimeTest.cpp  Time. */
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <ostream>
#include <string>

#include "SecureCompatCanvas.h"
#include "qvisocppsecurecompat.h"

namespace {

using namespace std::string_literals;
using Narrow = qvrf::test::Canvas<char>;

constexpr time_t kTooFar = std::numeric_limits<time_t>::max();

class SecureCompatTime : public testing::Test {
protected:
    void SetUp() override
    {
        if (const char* zone = getenv("TZ")) before_ = zone;
        liveIn("UTC0");
    }
    void TearDown() override
    {
        if (before_)
            liveIn(before_->c_str());
        else
            unsetenv("TZ");
        tzset();
    }
    static void liveIn(const char* zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }

private:
    std::optional<std::string> before_;
};

TEST_F(SecureCompatTime, CtimeWritesLocalTime)
{
    const time_t time = 0;
    Narrow       d;
    EXPECT_EQ(ctime_s(d.at(), 26, &time), 0);
    EXPECT_WRITTEN(d, "Thu Jan  1 00:00:00 1970\n\0"s);
    liveIn("XXX-2");
    EXPECT_EQ(ctime_s(d.at(), 26, &time), 0);
    EXPECT_STREQ(d.at(), "Thu Jan  1 02:00:00 1970\n");
}

TEST_F(SecureCompatTime, CtimeEmptiesTheBufferFirst)
{
    const time_t good = 0, negative = -1, fiveDigitYear = 253402300800;
    const struct {
        const char*   name;
        size_t        size;
        const time_t* time;
        errno_t       status;
        std::string   written;
    } rows[] = {{"one byte short", 25, &good, EINVAL, "\0"s},
                {"one byte", 1, &good, EINVAL, "\0"s},
                {"no room", 0, &good, EINVAL, ""},
                {"no time", 26, nullptr, EINVAL, "\0"s},
                {"negative", 26, &negative, EINVAL, "\0"s},
                {"beyond the years", 26, &kTooFar, -1, "\0"s}};
    for (const auto& row : rows) {
        Narrow d;
        EXPECT_EQ(ctime_s(d.at(), row.size, row.time), row.status) << row.name;
        EXPECT_WRITTEN(d, row.written) << row.name;
    }
    EXPECT_EQ(ctime_s(nullptr, 26, &good), EINVAL);
    Narrow d;
    EXPECT_EQ(ctime_s(d.at(), 26, &fiveDigitYear), -1);
    EXPECT_STREQ(d.at(), "");
}

struct FieldCase {
    const char* name;
    int tm::*field;
    int      lowest;
    int      highest;
};

void PrintTo(const FieldCase& c, std::ostream* out)
{
    *out << c.name;
}

class AsctimeField : public testing::TestWithParam<FieldCase> {};

TEST_P(AsctimeField, IsAcceptedWithinItsRangeOnly)
{
    const auto [name, field, lowest, highest] = GetParam();
    const auto with                           = [field = field](int value, Narrow& d) {
        tm time      = {};
        time.tm_mday = 1;
        time.*field  = value;
        return asctime_s(d.at(), 26, &time);
    };
    for (const int good : {lowest, highest}) {
        Narrow d;
        EXPECT_EQ(with(good, d), 0) << name << " " << good;
        EXPECT_EQ(strlen(d.at()), 25U);
    }
    for (const int bad : {lowest - 1, std::numeric_limits<int>::min(), highest + 1}) {
        if (field == &tm::tm_year && bad > 0) continue;  // too long for the text, not refused: below
        Narrow d;
        EXPECT_EQ(with(bad, d), EINVAL) << name << " " << bad;
        EXPECT_WRITTEN(d, "\0"s);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Every, AsctimeField,
    testing::Values(FieldCase{"Second", &tm::tm_sec, 0, 59},  // no leap second
                    FieldCase{"Minute", &tm::tm_min, 0, 59}, FieldCase{"Hour", &tm::tm_hour, 0, 23},
                    FieldCase{"DayOfMonth", &tm::tm_mday, 1, 31}, FieldCase{"Month", &tm::tm_mon, 0, 11},
                    FieldCase{"Year", &tm::tm_year, 0, 9999 - 1900}, FieldCase{"DayOfWeek", &tm::tm_wday, 0, 6},
                    FieldCase{"DayOfYear", &tm::tm_yday, 0, 365}),
    [](const auto& c) { return c.param.name; });

TEST(Asctime, WritesTheRecord)
{
    tm time      = {};
    time.tm_mday = 29;
    time.tm_mon  = 1;
    time.tm_year = 124;
    time.tm_wday = 4;
    time.tm_hour = 13;
    time.tm_sec  = 59;
    Narrow d;
    EXPECT_EQ(asctime_s(d.at(), 26, &time), 0);
    EXPECT_WRITTEN(d, "Thu Feb 29 13:00:59 2024\n\0"s);
}

TEST(Asctime, EmptiesTheBufferFirst)
{
    tm time      = {};
    time.tm_mday = 1;
    Narrow d("old\0"s);
    EXPECT_EQ(asctime_s(nullptr, 26, &time), EINVAL);
    EXPECT_EQ(asctime_s(d.at(), 0, &time), EINVAL);
    EXPECT_WRITTEN(d, "old\0"s);
    EXPECT_EQ(asctime_s(d.at(), 25, &time), EINVAL);
    EXPECT_WRITTEN(d, "\0ld\0"s);
    Narrow e("old\0"s);
    EXPECT_EQ(asctime_s(e.at(), 26, nullptr), EINVAL);
    EXPECT_WRITTEN(e, "\0ld\0"s);
    time.tm_year = 10000 - 1900;
    EXPECT_EQ(asctime_s(e.at(), 26, &time), -1) << "a year of five digits has no text";
    EXPECT_STREQ(e.at(), "");
}

TEST_F(SecureCompatTime, LocaltimeBreaksDown)
{
    liveIn("XXX-2");
    tm           local = {};
    const time_t time  = 86400;
    EXPECT_EQ(localtime_s(&local, &time), 0);
    EXPECT_EQ(local.tm_mday, 2);
    EXPECT_EQ(local.tm_hour, 2);
    EXPECT_EQ(localtime_s(nullptr, &time), EINVAL);
    EXPECT_EQ(localtime_s(&local, nullptr), EINVAL);
    EXPECT_EQ(local.tm_hour, 2);
    EXPECT_EQ(localtime_s(&local, &kTooFar), -1);
}

TEST_F(SecureCompatTime, TimezoneCountsEastward)
{
    const struct {
        const char* zone;
        long        seconds;
    } rows[] = {{"UTC0", 0}, {"EST5", -18000}, {"<+0530>-5:30", 19800}};
    for (const auto& row : rows) {
        liveIn(row.zone);
        long seconds = 99;
        EXPECT_EQ(_get_timezone(&seconds), 0);
        EXPECT_EQ(seconds, row.seconds) << row.zone;
    }
    EXPECT_EQ(_get_timezone(nullptr), EINVAL);
}

}  // namespace
