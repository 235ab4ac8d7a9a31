/** @file RequestTest.cpp  The authenticated requests, against a scripted TLS server. */
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <vector>

#include "RedfishOnTheBench.h"
#include "qvrfutilLX.h"
#include "qvrfutilLXSession.h"

namespace {

constexpr s32 kUntouched = 4711;

/** One call of QVRFUTILSendRequest and what it wrote. */
struct Call {
    std::vector<astring> buffer  = std::vector<astring>(64, '#');
    u32                  length  = kUntouched;
    u16                  http    = kUntouched;
    booln                wanted  = FALSE;
    astring*             headers = nullptr;
    std::string          body    = "{\"a\":1}";
    const char*          file    = nullptr;

    s32 send(QVRFUTILRequestType type, const char* path = "/redfish/v1/x")
    {
        astring* at = buffer.data();
        return QVRFUTILSendRequest(path, body.data(), &at, static_cast<u32>(buffer.size()), &length, type, &http,
                                   wanted, &headers, const_cast<astring*>(file));
    }
};

class Request : public RedfishOnTheBench {
protected:
    void SetUp() override
    {
        RedfishOnTheBench::SetUp();
        haveSession();
    }
    /** The BMC forgets the session: from now on it is made anew. */
    void loseSession() { put(g_RedfishSession.SessionID, "-1"); }
};

struct Method {
    const char*         name;
    QVRFUTILRequestType type;
    const char*         line;       // as it goes out
    const char*         headers;    // between Host and the end
    const char*         body;       // as it goes out
    s32                 loggedOut;  // newer generation, no session
    const char*         loggedOutText;
    const char*         unauthorisedText;
    bool                usesOldCopy;
};
class Methods : public Request, public testing::WithParamInterface<Method> {};

#define AUTH  "X-Auth-Token: 0123456789abcdef0123456789ABCDEF\r\n"
#define JSON  "Content-type: application/json\r\n"
#define RETRY " due to session failure. Please Retry\n"
const Method kMethods[] = {
    {"Get", QVRFUTIL_REQUEST_GET, "GET", "Accept: */*\r\n" AUTH JSON, "", 101,
     " QVRFUTILOSGETRequest: Could not get Redfish Session Info ! \n",
     "[QVRFUTIL]QVRFUTILOSGETRequest: Failed to Send GET" RETRY, false},
    {"Post", QVRFUTIL_REQUEST_POST, "POST", "Accept: */*\r\n" AUTH JSON "Content-Length: 7\r\n", "{\"a\":1}", 104,
     "QVRFUTILOSPOSTRequest: Failed to Send POST" RETRY, "[QVRFUTIL]QVRFUTILOSPOSTRequest: Failed to Send POST" RETRY,
     true},
    {"Delete", QVRFUTIL_REQUEST_DELETE, "DELETE", "Accept: */*\r\n" AUTH, "", 104,
     "QVRFUTILOSDELETERequest: Failed to Send delete" RETRY,
     "[QVRFUTIL]QVRFUTILOSDELETERequest: Failed to Send delete" RETRY, true},
    {"Patch", QVRFUTIL_REQUEST_PATCH, "PATCH", "Accept: */*\r\n" AUTH JSON "Content-Length: 7\r\n", "{\"a\":1}", 104,
     "QVRFUTILOSPATCHRequest: Failed to Send PATCH" RETRY,
     "[QVRFUTIL]QVRFUTILOSPATCHRequest: Failed to Send PATCH" RETRY, true},
};
INSTANTIATE_TEST_SUITE_P(All, Methods, testing::ValuesIn(kMethods), NameOfCase());

TEST_P(Methods, GoOutAsAgreedWithTheBmc)
{
    server.answer(200, "hello");
    Call call;
    EXPECT_EQ(call.send(GetParam().type), 0);
    EXPECT_EQ(call.http, 200);
    EXPECT_EQ(call.length, 6U);
    EXPECT_STREQ(call.buffer.data(), "hello");
    EXPECT_EQ(server.requests().at(0), std::string(GetParam().line) + " /redfish/v1/x HTTP/1.1\r\nHost: 127.0.0.1:" +
                                           server.port() + "\r\n" + GetParam().headers + "\r\n" + GetParam().body);
    const std::string verb = GetParam().line, known = verb == "DELETE" ? "GET" : verb;  // it has no line of its own
    expectTrace("QVRFUTILOS" + verb + "Request: p" + known + "Url = https://127.0.0.1:" + server.port() +
                "/redfish/v1/x.\n");
}

TEST_P(Methods, WithoutSessionOnTheNewerGenerationAreRefused)
{
    for (const char* id : {"-1", "-", ""}) {
        put(g_RedfishSession.SessionID, id);
        Call call;
        EXPECT_EQ(call.send(GetParam().type), GetParam().loggedOut) << id;
        EXPECT_EQ(call.http, kUntouched);
    }
    expectError(GetParam().loggedOutText);
    EXPECT_TRUE(server.requests().empty());
}

TEST_P(Methods, Unauthorised401OnTheNewerGenerationIsRefused)
{
    server.answer(401, "expired");
    Call call;
    EXPECT_EQ(call.send(GetParam().type), 104);
    EXPECT_EQ(call.http, 401);
    expectError(GetParam().unauthorisedText);
}

TEST_P(Methods, Renew401SessionsForTheNextRequest)
{
    giSServerNewGenAndAbove = FALSE;
    server.answer(401, "expired");
    expectDiscovery();
    answerLogin(kOtherToken);
    server.answer(200, "again");
    Call call;
    EXPECT_EQ(call.send(GetParam().type), 0);
    EXPECT_EQ(call.http, 401);
    EXPECT_STREQ(call.buffer.data(), "expired") << "the answer is handed back, the request not sent again";
    EXPECT_FALSE(g_isRedfishSessionRequested);
    Call next;
    EXPECT_EQ(next.send(GetParam().type), 0);
    EXPECT_EQ(next.http, 200);
    EXPECT_NE(server.requests().at(2).find(kOtherToken), std::string::npos);
}

TEST_P(Methods, MakeTheFirstSessionOnTheOlderGeneration)
{
    giSServerNewGenAndAbove = FALSE;
    loseSession();
    expectDiscovery();
    answerLogin();
    server.answer(200, "hello");
    Call call;
    EXPECT_EQ(call.send(GetParam().type), 0);
    EXPECT_STREQ(call.buffer.data(), "hello");
    EXPECT_NE(server.requests().at(1).find(kOtherToken), std::string::npos);
}

TEST_P(Methods, MeetAnotherThreadThatRenews)
{
    giSServerNewGenAndAbove     = FALSE;
    g_isRedfishSessionRequested = TRUE;
    loseSession();
    if (GetParam().usesOldCopy) server.answer(200, "old copy will do");
    Call first;
    EXPECT_EQ(first.send(GetParam().type), GetParam().usesOldCopy ? 0 : 104);
    expectError("QVRFUTILAcquireSessionCreationLock: Failed to Send GET" RETRY);

    put(g_RedfishSession.SessionID, "7");
    server.answer(401, "");
    Call unauthorised;
    EXPECT_EQ(unauthorised.send(GetParam().type), 104);
    EXPECT_TRUE(g_isRedfishSessionRequested) << "the flag is the other thread's";
}

TEST_P(Methods, DifferOverALockThatCannotBeHad)
{
    giSServerNewGenAndAbove = FALSE;
    server.answer(401, "");
    bmc.lockTimeouts = 1;
    Call unauthorised;
    EXPECT_EQ(unauthorised.send(GetParam().type), 104) << "after a 401 nothing is made without the lock";

    loseSession();
    expectDiscovery();
    answerLogin();
    server.answer(200, "");
    bmc.lockTimeouts = 1;
    Call first;
    EXPECT_EQ(first.send(GetParam().type), 0) << "the first session is";
}

TEST_P(Methods, PassAFailedCreationOn)
{
    giSServerNewGenAndAbove = FALSE;
    loseSession();
    bmc.expect("C0 BF 01").fails();
    Call first;
    EXPECT_EQ(first.send(GetParam().type), 100008);
    EXPECT_FALSE(g_isRedfishSessionRequested);
    start();
    haveSession();
    giSServerNewGenAndAbove = FALSE;
    server.answer(401, "");
    bmc.expect("C0 BF 01").fails();
    Call unauthorised;
    EXPECT_EQ(unauthorised.send(GetParam().type), 100008);
}

TEST_P(Methods, GiveAStatusForEveryFailureAndFreeEverything)
{
    const u32 calls = walkFailures(
        [&] {
            start();
            haveSession();
            server.answer(200, "hello");
        },
        [&] {
            Call      call;
            const s32 status = call.send(GetParam().type);
            stop();
            return status;
        },
        [](const std::string& failed, s32 status) {
            if (failed == "SMAllocMem") {
                EXPECT_TRUE(status == 101 || status == -1) << status;
            }
        });
    EXPECT_GE(calls, 3U);
    start();
    haveSession();
    unsigned nth = 1;
    for (s32 status = -1; status != 0; ++nth) {
        ASSERT_LT(nth, 60U);
        server.answer(200, "hello");
        bench::failCurlCall(nth);
        Call call;
        status                   = call.send(GetParam().type);
        const std::string failed = bench::failedCurlCall();
        if (!failed.empty() && status != 0) {
            EXPECT_EQ(status, 103) << failed;
        }
    }
    EXPECT_GT(nth, 14U);
}

TEST_F(Request, AnIdentifierThatOnlyBeginsLikeNoneIsOne)
{
    put(g_RedfishSession.SessionID, "-12");
    server.answer(200, "");
    Call call;
    EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET), 0);
}

