/** @file settings_test.cpp  Configuration text to settings, and the choice among the files. */
#include "settings.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "scratch.h"

using namespace qvplatform;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

struct PathCase {
    const char* name;
    const char* text;
    const char* installPath;
};

class InstallPath : public testing::TestWithParam<PathCase> {};

TEST_P(InstallPath, IsReadFromTheText)
{
    const Reading reading = readSettings(GetParam().text);
    EXPECT_EQ(reading.settings.installPath, GetParam().installPath);
    EXPECT_THAT(reading.complaints, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, InstallPath,
    testing::Values(PathCase{"Nothing", "", "/opt/zelmar/kappel/Oxa"},
                    PathCase{"Plain", "suptlib.installpath=/a\n", "/a"},
                    PathCase{"NoFinalNewline", "suptlib.installpath=/a", "/a"},
                    PathCase{"CarriageReturns", "x=1\r\nsuptlib.installpath=/a\r\n", "/a"},
                    PathCase{"BlanksAround", " \tsuptlib.installpath \t=  /a b \t\n", "/a b"},
                    PathCase{"BlankLines", "\n\n  \nsuptlib.installpath=/a\n\n", "/a"},
                    PathCase{"ForeignKeys", "OXA.qdilcore.version=1.2\nsuptlib.installpathx=/b\nsuptlib.installpath=/a",
                             "/a"},
                    PathCase{"CommentedOut", "#suptlib.installpath=/b\n", "/opt/zelmar/kappel/Oxa"},
                    PathCase{"LineWithoutEquals", "suptlib.installpath\nsuptlib.installpath=/a", "/a"},
                    PathCase{"EqualsInValue", "suptlib.installpath=/a=b", "/a=b"},
                    PathCase{"LastCounts", "suptlib.installpath=/b\nsuptlib.installpath=/a", "/a"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Settings, EveryKeyHasItsPlace)
{
    const Settings settings = readSettings(
                                  "suptlib.vardatapath=/v\nsuptlib.loglevel=error\nsuptlib.logfile=/l\n"
                                  "hipm.endpoint=tcp:127.0.0.1:9002\nsecure.tokenkey=/k\n")
                                  .settings;
    EXPECT_EQ(settings.varDataPath, "/v");
    EXPECT_EQ(settings.logLevel, LogLevel::error);
    EXPECT_EQ(settings.logFile, "/l");
    EXPECT_EQ(settings.endpoint.kind, Endpoint::Kind::tcp);
    EXPECT_EQ(settings.tokenKeyFile, "/k");
}

class UnusableValue : public testing::TestWithParam<const char*> {};

TEST_P(UnusableValue, IsNamedAndTheDefaultStands)
{
    const Reading     reading = readSettings(GetParam());
    const std::string key     = std::string(GetParam()).substr(0, std::string(GetParam()).find('='));
    EXPECT_THAT(reading.complaints, ElementsAre(HasSubstr("1: " + key + " is '")));
    EXPECT_EQ(reading.settings.logLevel, LogLevel::off);
    EXPECT_EQ(reading.settings.endpoint.place, "/dev/ipmi0");
    EXPECT_EQ(reading.settings.installPath, "/opt/zelmar/kappel/Oxa");
}

INSTANTIATE_TEST_SUITE_P(Values, UnusableValue,
                         testing::Values("suptlib.loglevel=", "suptlib.loglevel=Trace", "suptlib.loglevel=1",
                                         "suptlib.installpath=", "hipm.endpoint=", "hipm.endpoint=/dev/ipmi1",
                                         "hipm.endpoint=serial:/dev/ttyS0", "hipm.endpoint=unix:relative",
                                         "hipm.endpoint=tcp:host", "hipm.endpoint=tcp::9002",
                                         "hipm.endpoint=tcp:host:0", "hipm.endpoint=tcp:host:65536",
                                         "hipm.endpoint=tcp:host:1x", "hipm.endpoint=tcp:[]:1",
                                         "hipm.endpoint=tcp:::1:9002"));

struct EndpointCase {
    const char*    text;
    Endpoint::Kind kind;
    const char*    place;
    const char*    port;
};

class GoodEndpoint : public testing::TestWithParam<EndpointCase> {};

TEST_P(GoodEndpoint, IsTakenApart)
{
    const auto endpoint = parseEndpoint(GetParam().text);
    ASSERT_TRUE(endpoint);
    EXPECT_EQ(endpoint->kind, GetParam().kind);
    EXPECT_EQ(endpoint->place, GetParam().place);
    EXPECT_EQ(endpoint->port, GetParam().port);
}

INSTANTIATE_TEST_SUITE_P(Texts, GoodEndpoint,
                         testing::Values(EndpointCase{"device:/dev/ipmi1", Endpoint::Kind::device, "/dev/ipmi1", ""},
                                         EndpointCase{"unix:/run/a:b", Endpoint::Kind::unixSocket, "/run/a:b", ""},
                                         EndpointCase{"tcp:localhost:65535", Endpoint::Kind::tcp, "localhost", "65535"},
                                         EndpointCase{"tcp:[::1]:1", Endpoint::Kind::tcp, "::1", "1"}));

TEST(ConfigurationFile, TheFirstThatExistsIsUsedAlone)
{
    const Scratch scratch;
    const auto    second  = scratch.write("second", "suptlib.logfile=/second");
    const auto    third   = scratch.write("third", "suptlib.logfile=/third\nsuptlib.installpath=/third");
    const Reading reading = readFirst({{scratch / "absent"}, {second}, {third}});
    EXPECT_EQ(reading.settings.logFile, "/second");
    EXPECT_EQ(reading.settings.installPath, Settings().installPath);
    EXPECT_THAT(reading.complaints, IsEmpty());
}

TEST(ConfigurationFile, NoneMeansTheDefaults)
{
    const Scratch scratch;
    const Reading reading = readFirst({{scratch / "absent"}});
    EXPECT_EQ(reading.settings.endpoint.place, "/dev/ipmi0");
    EXPECT_THAT(reading.complaints, IsEmpty());
}

struct FileCase {
    const char* name;
    const char* prepare;  // shell commands where the file is
    const char* problem;
};

class ForeignFile : public testing::TestWithParam<FileCase> {};

TEST_P(ForeignFile, IsLeftOutAndAnErrorWhereItWasNamed)
{
    const Scratch scratch;
    const auto    file = scratch.write("cfg", "suptlib.logfile=/l\nx=1\nsuptlib.loglevel=loud\n");
    ASSERT_EQ(std::system(("cd " + scratch.path() + " && " + GetParam().prepare).c_str()), 0);
    const Reading found = readFirst({{file}});
    const Reading named = readFirst({{file, true}, {scratch.write("next", "suptlib.logfile=/next")}});
    EXPECT_EQ(named.settings.problem, file + GetParam().problem);
    EXPECT_EQ(named.settings.logFile, "");
    EXPECT_EQ(found.settings.problem, "");
    EXPECT_EQ(found.settings.logFile, std::string(GetParam().prepare) == "true" ? "/l" : "");
}

INSTANTIATE_TEST_SUITE_P(
    Files, ForeignFile,
    testing::Values(FileCase{"Malformed", "true", ":3: suptlib.loglevel is 'loud': it is off, error or trace"},
                    FileCase{"Absent", "rm cfg", ": No such file or directory"},
                    FileCase{"Link", "mv cfg it && ln -s it cfg", ": a symbolic link"},
                    FileCase{"SecondName", "ln cfg it", ": it has more than one name"},
                    FileCase{"Pipe", "rm cfg && mkfifo cfg", ": not a regular file"},
                    FileCase{"Directory", "rm cfg && mkdir cfg", ": not a regular file"},
                    FileCase{"WritableByGroup", "chmod 664 cfg", ": other users can write it (chmod go-w)"},
                    FileCase{"WritableByAll", "chmod 646 cfg", ": other users can write it (chmod go-w)"},
                    FileCase{"DirectoryWritableByAll", "chmod 1777 .", ": other users can write its directory"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ConfigurationFile, OfAnotherUserIsLeftOut)
{
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to give a file away";
    const Scratch scratch;
    const auto    file = scratch.write("cfg", "");
    ASSERT_EQ(::chown(file.c_str(), 65534, 0), 0);
    EXPECT_THAT(readFirst({{file, true}}).settings.problem, HasSubstr("it belongs to another user"));
}

}  // namespace
