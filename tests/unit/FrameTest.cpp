/** @file FrameTest.cpp  Start and stop, the session record, its endpoint, the firmware check. */
#include <cstddef>

#include "RedfishOnTheBench.h"
#include "qvrfutilSession.h"

namespace {

class Frame : public RedfishOnTheBench {};

TEST_F(Frame, RecordKeepsItsLayout)
{
    EXPECT_EQ(offsetof(QVRFUTILSession, IPAddress), 6U);
    EXPECT_EQ(offsetof(QVRFUTILSession, SessionID), 54U);
    EXPECT_EQ(offsetof(QVRFUTILSession, EncryptedSessionToken), 119U);
    EXPECT_EQ(offsetof(QVRFUTILSession, pb64Text), 250U);
    EXPECT_EQ(offsetof(QVRFUTILSession, pb64Key), 385U);
    EXPECT_EQ(offsetof(QVRFUTILSession, pb64Text_ptr), 1152U);
    EXPECT_EQ(offsetof(QVRFUTILSession, isOAuth), 1176U);
    EXPECT_EQ(offsetof(QVRFUTILSession, UserName), 1178U);
    EXPECT_EQ(offsetof(QVRFUTILSession, IPVersion), 1208U);
}

TEST_F(Frame, FieldsTakeTextsThatFillTheirMemory)
{
    const astring                             full[]  = {'a', 'b', 'c', 'd'};
    const std::pair<std::size_t, const char*> rooms[] = {{2, "ab"}, {4, "abcd"}};
    for (const auto& [room, expected] : rooms) {
        astring field[6] = "stale";
        qvrf::assign(field, full, room);
        EXPECT_STREQ(field, expected);
    }
}

TEST_F(Frame, InitResetsTheRecordAndKeepsTheLock)
{
    haveSession();
    void* const lock                       = g_SessionCreationLock;
    giSServerNewGenAndAbove                = FALSE;
    g_RedfishSession.pb64KeyLen            = 99;
    const std::pair<booln, s32> versions[] = {{FALSE, 4}, {TRUE, 6}};
    for (const auto& [ipv6, version] : versions) {
        EXPECT_EQ(QVRFUTILInit(ipv6), 0);
        EXPECT_EQ(g_RedfishSession.IPVersion, version);
        EXPECT_STREQ(g_RedfishSession.SessionID, "-1");
        EXPECT_STREQ(g_RedfishSession.Port, "443");
        EXPECT_STREQ(g_RedfishSession.IPAddress, "");
        EXPECT_STREQ(g_RedfishSession.EncryptedSessionToken, "");
        EXPECT_STREQ(g_RedfishSession.pb64Text, "");
        EXPECT_STREQ(g_RedfishSession.pb64Key, "");
        EXPECT_STREQ(g_RedfishSession.UserName, "");
        EXPECT_STREQ(g_RedfishSession.Privilege, "");
        EXPECT_TRUE(giSServerNewGenAndAbove);
    }
    EXPECT_EQ(g_RedfishSession.pb64KeyLen, 99U);
    EXPECT_TRUE(g_RedfishSession.isOAuth);
    EXPECT_EQ(g_SessionCreationLock, lock);
    EXPECT_EQ(bmc.liveMutexes(), 1U);
}

TEST_F(Frame, CleanUpDestroysTheLockOnceAndLeavesTheRecord)
{
    haveSession();
    QVRFUTILCleanUp();
    EXPECT_EQ(g_SessionCreationLock, nullptr);
    EXPECT_EQ(bmc.liveMutexes(), 0U);
    QVRFUTILCleanUp();
    EXPECT_EQ(bmc.callsOf("SMMutexDestroy").size(), 1U);
    EXPECT_STREQ(g_RedfishSession.SessionID, "7");
}

struct Endpoint {
    const char* name;
    const char *address, *port;
    booln       ipv6;
    const char *stored, *storedPort;
    s32         version;
};
class SetIPAddress : public Frame, public testing::WithParamInterface<Endpoint> {};

TEST_P(SetIPAddress, StoresWhatGoesIntoAUrl)
{
    const Endpoint& c       = GetParam();
    std::string     address = c.address, port = c.port;
    EXPECT_EQ(QVRFUTILSetIPAddress(address.data(), port.data(), c.ipv6), 0);
    EXPECT_STREQ(g_RedfishSession.IPAddress, c.stored);
    EXPECT_STREQ(g_RedfishSession.Port, c.storedPort);
    EXPECT_EQ(g_RedfishSession.IPVersion, c.version);
}

const std::string kFits(46, '1');
const std::string kTooLong(47, '1');
INSTANTIATE_TEST_SUITE_P(Endpoints, SetIPAddress,
                         testing::Values(Endpoint{"IPv4", "169.254.1.1", "443", 0, "169.254.1.1", "443", 4},
                                         Endpoint{"IPv6", "fe80::1", "8443", 1, "[fe80::1]", "8443", 6},
                                         Endpoint{"OnlyOneMeansIPv6", "fe80::1", "443", 2, "fe80::1", "443", 4},
                                         Endpoint{"FiveDigits", "10.0.0.1", "10443", 0, "10.0.0.1", "", 4},
                                         Endpoint{"Longest", kFits.c_str(), "1", 0, kFits.c_str(), "1", 4},
                                         Endpoint{"TooLong", kTooLong.c_str(), "1", 0, "", "1", 4}),
                         NameOfCase());

TEST_F(Frame, SetIPAddressRefusesNullAndKeepsTheVersion)
{
    std::string address = "fe80::1", port = "443";
    EXPECT_EQ(QVRFUTILSetIPAddress(nullptr, port.data(), 0), 271);
    EXPECT_EQ(QVRFUTILSetIPAddress(address.data(), nullptr, 1), 271);
    EXPECT_EQ(g_RedfishSession.IPVersion, 4);
    EXPECT_STREQ(g_RedfishSession.IPAddress, "127.0.0.1");
    QVRFUTILSetIPAddress(address.data(), port.data(), 1);
    QVRFUTILSetIPAddress(address.data(), port.data(), 0);
    EXPECT_EQ(g_RedfishSession.IPVersion, 6) << "a plain address leaves the version as it is";
    EXPECT_STREQ(g_RedfishSession.IPAddress, "fe80::1");
}

TEST_F(Frame, CopiesTheRecordWithoutANewSession)
{
    haveSession();
    for (const booln requested : {booln{0}, booln{2}, booln{-1}}) {
        QVRFUTILSession copy{};
        EXPECT_EQ(QVRFUTILGetRFSessionInfo(&copy, requested), 0);
        EXPECT_EQ(std::memcmp(&copy, &g_RedfishSession, sizeof copy), 0);
    }
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(Frame, ForcedNewSessionMarksTheRecordAndReturnsTheFailure)
{
    haveSession();
    giSServerNewGenAndAbove = FALSE;
    bmc.expect("C0 BF 01").fails();
    QVRFUTILSession copy{};
    put(copy.SessionID, "mine");
    EXPECT_EQ(QVRFUTILGetRFSessionInfo(&copy, 1), 100008);
    EXPECT_STREQ(copy.SessionID, "mine");
    for (const astring* field : {g_RedfishSession.SessionID, g_RedfishSession.IPAddress, g_RedfishSession.Port,
                                 g_RedfishSession.EncryptedSessionToken})
        EXPECT_STREQ(field, "-1");
    EXPECT_EQ(g_RedfishSession.IPVersion, 4);
    EXPECT_STREQ(g_RedfishSession.UserName, "root");
    expectError("QVRFUTILGetRFSessionInfo : Session creation failed.\n");
}

struct Firmware {
    const char* name;
    u16         major, minor;
    s32         status;
    booln       passes;
};
class PrereqCheck : public Frame, public testing::WithParamInterface<Firmware> {};

TEST_P(PrereqCheck, WantsSixTen)
{
    const Firmware& c = GetParam();
    bmc.firmware      = {c.major, c.minor, 0, c.status};
    EXPECT_EQ(TorvoRedfishPrereqCheck(), c.passes);
    expectTrace("\n\nTorvoRedfishPrereqCheck: Exiting... prereqCheck: " + std::to_string(c.passes) + "\n");
}

INSTANTIATE_TEST_SUITE_P(Versions, PrereqCheck,
                         testing::Values(Firmware{"SixNine", 6, 9, 0, 0}, Firmware{"SixTen", 6, 10, 0, 1},
                                         Firmware{"SevenZero", 7, 0, 0, 1}, Firmware{"FiveMany", 5, 60, 0, 0},
                                         Firmware{"Unreadable", 7, 0, 1, 0}),
                         NameOfCase());

}  // namespace