TEST_F(Request, FlagStaysSetWhenTheLockIsLostForGood)
{
    giSServerNewGenAndAbove = FALSE;
    loseSession();
    bmc.lockTimeouts = 4;
    expectDiscovery();
    answerLogin();
    server.answer(200, "");
    g_isRedfishSessionRequested = TRUE;
    Call call;
    EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET), 0);
    EXPECT_EQ(bmc.callsOf("SMMutexLock").size(), 4U);
    EXPECT_TRUE(g_isRedfishSessionRequested);
    expectError("QVRFUTILReleaseSessionCreationLock : Retrying to acquire lock.\n ");
}

TEST_F(Request, AForkedChildDoesNotWaitForTheParentsRenewal)
{
    ASSERT_EQ(qvrf::QVRFUTILAcquireSessionCreationLock(qvrf::kRequestTexts), qvrf::Claim::ours);
    const pid_t child = fork();
    if (child == 0) _exit(g_isRedfishSessionRequested ? 1 : 0);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(g_isRedfishSessionRequested);
}

struct Fit {
    const char* name;
    std::size_t body, capacity;
    s32         status;
};
class Buffer : public Request, public testing::WithParamInterface<Fit> {};

TEST_P(Buffer, TakesTheBodyAndItsNul)
{
    const std::string body(GetParam().body, 'b');
    server.answer(200, body);
    Call call;
    call.buffer.assign(GetParam().capacity, '#');
    EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET), GetParam().status);
    EXPECT_EQ(call.length, GetParam().body + 1);
    std::vector<astring> expected(GetParam().capacity, GetParam().status == 0 ? '\0' : '#');
    if (GetParam().status == 0) std::copy(body.begin(), body.end(), expected.begin());
    EXPECT_EQ(call.buffer, expected);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Buffer,
                         testing::Values(Fit{"Exactly", 63, 64, 0}, Fit{"OneMore", 64, 64, 100}, Fit{"Less", 3, 64, 0},
                                         Fit{"None", 0, 64, 0}, Fit{"NoneInOneByte", 0, 1, 0}, Fit{"NoRoom", 0, 0, 100},
                                         Fit{"Large", 300000, 300001, 0}),
                         NameOfCase());

