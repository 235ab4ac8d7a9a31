/** @file TransferTest.cpp  File upload and the request without a session, against a scripted TLS server. */
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <vector>

#include "RedfishOnTheBench.h"

namespace {

class Transfer : public RedfishOnTheBench {
protected:
    void SetUp() override
    {
        RedfishOnTheBench::SetUp();
        haveSession();
        char      name[] = "/tmp/qvrfutil-upload-XXXXXX";
        const int fd     = mkstemp(name);
        ASSERT_GE(fd, 0);
        close(fd);
        file = name;
        std::ofstream(file) << "log bytes";
    }
    void TearDown() override
    {
        unlink(file.c_str());
        RedfishOnTheBench::TearDown();
    }
    s32 upload() { return upload(file.c_str(), "{\"m\":1}"); }
    s32 upload(const char* path, const char* metadata)
    {
        astring* at = buffer.data();
        return QVRFUTILSendFileUploadRequest("/up", path, metadata, &at, static_cast<u32>(buffer.size()), &length,
                                             &http);
    }
    s32 get(const char* path = "/open")
    {
        astring* at = buffer.data();
        return QVRFUTILSendRequestNoAuth(path, &at, static_cast<u32>(buffer.size()), &length, &http);
    }

    std::string          file;
    std::vector<astring> buffer = std::vector<astring>(16, '#');
    u32                  length = 0;
    u16                  http   = 0;
};

TEST_F(Transfer, UploadSendsMetadataAndFileAsAForm)
{
    server.answer(202, "taken");
    EXPECT_EQ(upload(), 0);
    EXPECT_EQ(http, 202);
    EXPECT_EQ(length, 6U);
    EXPECT_STREQ(buffer.data(), "taken");
    const std::string request  = server.requests().at(0);
    const std::string boundary = request.substr(request.find("boundary=") + 9, 40);
    const std::string base     = file.substr(file.rfind('/') + 1);
    EXPECT_EQ(request.find("POST /up HTTP/1.1\r\n"), 0U);
    EXPECT_NE(request.find("Accept: */*\r\nX-Auth-Token: " + std::string(kToken) + "\r\n"), std::string::npos);
    EXPECT_EQ(request.find("application/json\r\n"), request.rfind("application/json\r\n")) << "of the first part only";
    EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4),
              "--" + boundary.substr(0, boundary.find("\r\n")) +
                  "\r\nContent-Disposition: form-data; name=\"metadata\"\r\nContent-Type: application/json\r\n\r\n"
                  "{\"m\":1}\r\n--" +
                  boundary.substr(0, boundary.find("\r\n")) +
                  "\r\nContent-Disposition: form-data; name=\"LogZip\"; filename=\"" + base +
                  "\"\r\nContent-Type: application/octet-stream\r\n\r\nlog bytes\r\n--" +
                  boundary.substr(0, boundary.find("\r\n")) + "--\r\n");
}

TEST_F(Transfer, UploadRefusesWhatItCannotSend)
{
    EXPECT_EQ(upload(nullptr, "{}"), 102);
    EXPECT_EQ(upload(file.c_str(), nullptr), 102);
    EXPECT_EQ(upload("/nonexistent/log.zip", "{}"), 103);
    EXPECT_EQ(upload("/tmp", "{}"), 103);
    expectError("[QVRFUTIL] QVRFUTILOSSendFileUploadRequest: ERROR: Invalid arguments, returning..\n");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(Transfer, UploadTakesAnEmptyFile)
{
    std::ofstream(file, std::ios::trunc).close();
    server.answer(202, "");
    EXPECT_EQ(upload(), 0);
    EXPECT_NE(server.requests().at(0).find("octet-stream\r\n\r\n\r\n--"), std::string::npos);
}

TEST_F(Transfer, UploadFollowsTheSessionProtocol)
{
    put(g_RedfishSession.SessionID, "-1");
    EXPECT_EQ(upload(), 101) << "newer generation, no session";
    haveSession();
    server.answer(401, "");
    EXPECT_EQ(upload(), 104) << "newer generation, session expired";

    giSServerNewGenAndAbove = FALSE;
    server.answer(401, "expired");
    expectDiscovery();
    answerLogin();
    EXPECT_EQ(upload(), 0);
    EXPECT_EQ(http, 401);
    EXPECT_STREQ(buffer.data(), "expired");

    g_isRedfishSessionRequested = TRUE;
    server.answer(401, "");
    EXPECT_EQ(upload(), 104) << "another thread renews";
    put(g_RedfishSession.SessionID, "-1");
    server.answer(202, "");
    EXPECT_EQ(upload(), 0) << "goes ahead with the stale record";
    expectError(
        "[QVRFUTIL] QVRFUTILAcquireSessionCreationLock: Failed to Send GET due to session failure. Please Retry\n");
}

TEST_F(Transfer, NoAuthCarriesNoToken)
{
    put(g_RedfishSession.SessionID, "-1");
    server.answer(401, "whatever");
    EXPECT_EQ(get(), 0) << "every HTTP status is handed back";
    EXPECT_EQ(http, 401);
    EXPECT_STREQ(buffer.data(), "whatever");
    EXPECT_EQ(server.requests().at(0), "GET /open HTTP/1.1\r\nHost: 127.0.0.1:" + server.port() +
                                           "\r\nAccept: */*\r\nContent-type: application/json\r\n\r\n");
    EXPECT_TRUE(bmc.callsOf("SMqvoxaPBKDF2Decrypt").empty());
}

TEST_F(Transfer, BuffersHoldTheBodyAndItsNul)
{
    for (const bool uploading : {true, false}) {
        server.answer(200, std::string(15, 'b'));
        EXPECT_EQ(uploading ? upload() : get(), 0);
        server.answer(200, std::string(16, 'b'));
        EXPECT_EQ(uploading ? upload() : get(), 100);
        EXPECT_EQ(length, 17U);
    }
}

TEST_F(Transfer, NoAuthFailures)
{
    EXPECT_EQ(get(nullptr), 102);
    EXPECT_EQ(QVRFUTILSendRequestNoAuth("/x", nullptr, 0, &length, &http), 102);
    server.answer({"", false});
    EXPECT_EQ(get(), -1);
    expectError("[QVRFUTIL]QVRFUTILOSSendRequestNoAuth: curl_easy_perform Failed with IPv = 127.0.0.1,  port = " +
                server.port() + "\n");
}

TEST_F(Transfer, EveryFailureGivesAStatusAndFreesEverything)
{
    for (const bool uploading : {true, false}) {
        const auto prepare = [&] {
            start();
            haveSession();
            server.answer(200, "ok");
        };
        const auto send = [&] {
            const s32 status = uploading ? upload() : get();
            stop();
            return status;
        };
        EXPECT_GE(walkFailures(prepare, send), uploading ? 3U : 1U);
        unsigned nth = 1;
        for (s32 status = -1; status != 0; ++nth) {
            ASSERT_LT(nth, 60U);
            prepare();
            bench::failCurlCall(nth);
            status                   = send();
            const std::string failed = bench::failedCurlCall();
            if (!failed.empty() && status != 0) {
                // Without URL the transfer fails, and the request without session has a status of its own for that.
                const bool transferFailed = failed == "curl_easy_perform" || (status == -1 && !uploading);
                EXPECT_EQ(status, transferFailed && !uploading ? -1 : 103) << failed;
            }
        }
        EXPECT_GT(nth, 12U);
    }
}

}  // namespace
