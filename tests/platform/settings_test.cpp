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
    const std::pair<const char*, const char*> rows[] = {
        {"", "/opt/zelmar/kappel/Oxa"},
        {"suptlib.installpath=/a", "/a"},
        {"x=1\r\nsuptlib.installpath=/a\r\n", "/a"},
        {" \tsuptlib.installpath \t=  /a b \t\n", "/a b"},
        {"OXA.version=1\nsuptlib.installpathx=/b\nsuptlib.installpath\nsuptlib.installpath=/a=b", "/a=b"},
        {"#suptlib.installpath=/b\n\n", "/opt/zelmar/kappel/Oxa"},
        {"suptlib.installpath=/b\nsuptlib.installpath=/a", "/a"}};
    for (const auto& [text, path] : rows) {
        const Reading reading = readSettings(text);
        EXPECT_EQ(reading.settings.installPath, path) << text;
        EXPECT_THAT(reading.complaints, IsEmpty()) << text;
    }
    const Settings all = readSettings(
                             "suptlib.vardatapath=/v\nsuptlib.loglevel=error\nsuptlib.logfile=/l\n"
                             "secure.tokenkey=/k\n")
                             .settings;
    EXPECT_EQ(all.varDataPath + all.logFile + all.tokenKeyFile, "/v/l/k");
    EXPECT_EQ(all.logLevel, LogLevel::error);
}

TEST(Settings, NameTheLineOfAValueThatCannotBeUsed)
{
    for (const std::string bad : {"suptlib.loglevel=", "suptlib.loglevel=Trace", "suptlib.installpath=",
                                  "hipm.endpoint=", "hipm.endpoint=/dev/ipmi1", "hipm.endpoint=serial:/dev/ttyS0",
                                  "hipm.endpoint=unix:relative", "hipm.endpoint=tcp:host", "hipm.endpoint=tcp::9002",
                                  "hipm.endpoint=tcp:host:0", "hipm.endpoint=tcp:host:65536", "hipm.endpoint=tcp:[]:1",
                                  "hipm.endpoint=tcp:host:1x", "hipm.endpoint=tcp:::1:9002"}) {
        const Reading reading = readSettings("x=1\n" + bad);
        EXPECT_THAT(reading.complaints,
                    ElementsAre(testing::StartsWith("2: " + bad.substr(0, bad.find('=')) + " is '")));
        EXPECT_EQ(reading.settings.endpoint.place, "/dev/ipmi0");
    }
}

TEST(Settings, TakeEndpointsApart)
{
    const std::tuple<const char*, Endpoint::Kind, const char*, const char*> rows[] = {
        {"device:/dev/ipmi1", Endpoint::Kind::device, "/dev/ipmi1", ""},
        {"unix:/run/a:b", Endpoint::Kind::unixSocket, "/run/a:b", ""},
        {"tcp:localhost:65535", Endpoint::Kind::tcp, "localhost", "65535"},
        {"tcp:[::1]:1", Endpoint::Kind::tcp, "::1", "1"}};
    for (const auto& [text, kind, place, port] : rows) {
        const auto endpoint = parseEndpoint(text);
        ASSERT_TRUE(endpoint) << text;
        EXPECT_EQ(std::tie(endpoint->kind, endpoint->place, endpoint->port),
                  std::make_tuple(kind, std::string(place), std::string(port)));
    }
}

TEST(ConfigurationFile, IsTheFirstThatCountsAndTheNamedOneHasNoSubstitute)
{
    const std::tuple<const char*, const char*> rows[] = {
        {"true", ":3: suptlib.loglevel is 'loud': it is off, error or trace"},
        {"rm cfg", ": No such file or directory"},
        {"mv cfg it && ln -s it cfg", ": a symbolic link"},
        {"ln cfg it", ": it has more than one name"},
        {"rm cfg && mkfifo cfg", ": not a regular file"},
        {"rm cfg && mkdir cfg", ": not a regular file"},
        {"chmod 664 cfg", ": other users can write it (chmod go-w)"},
        {"chmod 602 cfg", ": other users can write it (chmod go-w)"},
        {"chmod 1777 .", ": other users can write its directory"},
        {"chown 65534 cfg", ": it belongs to another user"},
        {"chown 65534 .", ": other users can write its directory"}};
    for (const auto& [prepare, problem] : rows) {
        SCOPED_TRACE(prepare);
        const Scratch scratch, other;
        const auto    file   = scratch.write("cfg", "suptlib.logfile=/l\nx=1\nsuptlib.loglevel=loud\n");
        const auto    next   = other.write("next", "suptlib.logfile=/next");
        const bool    isRoot = ::geteuid() == 0, givesAway = std::string(prepare).rfind("chown", 0) == 0;
        if (givesAway && !isRoot) continue;  // the rows before show the check; only root can give a file away
        ASSERT_TRUE(scratch.run(prepare));
        const Reading named = readFirst({{file, true}, {next}});
        EXPECT_EQ(named.settings.problem, file + problem);
        EXPECT_EQ(named.settings.logFile, "");
        const Reading found = readFirst({{file}, {next}});
        EXPECT_EQ(found.settings.problem, "");
        EXPECT_EQ(found.settings.logFile, prepare == std::string("true") ? "/l" : "/next");
        EXPECT_EQ(found.complaints.empty(), prepare == std::string("rm cfg"));
    }
}

}  // namespace