TEST_F(Request, HandsOutTheHeadersOnRequest)
{
    server.answer(200, "body that does not fit", "X-Odd: yes\r\n");
    Call call;
    call.buffer.resize(4);
    call.wanted = 1;
    EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET), 100);
    ASSERT_NE(call.headers, nullptr) << "they stay with the caller";
    EXPECT_STREQ(call.headers, "HTTP/1.1 200 Said\r\nContent-Length: 22\r\nX-Odd: yes\r\n\r\n");
    SMFreeMem(call.headers);

    server.answer(200, "");
    astring stale;
    Call    without;
    without.headers = &stale;
    without.wanted  = 2;
    EXPECT_EQ(without.send(QVRFUTIL_REQUEST_GET), 0);
    EXPECT_EQ(without.headers, nullptr);
}

struct Odd {
    const char* name;
    std::string bytes;
    s32         status;
};

/** 1.4 MB of trailers, which no answer has. */
std::string endlessTrailers()
{
    std::string bytes = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n";
    for (int i = 0; i < 20000; ++i) bytes += "X: " + std::string(64, 'x') + "\r\n";
    return bytes + "\r\n";
}

class OddAnswers : public Request, public testing::WithParamInterface<Odd> {};

TEST_P(OddAnswers, GetTheirStatus)
{
    for (const char* file : {static_cast<const char*>(nullptr), "/dev/null"}) {
        server.answer({GetParam().bytes, false});
        Call call;
        call.file = file;
        EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET), GetParam().status) << (file != nullptr ? "into a file" : "");
    }
}

