/** @file KeptConnectionsTest.cpp  Connections that are kept between GETs, at a BMC that counts them. */
#include <sys/wait.h>

#include "DeskBmc.h"

namespace {

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
};

TEST_F(Kept, ConnectionsServeGetsAndNothingElse)
{
    EXPECT_EQ(opens(), 1);
    EXPECT_EQ(opens(), 0);
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
    pointAtTheBmc();
    ASSERT_EQ(logIn(), 0);
    EXPECT_EQ(opens(), 1);
}

}  // namespace
