/** @file RoadTest.cpp  The whole road to the BMC and back: discovery, login, requests, renewal, faults, logout. */
#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/wait.h>

#include <future>
#include <thread>

#include "DeskBmc.h"
#include "OxaAutoUpdateUtils.h"
#include "oxarfutilHelper.h"

namespace {

using nlohmann::json;

class Road : public DeskBmc, public testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(Generations, Road, testing::Bool(),
                         [](const auto& newer) { return newer.param ? "Newer" : "Older"; });

constexpr char kSubscriptions[] = "/redfish/v1/EventService/Subscriptions";

TEST_P(Road, ReadsCreatesPatchesAndDeletes)
{
    start(GetParam());
    ASSERT_EQ(logIn(), 0);
    EXPECT_EQ(sessions(), 1U);
    EXPECT_EQ(send(QVRFUTIL_REQUEST_GET, "/redfish/v1/Systems").http, 200);

    const Answer created = send(QVRFUTIL_REQUEST_POST, kSubscriptions,
                                R"({"Destination":"https://127.0.0.1/x","Protocol":"Redfish","Context":"one"})");
    ASSERT_EQ(created.http, 201) << created.body;
    const std::string path = json::parse(created.body).at("@odata.id");
    EXPECT_EQ(send(QVRFUTIL_REQUEST_PATCH, path.c_str(), R"({"Context":"two"})").http, 200);
    EXPECT_EQ(json::parse(send(QVRFUTIL_REQUEST_GET, path.c_str()).body).at("Context"), "two");
    const Answer deleted = send(QVRFUTIL_REQUEST_DELETE, path.c_str());
    EXPECT_EQ(deleted.status, 0);
    EXPECT_EQ(deleted.http / 100, 2);
    EXPECT_EQ(send(QVRFUTIL_REQUEST_GET, path.c_str()).http, 404);

    EXPECT_EQ(logOut(), 0);
    EXPECT_EQ(sessions(), 0U);
}

TEST_P(Road, AnExpiredSessionIsNewForTheNextRequest)
{
    start(GetParam());
    ASSERT_EQ(logIn(), 0);
    control("expire");
    const Answer expired = send(QVRFUTIL_REQUEST_GET, "/redfish/v1/Systems");
    EXPECT_EQ(expired.http, 401);
    EXPECT_EQ(expired.status, GetParam() ? 104 : 0);
    if (GetParam()) {  // the agent makes sessions there
        QVRFUTILDeleteSessionNewGenAndAbove();
        std::string address = "127.0.0.1", port = std::to_string(bmc.httpsPort());
        QVRFUTILSetIPAddress(address.data(), port.data(), FALSE);
        ASSERT_EQ(logIn(), 0);
    }
    EXPECT_EQ(send(QVRFUTIL_REQUEST_GET, "/redfish/v1/Systems").http, 200);
    EXPECT_EQ(logOut(), 0);
}

TEST_P(Road, NoSessionLeftIsSaidAsSuch)
{
    start(GetParam());
    control("session-limit 0");
    EXPECT_EQ(logIn(), 100015);
    EXPECT_STREQ(g_RedfishSession.SessionID, "-1");
    control("session-limit 200");
}

TEST_F(Road, IPv6EndpointServesTheNewerGeneration)
{
    start(true, true);
    ASSERT_EQ(logIn(), 0);
    EXPECT_EQ(send(QVRFUTIL_REQUEST_GET, "/redfish/v1/Systems").http, 200);
    EXPECT_EQ(logOut(), 0);
}

TEST_F(Road, TheOlderGenerationMakesItsSessionOnDemand)
{
    start(false);
    const Answer answer = send(QVRFUTIL_REQUEST_GET, "/redfish/v1/Systems");
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.http, 200);
    EXPECT_EQ(logOut(), 0);
    EXPECT_EQ(sessions(), 0U);
}

struct Fault {
    const char* name;
    const char* control;
    s32         status;
    u16         http;
};
class Faults : public DeskBmc, public testing::WithParamInterface<Fault> {};

TEST_P(Faults, GiveTheirStatusAndTheNextRequestWorks)
{
    start(true);
    ASSERT_EQ(logIn(), 0);
    control(GetParam().control);
    const Answer answer = send(QVRFUTIL_REQUEST_GET, "/redfish/v1/Systems");
    EXPECT_EQ(answer.status, GetParam().status);
    EXPECT_EQ(answer.http, GetParam().http);
    EXPECT_EQ(send(QVRFUTIL_REQUEST_GET, "/redfish/v1/Systems").http, 200);
    EXPECT_EQ(logOut(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Faults,
    testing::Values(Fault{"Status500", "status 500 GET /redfish/v1/Systems 1", 0, 500},
                    Fault{"CutInTheBody", "cut 300 GET /redfish/v1/Systems 1", 103, 0},
                    Fault{"NothingAtAll", "cut 0 GET /redfish/v1/Systems 1", 103, 0},
                    Fault{"EndlessHeader", "endless-header 2000000 GET /redfish/v1/Systems 1", 103, 0},
                    Fault{"NotHttp", "raw hello GET /redfish/v1/Systems 1", 103, 0},
                    Fault{"TwiceTheHeader", "duplicate Content-Type GET /redfish/v1/Systems 1", 0, 200},
                    Fault{"NoContentType", "drop Content-Type GET /redfish/v1/Systems 1", 0, 200}),
    [](const auto& c) { return std::string(c.param.name); });

TEST_F(DeskBmc, NobodyAtThePort)
{
    start(true);
    std::string address = "127.0.0.1", port = "1";
    QVRFUTILSetIPAddress(address.data(), port.data(), FALSE);
    EXPECT_EQ(logIn(), -1);
}

TEST_F(DeskBmc, AnIpmiChannelThatRefusesGivesTheDiscoverysStatus)
{
    start(false);
    control("ipmi-cc 30 BF C1 1");
    EXPECT_EQ(logIn(), 100008);
    control("ipmi-cc 30 D6 D4 1");
    EXPECT_EQ(logIn(), 100009);
    control("ipmi-cc 06 59 C1 1");
    EXPECT_EQ(logIn(), 100005);
}

TEST_F(DeskBmc, BothFormsOfThePortAreUnderstood)
{
    start(false);
    astring port[6] = {};
    EXPECT_EQ(APMDiscoveryGetIPPort(port), 0);
    EXPECT_EQ(port, std::to_string(bmc.httpsPort()));
    astring newer[8] = {};
    EXPECT_EQ(APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove(newer), 0);
    EXPECT_EQ(newer, std::to_string(bmc.httpsPort()));
}

TEST_F(DeskBmc, AccountsComeAndGo)
{
    start(true);
    astring* password = nullptr;
    ASSERT_EQ(GenerateTorvoUser("guest", "ro", &password), 0);
    EXPECT_EQ(control("user-check guest " + std::string(password)).at("accepted"), true);
    SMFreeMem(password);
    std::string name = "guest";
    EXPECT_EQ(OXADeleteTorvoUser(name.data()), 0);
    const json users = control("users");
    for (const auto& user : users.at("users")) EXPECT_NE(user.at("username"), "guest");
}

TEST_F(DeskBmc, AnUploadArrivesWhole)
{
    start(true);
    ASSERT_EQ(logIn(), 0);
    const std::string path = bmc.stateDir() + "/log.zip";
    std::ofstream(path) << std::string(3'000'000, 'z') << "end";
    std::vector<astring> buffer(4096);
    astring*             at     = buffer.data();
    u32                  length = 0;
    u16                  http   = 0;
    EXPECT_EQ(QVRFUTILSendFileUploadRequest("/redfish/v1/UpdateService/MultipartUpload", path.c_str(), "{\"a\":1}", &at,
                                            static_cast<u32>(buffer.size()), &length, &http),
              0);
    EXPECT_EQ(http, 202) << buffer.data();
    EXPECT_NE(std::string(buffer.data()).find("3000003"), std::string::npos) << buffer.data();
    EXPECT_EQ(logOut(), 0);
}

class Kept : public DeskBmc {
protected:
    void SetUp() override
    {
        start(true);
        ASSERT_EQ(logIn(), 0);
        QVRFUTILKeepConnections(TRUE);
    }
    void TearDown() override
    {
        QVRFUTILKeepConnections(FALSE);
        EXPECT_EQ(logOut(), 0);
        DeskBmc::TearDown();
    }
    /** The connections that one request, expected to succeed, opens. */
    int opens(QVRFUTILRequestType type = QVRFUTIL_REQUEST_GET)
    {
        const int  before = control("stats").at("connections");
        const bool reads  = type == QVRFUTIL_REQUEST_GET;
        EXPECT_EQ(send(type, "/redfish/v1/Systems/System.Embedded.1", reads ? "" : "{}").http, 200);
        return control("stats").at("connections").get<int>() - before;
    }
    /** Descriptors of this process that lead to the BMC's port and would reach a program that it starts. */
    int inherited()
    {
        int count = 0;
        for (int fd = 3; fd < 1024; ++fd) {
            sockaddr_in peer{};
            socklen_t   size = sizeof peer;
            if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
                ntohs(peer.sin_port) == bmc.httpsPort() && (fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0)
                ++count;
        }
        return count;
    }
};

TEST_F(Kept, ConnectionsServeGetsAndNothingElse)
{
    EXPECT_EQ(opens(), 1);
    EXPECT_EQ(opens(), 0);
    EXPECT_EQ(inherited(), 0);
    EXPECT_EQ(opens(QVRFUTIL_REQUEST_PATCH), 1);
    EXPECT_EQ(opens(), 0);
    QVRFUTILKeepConnections(FALSE);
    EXPECT_EQ(opens(), 1);
    EXPECT_EQ(opens(), 1);
}

TEST_F(Kept, ConnectionsThatTheBmcClosesCostNoRequest)
{
    const std::string path = bmc.stateDir() + "/answer";
    for (const char* extra : {"", "Connection: close\r\n"}) {
        std::ofstream(path) << "HTTP/1.1 200 OK\r\n" << extra << "Content-Length: 2\r\n\r\n{}";
        EXPECT_EQ(opens(), 1);
        control("raw @" + path + " GET /redfish/v1/Systems/System.Embedded.1 1");  // and closes
        EXPECT_EQ(opens(), 0);
    }
    EXPECT_EQ(opens(), 1);
    control("cut 0 GET /redfish/v1/Systems/System.Embedded.1 1");  // takes the request and dies
    EXPECT_EQ(opens(), 1);
}

TEST_F(Kept, ConnectionsBelongToOneSessionAndOneProcess)
{
    EXPECT_EQ(opens(), 1);
    const int before = control("stats").at("connections");
    if (const pid_t child = fork(); child == 0) {
        const bool answered = send(QVRFUTIL_REQUEST_GET, "/redfish/v1/Systems").http == 200;
        QVRFUTILKeepConnections(FALSE);
        _exit(answered ? 0 : 1);
    } else {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(control("stats").at("connections").get<int>() - before, 1) << "the child has its own";
    EXPECT_EQ(opens(), 0) << "and left the parent's alone";
    QVRFUTILDeleteSessionNewGenAndAbove();
    std::string address = "127.0.0.1", port = std::to_string(bmc.httpsPort());
    QVRFUTILSetIPAddress(address.data(), port.data(), FALSE);
    ASSERT_EQ(logIn(), 0);
    EXPECT_EQ(opens(), 1);
}

TEST_F(Kept, NoStreamReachesAProgramThatTheProcessStarts)
{
    std::promise<void>          heard;
    QVRFUTILHttpCallbackContext context{&heard, [](SSEEventData* event) {
                                            static_cast<std::promise<void>*>(event->pCallerContext)->set_value();
                                            SMFreeMem(event->pEvent);
                                            SMFreeMem(event);
                                        }};
    void*                       stream = nullptr;
    ASSERT_EQ(QVRFUTILRegisterSSE("/redfish/v1/SSE", &context, &stream), 0);
    while (control("stats").at("streamsOpen") != 1) std::this_thread::yield();
    control("event hello");
    heard.get_future().wait();
    EXPECT_EQ(inherited(), 0);
    EXPECT_EQ(QVRFUTILUnregisterSSE(&stream), 0);
}

TEST_F(DeskBmc, WhatNeedsNoSessionIsServedWithoutOne)
{
    start(true);
    std::vector<astring> buffer(65536);
    astring*             at     = buffer.data();
    u32                  length = 0;
    u16                  http   = 0;
    EXPECT_EQ(QVRFUTILSendRequestNoAuth("/redfish/v1/", &at, static_cast<u32>(buffer.size()), &length, &http), 0);
    EXPECT_EQ(http, 200);
    EXPECT_EQ(QVRFUTILSendRequestNoAuth("/redfish/v1/Systems", &at, static_cast<u32>(buffer.size()), &length, &http),
              0);
    EXPECT_EQ(http, 401);
}

}  // namespace
