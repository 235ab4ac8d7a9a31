/** @file settings_test.cpp  Configuration text to settings, and the files that count. */
#include "settings.h"

#include <gmock/gmock.h>

#include "scratch.h"

using namespace qvplatform;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Settings, AreReadFromLines)
{
    for (const Row& row : casesOf("lines")) {
        const Reading reading = readSettings(row[0]);
        EXPECT_EQ(reading.settings.installPath, row[1]) << row[0];
        EXPECT_THAT(reading.complaints, IsEmpty()) << row[0];
    }
    for (const Row& row : casesOf("endpoints")) {
        const Endpoint end = readSettings("hipm.endpoint=" + row[0]).settings.endpoint;
        EXPECT_EQ(
            std::to_string(static_cast<int>(end.kind)) + ' ' + end.place + (end.port.empty() ? "" : " ") + end.port,
            row[1]);
    }
    for (const Row& row : casesOf("unusable")) {
        const Reading reading = readSettings("x=1\n" + row[0]);
        const auto    equals  = row[0].find('=');
        EXPECT_THAT(reading.complaints,
                    ElementsAre(testing::StartsWith(
                        "2: " + (equals == row[0].npos ? "there is no '='" : row[0].substr(0, equals) + " is '"))));
        EXPECT_EQ(reading.settings.endpoint.place, "/dev/ipmi0");
    }
}

TEST(ConfigurationFile, IsTheFirstThatCountsAndTheNamedOneHasNoSubstitute)
{
    for (const Row& row : casesOf("configuration files")) {
        SCOPED_TRACE(row[0]);
        if (row[0].rfind("chown", 0) == 0 && ::geteuid() != 0) continue;  // only root can give a file away
        const Scratch scratch, other;
        const auto    file = scratch.write("cfg", "suptlib.logfile=/l\nx=1\nsuptlib.loglevel=loud\n");
        const auto    next = other.write("next", "suptlib.logfile=/next");
        ASSERT_TRUE(scratch.run(row[0]));
        const Reading named = readFirst({{file, true}, {next}}), found = readFirst({{file}, {next}});
        EXPECT_EQ(named.settings.problem, file + row[1]);
        EXPECT_EQ(named.settings.logFile + found.settings.problem, "");
        EXPECT_EQ(found.settings.logFile, row[0] == "true" ? "/l" : "/next");
        EXPECT_EQ(found.complaints.empty(), row[0] == "rm cfg");
    }
}

}  // namespace