INSTANTIATE_TEST_SUITE_P(Answers, OddAnswers,
                         testing::Values(Odd{"None", "", 103},
                                         Odd{"CutInTheBody", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc", 103},
                                         Odd{"CutInTheHead", "HTTP/1.1 200 OK\r\nX: y", -1},
                                         Odd{"CutBehindALine", "HTTP/1.1 200 OK\r\nX: y\r\n", -1},
                                         Odd{"CutBehindContinue",
                                             "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n", -1},
                                         Odd{"EndlessTrailers", endlessTrailers(), 103}, Odd{"NotHttp", "SSH-2.0-x\r\n", 103},
                                         Odd{"NoContent", "HTTP/1.1 204 No Content\r\n\r\n", 0}),
                         NameOfCase());

TEST_F(Request, ChecksArgumentsAndSendsNothingForUnknownTypes)
{
    Call     call;
    astring* at   = call.buffer.data();
    astring* none = nullptr;
    EXPECT_EQ(call.send(static_cast<QVRFUTILRequestType>(4)), 0);
    EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET, nullptr), 102);
    EXPECT_EQ(
        QVRFUTILSendRequest("/x", none, nullptr, 9, &call.length, QVRFUTIL_REQUEST_GET, &call.http, 0, &none, none),
        102);
    for (const auto type : {QVRFUTIL_REQUEST_POST, QVRFUTIL_REQUEST_PATCH})
        EXPECT_EQ(QVRFUTILSendRequest("/x", nullptr, &at, 9, &call.length, type, &call.http, 0, &none, nullptr), 102);
    EXPECT_EQ(QVRFUTILSendRequest("/x", nullptr, &at, 9, nullptr, QVRFUTIL_REQUEST_GET, &call.http, 0, &none, nullptr),
              102);
    EXPECT_EQ(
        QVRFUTILSendRequest("/x", nullptr, &at, 9, &call.length, QVRFUTIL_REQUEST_GET, nullptr, 0, &none, nullptr),
        102);
    EXPECT_EQ(
        QVRFUTILSendRequest("/x", nullptr, &at, 9, &call.length, QVRFUTIL_REQUEST_GET, &call.http, 1, nullptr, nullptr),
        102);
    expectError("QVRFUTILOSPATCHRequest: pWebResourceUrl/ppRFResponse/pPatchData is NULL.\n");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(Request, PathsEndAt400Characters)
{
    server.answer(200, "");
    Call call;
    EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET, ("/" + std::string(399, 'p')).c_str()), 0);
    EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET, ("/" + std::string(400, 'p')).c_str()), 103);
    EXPECT_EQ(server.requests().size(), 1U);
}

class Download : public Request {
protected:
    void SetUp() override
    {
        Request::SetUp();
        char name[] = "/tmp/qvrfutil-test-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        directory = name;
        file      = directory + "/body";
    }
    void TearDown() override
    {
        unlink(file.c_str());
        rmdir(directory.c_str());
        Request::TearDown();
    }
    std::string directory, file;
};

TEST_F(Download, WritesTheBodyToTheFile)
{
    const std::string body = std::string(70000, 'x') + std::string(1, '\0') + "end";
    server.answer(200, body);
    const mode_t mask = umask(0);
    Call         call;
    call.file   = file.c_str();
    call.wanted = 1;
    EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET), 0);
    umask(mask);
    EXPECT_EQ(call.length, 0U);
    EXPECT_EQ(call.http, 200);
    EXPECT_EQ(call.buffer[0], '#');
    EXPECT_EQ(call.headers, nullptr);
    struct stat about {};
    EXPECT_EQ(stat(file.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 07777U, 0600U) << "whatever the umask";
    std::ifstream in(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), body);
}

TEST_F(Download, FailsBeforeAnyTrafficOrWhenTheDiskIsFull)
{
    Call call;
    call.file = "/nonexistent/body";
    EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET), -1);
    EXPECT_TRUE(server.requests().empty());
    for (const std::size_t size : {10U, 100000U}) {
        server.answer(200, std::string(size, 'x'));
        call.file = "/dev/full";
        EXPECT_EQ(call.send(QVRFUTIL_REQUEST_GET), size == 10 ? -1 : 103) << "a full disk must not look like success";
    }
}

TEST_F(Request, CallbacksAppendAndRefuse)
{
    QVRFUTIL_REDFISH_RESPONSE_RECEIVED received{};
    std::string                        text = "abc";
    EXPECT_EQ(QVRFUTILCurlRedfishGETResponseCallback(text.data(), 1, 3, &received), 3U);
    EXPECT_EQ(QVRFUTILCurlRedfishGETResponseCallback(text.data(), 3, 1, &received), 3U);
    EXPECT_EQ(received.responseSize, 6U);
    EXPECT_EQ(std::string(received.pResponse, 6), "abcabc");
    EXPECT_EQ(QVRFUTILCurlRedfishGETResponseCallback(text.data(), 1, SIZE_MAX - 3, &received), static_cast<size_t>(-1));
    EXPECT_EQ(received.responseSize, 6U);
    std::free(received.pResponse);
    EXPECT_EQ(SACopyFileCBCurl(text.data(), 1, 3, nullptr), 0U);
}

}  // namespace
