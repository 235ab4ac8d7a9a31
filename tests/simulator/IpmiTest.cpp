/** @file IpmiTest.cpp  What the BMC answers on its IPMI sockets, byte for byte. */
#include "Desk.h"

namespace {

struct Exchange {
    const char* name;
    const char* setUp;  ///< a control line
    const char* request;
    const char* reply;
};

class IpmiExchange : public Desk, public testing::WithParamInterface<Exchange> {};

TEST_P(IpmiExchange, IsAnsweredAsTheWireHasIt)
{
    IpmiClient host(sim().ipmiUnixPath());
    control("set usbnic.hash off");
    control(GetParam().setUp);
    EXPECT_EQ(host.exchange(GetParam().request), GetParam().reply);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, IpmiExchange,
    testing::Values(
        Exchange{"FirmwareVersion", "set firmware 7.10.300", "C0 BF 01", "C4 BF 00 07 0A 2C 01 00 00 00 00 00 00"},
        Exchange{"FirmwareVersionOfAnotherKind", "faults", "C0 BF 02", "C4 BF CC"},
        Exchange{"FirmwareVersionWithoutData", "faults", "C0 BF", "C4 BF C7"},
        Exchange{"PackageLength", "set package 5.2.0.17", "C0 D6 01 05 02 00 00 00 00",
                 "C4 D6 00 00 00 00 00 00 09 00"},
        Exchange{"PackageText", "set package 5.2.0.17", "C0 D6 01 05 09 00 00 00 09",
                 "C4 D6 00 00 00 00 00 00 00 00 35 2E 32 2E 30 2E 31 37"},
        Exchange{"PackageTextOfOneCharacter", "set package 5", "C0 D6 01 05 02 00 00 00 02",
                 "C4 D6 00 00 00 00 00 00 00 00 35"},
        Exchange{"NoPackage", "set package \"\"", "C0 D6 01 05 02 00 00 00 00", "C4 D6 00 00 00 00 00 00 01 00"},
        Exchange{"UsbNicLengthHighByteFirst", "set usbnic.ipv4 1.2.3.4", "C0 D6 01 00 01 00 00 00",
                 "C4 D6 00 00 00 00 00 00 08"},
        Exchange{"UsbNicText", "set usbnic.ipv4 1.2.3.4", "C0 D6 01 00 08 00 00 00",
                 "C4 D6 00 00 00 00 00 00 00 00 31 2E 32 2E 33 2E 34"},
        Exchange{"UsbNicV6", "set usbnic.ipv6 fe80::a01", "C0 CF 01 02 14 00 00 00 01",
                 "C4 CF 00 00 00 00 00 00 00 00 00 00 FE 80 00 00 00 00 00 00 00 00 00 00 00 00 0A 01"},
        Exchange{"PassThroughMode", "set passthrough.mode 21", "C0 CF 01 00 04 00 00 00 00",
                 "C4 CF 00 00 00 00 00 00 00 00 15 00"},
        Exchange{"PassThroughWriteOfWrongLength", "faults", "C0 CF 00 00 04 00 24 00 00 00", "C4 CF C7"},
        Exchange{"PassThroughWriteElsewhere", "faults", "C0 CF 00 00 02 00 30 00 00 00", "C4 CF CC"},
        Exchange{"UrlBlock0", "set port 443", "18 59 00 DE 00 00",
                 "1C 59 00 11 00 00 15 68 74 74 70 73 3A 2F 2F 31 32 37 2E 30 2E"},
        Exchange{"UrlBlock1", "set port 443", "18 59 00 DE 01 00",
                 "1C 59 00 11 01 30 2E 31 3A 34 34 33 00 00 00 00 00 00 00 00 00"},
        Exchange{"UrlEmpty", "set url.empty on", "18 59 00 DE 00 00",
                 "1C 59 00 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        Exchange{"SystemInfoOfAnotherParameter", "faults", "18 59 00 01 00 00", "1C 59 80"},
        Exchange{"NewerPort", "set port 443", "B8 02 C7 03 00 00 0C 00 00 00 FF",
                 "BC 02 00 C7 03 00 00 BB 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        Exchange{"DeviceId", "set firmware 7.10.30", "18 01", "1C 01 00 20 01 07 10 02 1F C7 03 00 01 00 1E 00 00 00"},
        Exchange{"UnknownCommand", "faults", "18 FF", "1C FF C1"},
        Exchange{"UnknownNetFn", "faults", "10 01", "14 01 C1"}),
    [](const auto& c) { return std::string(c.param.name); });

class Ipmi : public Desk {};

/** The address and the port of the reply must lead back to the service: no test sets them here. */
TEST_F(Ipmi, TellsWhereTheServiceIs)
{
    IpmiClient        host(sim().ipmiUnixPath());
    const std::string text   = "127.0.0.1#" + std::to_string(sim().httpsPort());
    const auto        length = static_cast<std::uint8_t>(text.size() + 1);
    EXPECT_EQ(host.exchangeBytes({0xC0, 0xD6, 1, 0, 1, 0, 0, 0}).at(8), length);
    const auto reply = host.exchangeBytes({0xC0, 0xD6, 1, 0, length, 0, 0, 0});
    ASSERT_EQ(reply.size(), length + 9u);
    EXPECT_EQ(std::string(reply.begin() + 10, reply.end()), text);
    EXPECT_LE(sim().httpsPort(), 9999);
}

TEST_F(Ipmi, StoresThePassThroughSetting)
{
    IpmiClient host(sim().ipmiUnixPath());
    for (const char* request : {"C0 CF 00 00 04 00 00 00 2A 00 00 15",
                                "C0 CF 00 00 10 00 04 00 31 36 39 2E 32 35 34 2E 31 2E 31 00 00 00 00 00",
                                "C0 CF 00 00 10 00 14 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
                                "C0 CF 00 00 04 00 24 00 00 00 00 00", "C0 CF 00 00 02 00 28 00 00 00"})
        EXPECT_EQ(host.exchange(request), "C4 CF 00 00 00 00 00 00") << request;
    EXPECT_EQ(fact("passthrough.mode"), "21");
    EXPECT_EQ(fact("passthrough.bmc"), "169.254.1.1");
    EXPECT_EQ(fact("passthrough.host"), "");

    EXPECT_EQ(host.exchange("C0 CF 00 00 04 00 00 00 2A 00 00 07"), "C4 CF CC");
    EXPECT_EQ(fact("passthrough.mode"), "21") << "a refused write changes nothing";
}

TEST_F(Ipmi, ServesSeveralHostsAtOnceAndOverTcp)
{
    torvosim::Options options;
    options.ipmiTcp = "127.0.0.1:0";
    start(options);
    IpmiClient first(sim().ipmiUnixPath());
    IpmiClient second(sim().ipmiUnixPath());
    IpmiClient third(sim().ipmiTcp());
    first.sendRaw({0x01, 0x18});  // begins a message and does not end it
    EXPECT_THAT(second.exchange("18 01"), testing::StartsWith("1C 01 00"));
    EXPECT_THAT(third.exchange("18 01"), testing::StartsWith("1C 01 00"));
}

TEST_F(Ipmi, AnswersDeviceCommandsAndSurvivesGarbage)
{
    IpmiClient host(sim().ipmiUnixPath());
    host.sendRaw(bytesOf("FF 01 A1"));
    EXPECT_EQ(hexOf(host.receiveRaw(10000).value_or(IpmiClient::Bytes{})), "FF 01 A1");
    host.sendRaw(bytesOf("08 3F A1 04 A1 A1 FF A0 AA AA A0"));
    EXPECT_THAT(host.exchange("18 01"), testing::StartsWith("1C 01 00"));
    EXPECT_EQ(control("stats")["ipmiFramesDropped"], 3);
}

/** A driver turns the interrupts of its interface on and off; the interface is told ahead of the reply. */
TEST_F(Ipmi, TellsTheInterfaceWhetherRepliesInterrupt)
{
    IpmiClient host(sim().ipmiUnixPath());
    const auto next = [&] { return hexOf(host.receiveRaw(10000).value_or(IpmiClient::Bytes{})); };
    host.sendRaw(bytesOf("07 18 2E 09 AA BA A0"));
    EXPECT_EQ(next(), "05 A1");
    EXPECT_EQ(next(), "07 1C 2E 00 AF A0");
    EXPECT_EQ(host.exchange("18 2F"), "1C 2F 00 09");
    host.sendRaw(bytesOf("07 18 2E 08 AB A0"));
    EXPECT_EQ(next(), "06 A1");
    EXPECT_EQ(next(), "07 1C 2E 00 AF A0");
    EXPECT_EQ(host.exchange("18 2E"), "1C 2E C7");
}

struct Fault {
    const char* name;
    const char* line;
    const char* reply;  ///< to a firmware request
};
class IpmiFault : public Desk, public testing::WithParamInterface<Fault> {};

TEST_P(IpmiFault, HoldsForItsCountAndItsCommandAlone)
{
    IpmiClient host(sim().ipmiUnixPath());
    control("set firmware 7.10.30");
    control(GetParam().line);
    EXPECT_THAT(host.exchange("18 01"), testing::StartsWith("1C 01 00"));
    EXPECT_EQ(host.exchange("C0 BF 01"), GetParam().reply);
    EXPECT_EQ(host.exchange("C0 BF 01"), GetParam().reply);
    EXPECT_EQ(host.exchange("C0 BF 01"), "C4 BF 00 07 0A 1E 00 00 00 00 00 00 00");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, IpmiFault,
    testing::Values(Fault{"Completion", "ipmi-cc 30 BF C0 2", "C4 BF C0"},
                    Fault{"Short", "ipmi-short 30 BF 2 2", "C4 BF 00 07"},
                    Fault{"Empty", "ipmi-short 30 BF 0 2", "C4 BF"},
                    Fault{"Long", "ipmi-long 30 BF 2 2", "C4 BF 00 07 0A 1E 00 00 00 00 00 00 00 5A 5A"},
                    Fault{"Reply", "ipmi-reply 30 bf \"00 A0 AA\" 2", "C4 BF 00 A0 AA"},
                    Fault{"Delay", "ipmi-delay 30 BF 1 2", "C4 BF 00 07 0A 1E 00 00 00 00 00 00 00"}),
    [](const auto& c) { return std::string(c.param.name); });

TEST_F(Ipmi, IsSilentOrTalksNonsenseOnRequest)
{
    IpmiClient host(sim().ipmiUnixPath());
    control("ipmi-silent * *");
    host.sendRaw(bytesOf("01 18 01 E6 A0"));
    // The next exchange's reply is the first thing to come: the one before it stayed unanswered.
    EXPECT_THAT(host.exchange("18 01"), testing::StartsWith("1C 01 00"));
    control("ipmi-garbage 06 * 010203A0");
    host.sendRaw(bytesOf("01 18 01 E6 A0"));
    EXPECT_EQ(hexOf(host.receiveRaw(10000).value_or(IpmiClient::Bytes{})), "01 02 03 A0");
}

}  // namespace
