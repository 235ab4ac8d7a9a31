/**
 * @file session_renewal.cpp
 * What a long-running caller sees when the BMC ends its session, on the older BMC generation: one request is answered
 * with 401, the library opens a new session meanwhile, and the caller's next request succeeds.
 *
 *     session_renewal PATH COMMAND
 *
 * Reads PATH, runs COMMAND (which is to end the session on the BMC), reads PATH twice more and says what came back.
 * Exit status 0: exactly that happened.
 */
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "qvrfutil.h"

namespace {

constexpr u16 kOk           = 200;
constexpr u16 kUnauthorized = 401;

struct Outcome {
    s32         status;
    u16         http;
    std::string session;  // the one that the next request will use
};

Outcome get(const char* path)
{
    static astring body[256 * 1024];
    astring*       pBody  = body;
    u32            length = 0;
    u16            http   = 0;
    const auto     start  = std::chrono::steady_clock::now();
    const s32  status = QVRFUTILSendRequest(path, nullptr, &pBody, sizeof body, &length, QVRFUTIL_REQUEST_GET, &http,
                                            FALSE, nullptr, nullptr);
    const auto took =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count();
    std::printf("GET %s: status %d, HTTP %u, %.1f ms, session now %s\n", path, static_cast<int>(status), unsigned{http},
                static_cast<double>(took) / 1000.0, g_RedfishSession.SessionID);
    return {status, http, g_RedfishSession.SessionID};
}

bool renewsItself(const char* path, const char* command)
{
    const Outcome before = get(path);
    std::printf("running: %s\n", command);
    std::fflush(stdout);
    if (std::system(command) != 0) return false;
    const Outcome refused = get(path);  // not an error of the operation: the caller looks at the HTTP status
    const Outcome after   = get(path);  // the same call once more is all that the caller has to do
    return before.status == 0 && before.http == kOk && refused.status == 0 && refused.http == kUnauthorized &&
           refused.session != before.session && after.status == 0 && after.http == kOk &&
           after.session == refused.session;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PATH COMMAND\n", argv[0]);
        return 2;
    }
    astring user[]      = "root";
    astring privilege[] = "root";
    QVRFUTILInit(FALSE);
    giSServerNewGenAndAbove = FALSE;  // the older generation: the BMC is found over IPMI
    if (const s32 status = QVRFUTILCreateSession(user, privilege, 4); status != OXA_SUCCESS) {
        std::fprintf(stderr, "no session: status %d\n", static_cast<int>(status));
        QVRFUTILCleanUp();
        return 1;
    }
    std::printf("session %s at %s:%s\n", g_RedfishSession.SessionID, g_RedfishSession.IPAddress, g_RedfishSession.Port);
    const bool renewed = renewsItself(argv[1], argv[2]);
    // 4 also after a login over IPv6: the record's address has its brackets already.
    const s32 closed = QVRFUTILDeleteSession(user, 4);
    if (closed == 0)
        std::printf("session closed\n");
    else
        QVRFUTILCleanUp();  // a failed deletion leaves that to the caller
    return renewed && closed == 0 ? 0 : 1;
}
