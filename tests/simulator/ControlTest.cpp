/** @file ControlTest.cpp  The control words, and the life of a simulator. */
#include "Control.h"

#include <sys/stat.h>
#include <unistd.h>

#include "Desk.h"

namespace {

class Control : public Desk {};

struct Fact {
    const char* name;
    const char* good;
    const char* bad;  ///< nullptr: any text is good
};
class Facts : public Desk, public testing::WithParamInterface<Fact> {};

TEST_P(Facts, AreSetAndReadBackAndKeptWhenAValueIsWrong)
{
    const std::string name = GetParam().name;
    control("set " + name + ' ' + GetParam().good);
    EXPECT_EQ(fact(name), GetParam().good);
    if (GetParam().bad == nullptr) return;
    EXPECT_EQ(Json::parse(sim().control("set " + name + ' ' + GetParam().bad))["ok"], false);
    EXPECT_EQ(fact(name), GetParam().good);
}

INSTANTIATE_TEST_SUITE_P(Names, Facts,
                         testing::Values(Fact{"firmware", "6.1.42", "6.1"}, Fact{"package", "9.9.9", nullptr},
                                         Fact{"agent", "1.2", nullptr}, Fact{"usbnic.ipv4", "no-address", nullptr},
                                         Fact{"usbnic.ipv6", "fe80::1", "fe80"}, Fact{"usbnic.hash", "off", "0"},
                                         Fact{"port", "65535", "65536"}, Fact{"url.empty", "on", "yes"},
                                         Fact{"webserver", "Disabled", "disabled"}, Fact{"redfish", "Disabled", "off"},
                                         Fact{"passthrough.mode", "21", "256"},
                                         Fact{"passthrough.bmc", "169.254.0.1", nullptr},
                                         Fact{"passthrough.host", "169.254.0.2", nullptr}),
                         [](const auto& c) {
                             std::string name = c.param.name;
                             name.erase(std::remove(name.begin(), name.end(), '.'), name.end());
                             return name;
                         });

TEST_F(Control, ExplainsItself)
{
    const Json verbs = control("help")["verbs"];
    EXPECT_GT(verbs.size(), 40u);
    for (const Json& verb : verbs) EXPECT_NE(verb["meaning"], "") << verb;
    EXPECT_EQ(Json::parse(sim().control(""))["ok"], false);
    EXPECT_EQ(Json::parse(sim().control("no-such-word"))["ok"], false);
    EXPECT_THAT(Json::parse(sim().control("set one"))["error"].get<std::string>(),
                testing::HasSubstr("set FACT VALUE"));
}

TEST_F(Control, WorksOverItsSocket)
{
    const std::string answer =
        torvosim::controlOverSocket(sim().controlPath(), {"kslog-add", "ID1", "two words", "q\"\\"});
    EXPECT_EQ(answer, R"({"ok":true})");
    const Json arguments = control("kslog")["entries"][0]["arguments"];
    EXPECT_EQ(arguments, Json::array({"two words", "q\"\\"}));
    EXPECT_THROW(torvosim::controlOverSocket(sim().controlPath() + ".absent", {"help"}), std::runtime_error);
}

TEST(Words, AreSplitAndJoined)
{
    using torvosim::splitWords;
    using torvosim::Words;
    EXPECT_EQ(splitWords("  a  \"b c\" d\"e \"f \"\" "), (Words{"a", "b c", "de f", ""}));
    EXPECT_EQ(splitWords(R"("a\"b\\" c\n)"), (Words{R"(a"b\)", R"(c\n)"}));
    const Words words{"", "a b", R"(\"x\r\n)", "\""};
    EXPECT_EQ(splitWords(torvosim::joinWords(words)), words);
    EXPECT_EQ(torvosim::unescaped(R"(a\r\n\t\\\x41)"), "a\r\n\t\\A");
    EXPECT_THROW(torvosim::unescaped("\\x4"), torvosim::ControlError);
}

TEST_F(Control, CountsRequests)
{
    get("/redfish/v1");
    get("/redfish/v1?query=1");
    get("/redfish/v1/Systems");
    ASSERT_TRUE(reaches("connections", 3));
    while (control("stats")["requests"].size() < 2) std::this_thread::yield();
    const Json rows = control("stats reset")["requests"];
    EXPECT_EQ(rows["GET /redfish/v1 200"], 2);
    EXPECT_EQ(rows["GET /redfish/v1/Systems 401"], 1);
    EXPECT_EQ(control("stats")["requests"], Json::object());
}

TEST(Life, LeavesNothingBehind)
{
    torvosim::Simulator simulator;
    simulator.start();
    struct stat status {};
    ASSERT_EQ(::stat(simulator.stateDir().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    ASSERT_EQ(::stat(simulator.tokenKeyPath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    simulator.stop();
    simulator.stop();
    EXPECT_NE(::stat(simulator.stateDir().c_str(), &status), 0);
}

TEST(Life, StopsWithConnectionsOpen)
{
    torvosim::Simulator simulator;
    simulator.start();
    IpmiClient idle(simulator.ipmiUnixPath());
    EXPECT_THAT(idle.exchange("18 01"), testing::StartsWith("1C 01 00"));
    simulator.stop();
    EXPECT_FALSE(idle.receiveRaw(10000)) << "the connection was closed";
}

TEST(Life, RefusesWhatItCannotServe)
{
    torvosim::Simulator first;
    first.start();
    torvosim::Options options;
    options.httpsPort = first.httpsPort();
    EXPECT_THROW(torvosim::Simulator(options).start(), std::runtime_error);
    options          = {};
    options.ipmiUnix = first.ipmiUnixPath();
    EXPECT_THROW(torvosim::Simulator(options).start(), std::runtime_error) << "somebody serves that socket";
    IpmiClient host(first.ipmiUnixPath());
    EXPECT_THAT(host.exchange("18 01"), testing::StartsWith("1C 01 00")) << "and still does";
    for (const char* line : {"set port x", "nonsense", "link down"}) {
        options              = {};
        options.controlLines = {line};
        EXPECT_THROW(torvosim::Simulator(options).start(), std::runtime_error) << line;
    }
    options        = {};
    options.tlsMin = "1.3";
    options.tlsMax = "1.2";
    EXPECT_THROW(torvosim::Simulator(options).start(), std::runtime_error);
}

}  // namespace
